#pragma once

#include <QIODevice>
#include <QString>

#include <functional>

namespace KOZAV::Terminal {

/// Shows how far a long command has come: on a terminal a bar that is drawn over itself at most ten times a
/// second, elsewhere a line for every tenth of the way, and after five seconds without one.
class ProgressLine final
{
public:
    /// How the device is looked at.
    struct View
    {
        bool isTerminal = false;
        int columns = 80;
    };

    using Clock = std::function<qint64()>; ///< milliseconds from any beginning

    /// @param device  may be null: nothing is shown
    ProgressLine(QIODevice* device, View view, Clock clock);
    /// Leaves the last state of a bar where it is, and the cursor below it.
    ~ProgressLine();
    Q_DISABLE_COPY(ProgressLine)

    /// @param task      what is being done; a change of it is always shown
    /// @param fraction  of the task, from 0 to 1; below 0 where that is not known
    /// @param details   what follows
    void show(const QString& task, double fraction, const QString& details);

    /// How a device is looked at: a terminal is asked for its width.
    static View viewOf(QIODevice* device);

private:
    [[nodiscard]] bool isDue(const QString& task, double fraction, qint64 now) const;
    [[nodiscard]] QString bar(const QString& task, double fraction, const QString& details) const;

    QIODevice* m_device;
    View m_view;
    Clock m_clock;
    QString m_task;
    QString m_shown;      ///< the line that is on the screen
    qint64 m_shownAt = 0; ///< by the clock
    int m_tenths = -1;    ///< of the task, as last shown
};

} // namespace KOZAV::Terminal
