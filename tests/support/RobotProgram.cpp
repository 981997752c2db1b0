#include "tests/support/RobotProgram.h"

#include <csignal>

namespace KOZAV::Test {

namespace {

constexpr int waitMs = 20'000;

} // namespace

RobotProgram::RobotProgram(const QStringList& arguments, int openFiles, const QString& outputFile)
{
    if (!outputFile.isEmpty())
        m_process.setStandardOutputFile(outputFile, QIODevice::Append);
    const QString program = QStringLiteral(ZAV_ROBOT_PROGRAM);
    const QString limited = QStringLiteral("ulimit -n %1 && exec \"$0\" \"$@\"").arg(openFiles);
    if (openFiles > 0)
        m_process.start(QStringLiteral("/bin/sh"),
                        QStringList{QStringLiteral("-c"), limited, program} + arguments);
    else
        m_process.start(program, arguments);
    m_process.waitForStarted(waitMs);
}

RobotProgram::~RobotProgram()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished(waitMs);
}

bool RobotProgram::sendSignal(int signal) const
{
    return m_process.processId() > 0 && ::kill(static_cast<pid_t>(m_process.processId()), signal) == 0;
}

quint16 RobotProgram::port()
{
    while (!output().contains('\n') && m_process.waitForReadyRead(waitMs)) {
    }
    return m_output.left(m_output.indexOf('\n')).toUShort();
}

QByteArrayList RobotProgram::lines()
{
    QByteArrayList all = output().split('\n');
    all.removeLast();
    return all.mid(1);
}

int RobotProgram::exitCode()
{
    if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(waitMs))
        return -1;
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

} // namespace KOZAV::Test
