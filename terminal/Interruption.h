#pragma once

#include <QString>
#include <QStringList>

#include <atomic>

namespace KOZAV::Terminal {

/// While an object of this class lives, SIGINT, SIGTERM and SIGHUP do not end the process: the first one is
/// noted, and whoever works asks at safe points whether one came. The second one ends the process at once, as
/// it would without this. A signal that the process was started to ignore stays ignored (nohup).
///
/// One object at a time. Asking is safe on any thread, and at any time.
class Interruption final
{
public:
    Interruption();
    /// The signals end the process again; what was noted stays noted.
    ~Interruption();
    Q_DISABLE_COPY(Interruption)

    [[nodiscard]] static bool isAskedFor() noexcept { return flag(); }
    /// The same, for work that is given a flag to look at.
    [[nodiscard]] static const std::atomic<bool>& flag() noexcept;
    /// "SIGINT"; empty where none came.
    [[nodiscard]] static QString signalName();
    /// What a shell says of a program that the signal has ended: 130 for SIGINT, 143 for SIGTERM, 129 for
    /// SIGHUP; 0 where none came.
    [[nodiscard]] static int exitCode() noexcept;
};

/// The words as they are typed into a shell.
QString shellCommand(const QStringList& words);

} // namespace KOZAV::Terminal
