#pragma once

#include "backend/database/Database.h"

#include <QMetaType>
#include <QProcess>
#include <QTemporaryDir>

namespace KOZAV::Test {

/// A folder of its own with a database file in it.
class TemporaryDatabase final
{
public:
    TemporaryDatabase();

    [[nodiscard]] QString folder() const { return m_folder.path(); }
    [[nodiscard]] QString file() const;
    [[nodiscard]] Backend::DatabaseSettings settings() const;

    /// Opens the database anew, made where it is missing; null, and a failed test, where that fails.
    [[nodiscard]] std::unique_ptr<Backend::Database> open() const;

private:
    QTemporaryDir m_folder;
};

/// The single value of a query; an invalid one where there is no row.
QVariant valueOf(Backend::Database& database, const char* sql, const QVariantList& values = {});

/// Runs statements over a connection that knows nothing of our sessions, as another program would.
void runElsewhere(const QString& file, const QStringList& statements);

/// All bytes of a file.
QByteArray bytesOf(const QString& file);

/// This program once more, as another process in the role that the arguments name.
class OtherProcess final
{
public:
    explicit OtherProcess(const QStringList& arguments);
    /// The same under a tool that runs programs, such as strace.
    OtherProcess(const QString& tool, const QStringList& toolArguments, const QStringList& arguments);
    ~OtherProcess();

    /// Waits for the next line that it writes; empty where it ends without one.
    QString readLine();
    /// Lets it go on.
    void release();
    void kill();
    /// Waits for its end. @return its exit code, -1 where it was killed or did not start
    int wait();
    [[nodiscard]] QString output();

private:
    QProcess m_process;
};

} // namespace KOZAV::Test

Q_DECLARE_METATYPE(KOZAV::Backend::ErrorCode)
