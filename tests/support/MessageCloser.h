#pragma once

#include <QObject>

namespace KOZAV::Test {

/// Leaves every message box without pressing a button. A dialog driver rests while it lives.
class MessageCloser final : public QObject
{
    Q_OBJECT
public:
    enum class Way { WindowClose, EscapeKey };

    explicit MessageCloser(Way way);

    [[nodiscard]] int closedCount() const { return m_closed; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    [[nodiscard]] QEvent* leavingEvent() const;

    const Way m_way;
    int m_closed = 0;
};

} // namespace KOZAV::Test
