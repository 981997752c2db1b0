#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QString>

class QMessageBox;

namespace KOZAV::Host {

class PanelReport;
class PanelRun;

/// Tells an operator who has turned to another program that a long import has ended, or waits for an answer:
/// marks the window in the task bar, and has the desktop show a notice where it has a service for that
/// (org.freedesktop.Notifications). Where it has none, or the window is looked at, nothing happens.
///
/// The panel closes its batch with a message box, and waits for its answer: that box is the end.
class DesktopNotice final : public QObject
{
    Q_OBJECT
public:
    /// What takes longer than this is long.
    static constexpr int usualPatienceMs = 20'000;

    /// @param run  of the file import panel; outlives this object, as its report does
    DesktopNotice(const PanelRun& run, const PanelReport& report, QObject* parent = nullptr,
                  int patienceMs = usualPatienceMs);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void begin();
    void end();
    void noteBox(QMessageBox* box);
    void tellBox(const QMessageBox& box);
    [[nodiscard]] bool isMissed() const;
    void tellEnd();
    void tell(const QString& title, const QString& text);

    const PanelRun& m_run;
    const PanelReport& m_report;
    int m_patienceMs;
    QElapsedTimer m_unattended; ///< since the operator was seen last: he began the import, or answered a box
    bool m_hasTold = false;
};

} // namespace KOZAV::Host
