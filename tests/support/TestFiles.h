#pragma once

#include "backend/Status.h"

#include <QByteArray>
#include <QMetaType>
#include <QString>
#include <QStringList>

#include <string>

namespace KOZAV::Test {

/// The path as the backend takes it: local 8-bit.
std::string local(const QString& path);

/// Writes a file, makes the folders that it lies in; ends the test program where that fails.
void writeFile(const std::string& path, const QByteArray& content);

/// All bytes of a file; null where it cannot be read.
QByteArray readFile(const std::string& path);

void makeFolder(const std::string& path);

/// Copies the files of a folder and below, writable for their owner; ends the test program where that fails.
void copyFolder(const QString& from, const QString& to);

/// Names in a folder, hidden ones included, sorted; as local bytes.
QStringList namesOf(const QString& folder);

/// Bytes without order, the same for the same seed.
QByteArray randomBytes(int size, quint32 seed);

/// A whole zip archive that holds nothing but a comment, of less than 64 KiB.
QByteArray emptyZip(const QByteArray& comment);

/// Lines as board layers have them: they compress to about a quarter.
QByteArray featureLines(int size, quint32 seed);

/// What a program did.
struct ProgramEnd
{
    int exitCode = -1; ///< -1 where it did not start or was killed
    QByteArray output;
};

ProgramEnd runProgram(const QString& program, const QStringList& arguments);

/// This test program once more, in the role that the arguments name, run by a tool such as strace.
ProgramEnd runRole(const QStringList& tool, const QStringList& role);

/// In a mount name space of its own: mounts a tmpfs with the options on folder, runs the shell text, then the
/// role, and afterwards writes the files that are on it. The exit code is cannotMount where the machine
/// refuses.
constexpr int cannotMount = 77;
ProgramEnd runRoleOnTmpfs(const QString& folder, const QString& options, const QString& preparation,
                          const QStringList& role);

/// Whether calls of a program can be made to fail with strace.
bool canInject();

/// Prints the outcome of a role: "<code> <message>". @return the role's exit code
int reportRole(const Backend::Status& status);

/// The code in such an output; Internal where there is none.
Backend::ErrorCode reportedCode(const QByteArray& output);

} // namespace KOZAV::Test

Q_DECLARE_METATYPE(KOZAV::Backend::ErrorCode)
