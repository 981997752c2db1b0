#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <functional>

namespace KOZAV::Test {

/// Follows the calls that the services of this process receive, while it lives.
class ServiceWatch final
{
public:
    ServiceWatch();
    ~ServiceWatch();
    ServiceWatch(const ServiceWatch&) = delete;
    ServiceWatch& operator=(const ServiceWatch&) = delete;

    /// Called at the end of each call, with how many there were.
    std::function<void(int)> afterCall;

    [[nodiscard]] int calls() const { return m_calls; }
    /// "<operation>: <reason>" of each call that failed.
    [[nodiscard]] const QStringList& failures() const { return m_failures; }
    [[nodiscard]] qint64 longestCallMs() const { return m_longestCallMs; }

private:
    int m_calls = 0;
    QStringList m_failures;
    qint64 m_longestCallMs = 0;
};

} // namespace KOZAV::Test
