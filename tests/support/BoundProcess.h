#pragma once

#include <QProcess>

namespace KOZAV::Test {

/// A process that does not outlive this one, however this one ends. It ends with the thread that starts it,
/// too: to be started by the main thread.
class BoundProcess final : public QProcess
{
public:
    using QProcess::QProcess;
    ~BoundProcess() override;

    /// Sends a signal; ends the test program where there is no process to send it to.
    void send(int signal) const;
    /// Whether it is stopped by SIGSTOP.
    [[nodiscard]] bool isStopped() const;
    /// Ends it at once and waits for its end.
    void end();

protected:
    void setupChildProcess() override;
};

} // namespace KOZAV::Test
