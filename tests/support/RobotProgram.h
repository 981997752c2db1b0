#pragma once

#include <QByteArrayList>
#include <QProcess>
#include <QStringList>

namespace KOZAV::Test {

/// The built zav_robot, run with the given arguments.
class RobotProgram final
{
public:
    /// @param openFiles   limit of the program's open files; 0: the usual one
    /// @param outputFile  where the program prints to; empty: to output() and what reads that
    explicit RobotProgram(const QStringList& arguments, int openFiles = 0, const QString& outputFile = {});
    /// Ends a program that still runs.
    ~RobotProgram();
    RobotProgram(const RobotProgram&) = delete;
    RobotProgram& operator=(const RobotProgram&) = delete;

    /// Waits for the first line. @return the port that it says; 0 where none came
    [[nodiscard]] quint16 port();
    /// The whole lines that have been printed behind the first one.
    [[nodiscard]] QByteArrayList lines();
    /// Waits for the program's end. @return its exit code; -1 where it did not end or crashed
    [[nodiscard]] int exitCode();
    [[nodiscard]] QByteArray complaint() { return m_process.readAllStandardError(); }
    [[nodiscard]] QByteArray output() { return m_output += m_process.readAllStandardOutput(); }
    /// Sends SIGTERM.
    void terminate() { m_process.terminate(); }
    /// @return false where the program does not run
    [[nodiscard]] bool sendSignal(int signal) const;

private:
    QProcess m_process;
    QByteArray m_output;
};

} // namespace KOZAV::Test
