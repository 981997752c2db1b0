#include "tests/support/RecordingServices.h"

#include <deque>
#include <functional>
#include <utility>

namespace KOZAV::Test {

namespace {

std::string nextOf(std::deque<std::string>& queue, const char* prefix, int& counter)
{
    ++counter;
    if (queue.empty())
        return prefix + std::to_string(counter);
    std::string first = std::move(queue.front());
    queue.pop_front();
    return first;
}

} // namespace

RecordingServices& RecordingServices::instance()
{
    static RecordingServices services;
    return services;
}

void RecordingServices::reset()
{
    const int liveObjects = m_liveObjects;
    *this = RecordingServices();
    m_liveObjects = liveObjects;
}

QStringList RecordingServices::takeJournal()
{
    return std::exchange(m_journal, QStringList());
}

void RecordingServices::note(const QString& entry)
{
    m_journal << entry;
}

int RecordingServices::count(const char* operation) const
{
    return callsOf(operation).size();
}

QStringList RecordingServices::callsOf(const char* operation) const
{
    const QString start = QLatin1String(operation) + QLatin1Char('(');
    QStringList calls;
    for (const QString& entry : m_journal) {
        if (entry.startsWith(start))
            calls << entry;
    }
    return calls;
}

void RecordingServices::objectMade(const char* className)
{
    ++m_liveObjects;
    if (recordsObjects)
        m_journal << call(className);
}

void RecordingServices::objectDestroyed(const char* className)
{
    --m_liveObjects;
    if (recordsObjects)
        m_journal << QLatin1Char('~') + call(className);
}

std::string RecordingServices::nextGuid()
{
    return nextOf(results.guids, "guid-", m_guids);
}

std::string RecordingServices::nextFlowGuid()
{
    return nextOf(results.flowGuids, "flow-", m_flowGuids);
}

std::string RecordingServices::nextArchiveId()
{
    return nextOf(results.archiveIds, "archive-", m_archiveIds);
}

void RecordingServices::runHook(const char* operation)
{
    const auto found = results.hooks.find(operation);
    if (found == results.hooks.end())
        return;
    // The hook may change the table of hooks.
    const std::function<void()> hook = found->second;
    hook();
}

} // namespace KOZAV::Test
