#pragma once

#include <QFutureWatcher>
#include <QObject>
#include <QStringList>
#include <QTimer>

#include <optional>

namespace KOZAV::Host {

/// Tells which companies of the site an import can be made for, as this and other clients change them. They
/// are read on a thread of the pool, from time to time and when asked for.
class CompanyWatch final : public QObject
{
    Q_OBJECT
public:
    explicit CompanyWatch(QObject* parent = nullptr);
    /// Waits for a reading that goes on.
    ~CompanyWatch() override;

    /// Begins to look from time to time.
    void start();
    /// Looks now.
    void look();

Q_SIGNALS:
    /// Names in the order of the site. Not told while the panel works, nor where they cannot be read.
    void looked(const QStringList& names);

private:
    QTimer m_timer;
    QFutureWatcher<std::optional<QStringList>> m_reading;
    bool m_again = false; ///< asked for while it was read
};

} // namespace KOZAV::Host
