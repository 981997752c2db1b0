#pragma once

#include <QProcess>
#include <QStringList>

#include <memory>
#include <vector>

namespace KOZAV::Test {

/// Another program on the same site: this program once more, in a role. It says that it is ready, waits until
/// it is let go, plays its role, and writes one line for each thing that it has to tell.
class ContractProcess final
{
public:
    ContractProcess(const QString& role, const QString& configuration, const QStringList& arguments);
    ~ContractProcess();

    /// Lets all processes go at once when all are ready, and waits for their ends.
    /// @return what each wrote; a line "ended badly" for one that did not end with code 0
    static std::vector<QStringList>
    runTogether(const std::vector<std::unique_ptr<ContractProcess>>& processes);

    /// Plays a role in this process, where the arguments of the program name one. @return whether they do
    static bool play(const QStringList& arguments, int& exitCode);

    /// Lets it go and waits for its end. @return what it wrote
    QStringList run();

private:
    void waitUntilReady();
    void release();
    QStringList finish();

    QProcess m_process;
};

} // namespace KOZAV::Test
