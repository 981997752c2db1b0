#include "host/CompanyWatch.h"

#include "host/core/RunGate.h"
#include "host/site/Companies.h"

#include <QtConcurrent>

namespace KOZAV::Host {

namespace {

constexpr int lookEveryMs = 15'000;

/// The panel lists all but this one, which is no customer.
QString codeOfNoCustomer()
{
    return QStringLiteral("web");
}

std::optional<QStringList> readNames()
{
    QString failure;
    const auto rows = listCompanyRows(failure);
    if (!rows)
        return std::nullopt;
    QStringList names;
    for (const CompanyRow& row : *rows) {
        if (row.code != codeOfNoCustomer())
            names << row.name;
    }
    return names;
}

} // namespace

CompanyWatch::CompanyWatch(QObject* parent)
    : QObject(parent)
{
    m_timer.setInterval(lookEveryMs);
    connect(&m_timer, &QTimer::timeout, this, &CompanyWatch::look);
    connect(&m_reading, &QFutureWatcherBase::finished, this, [this] {
        RunGate::whenOpen(this, [this] {
            const auto names = m_reading.result();
            if (names)
                Q_EMIT looked(*names);
            if (std::exchange(m_again, false))
                look();
        });
    });
}

CompanyWatch::~CompanyWatch()
{
    m_reading.waitForFinished();
}

void CompanyWatch::start()
{
    m_timer.start();
}

void CompanyWatch::look()
{
    if (RunGate::isClosed())
        return;
    if (m_reading.isRunning())
        m_again = true;
    else
        m_reading.setFuture(QtConcurrent::run(readNames));
}

} // namespace KOZAV::Host
