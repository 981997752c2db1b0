#pragma once

#include "tests/support/TestFiles.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <vector>

namespace KOZAV::Test {

/// One system call of the client's main thread, and how many of its name there were up to it: strace counts
/// them so.
struct SystemCall
{
    QByteArray name;
    int number = 0;
};

/// Runs the client under strace to its end, and tells the calls that it makes once it has started: those that
/// change something or go out to a server. Reading calls would put most of them into the start of the
/// program. None where the client did not end with 0.
/// @param trace  path of a file for what strace writes
std::vector<SystemCall> clientCalls(const QStringList& arguments, const QString& trace);

/// Runs the client, which is killed when it makes this call; its exit code is -1 then, and another one where
/// it did not come to it.
ProgramEnd killClient(const QStringList& arguments, const SystemCall& call);

} // namespace KOZAV::Test
