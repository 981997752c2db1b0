#pragma once

#include <QObject>
#include <QThread>

#include <functional>

namespace KOZAV::Host {

/// The thread on which lists read the site, one after the other, so that the window never waits for rows. It
/// starts with the first work.
class JobReader final : public QObject
{
    Q_OBJECT
public:
    using Answer = std::function<void()>;
    /// Runs on the reading thread. @return what is to be done with what it has read; nothing for nothing
    using Work = std::function<Answer()>;

    explicit JobReader(QObject* parent = nullptr);
    /// Waits for the work under way; what has not begun is dropped.
    ~JobReader() override;

    /// Has work done. Its answer comes on the thread of the window, when no slot of the panel runs and if the
    /// context is still there.
    void ask(QObject* context, Work work);
    /// Does no work from now on: nobody looks at the lists, and what they would cost goes to others.
    void rest() { m_rests = true; }
    /// Whether everything that was asked is answered.
    [[nodiscard]] bool isIdle() const { return m_asked == 0; }

private:
    QThread m_thread;
    QObject* m_desk; ///< lives on the thread
    int m_asked = 0; ///< and not answered yet
    bool m_rests = false;
};

} // namespace KOZAV::Host
