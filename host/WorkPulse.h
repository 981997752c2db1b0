#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>

#include <vector>

class QMessageBox;
class QSocketNotifier;

namespace KOZAV::Host {

class SiteAccess;

/// Keeps the window painted and the window system answered while a slot of the file import panel works, which
/// never comes back to the event loop: at each end of a service call, and while one takes its time.
///
/// Nothing else happens then. Input goes nowhere: the panel asks for patience, and what was clicked at a
/// window that works is not meant for what that shows afterwards. Timers and sockets wait, and results of
/// other threads wait at the RunGate.
class WorkPulse final : public QObject
{
    Q_OBJECT
public:
    /// To be made after all that follow the services' calls: what they know by then is what is painted.
    explicit WorkPulse(SiteAccess& site, QObject* parent = nullptr);
    ~WorkPulse() override;

    /// Shows a box and waits for its answer, with input for this box alone and nothing else let in.
    /// @return the button, as QMessageBox::exec() does
    int ask(QMessageBox& box);

    bool eventFilter(QObject* watched, QEvent* event) override;

Q_SIGNALS:
    /// What is shown should be brought up to date: it is painted now.
    void beats();
    /// Somebody wants a window closed; it stays open.
    void closeRequested();

private:
    enum class Input { None, OfTheBox };

    void beat();
    void beatAfterPause();
    void handleEvents(Input input);
    [[nodiscard]] bool isForBox(const QObject* watched) const;
    [[nodiscard]] static bool isTakenFromBox(QObject* watched, const QEvent& event);
    void silence(QObject* source);
    void deleteLater(QObject* object);

    QElapsedTimer m_sinceBeat;
    qint64 m_pauseMs = 0;
    bool m_beating = false;
    QPointer<QMessageBox> m_box;
    std::vector<QPointer<QSocketNotifier>> m_silenced; ///< until these events are handled
    std::vector<QPointer<QObject>> m_toDelete;         ///< when the slot has returned
};

} // namespace KOZAV::Host
