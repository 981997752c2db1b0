#pragma once

#include "tests/support/JournalText.h"
#include "tests/support/ServiceResults.h"

#include <QStringList>

#include <string>

namespace KOZAV::Test {

/// The recording double of the system services: every operation is written to a flat journal, argument by
/// argument, and answers what the test has set. One for the process, as the services themselves; GUI thread
/// only.
class RecordingServices final
{
public:
    static RecordingServices& instance();

    /// Forgets the journal and all set answers.
    void reset();

    /// What the operations answer.
    ServiceResults results;

    /// Whether the making and the destruction of data-access objects are recorded too.
    bool recordsObjects = false;

    /// The entries so far, as call() makes them.
    [[nodiscard]] const QStringList& journal() const { return m_journal; }
    /// The last entry; empty where there is none.
    [[nodiscard]] QString lastEntry() const { return m_journal.value(m_journal.size() - 1); }
    /// The entries so far; the journal is empty afterwards.
    [[nodiscard]] QStringList takeJournal();
    /// Adds an entry of the test's own, such as a message box, among the calls.
    void note(const QString& entry);
    /// How many entries are calls of this operation.
    [[nodiscard]] int count(const char* operation) const;
    /// The entries that are calls of this operation.
    [[nodiscard]] QStringList callsOf(const char* operation) const;
    /// Data-access objects that are alive.
    [[nodiscard]] int liveObjects() const { return m_liveObjects; }

    /// For the operations: records the call and runs its hook.
    template <typename... Arguments>
    void record(const char* operation, const Arguments&... arguments)
    {
        m_journal << call(operation, arguments...);
        runHook(operation);
    }
    void objectMade(const char* className);
    void objectDestroyed(const char* className);
    [[nodiscard]] std::string nextGuid();
    [[nodiscard]] std::string nextFlowGuid();
    [[nodiscard]] std::string nextArchiveId();

private:
    RecordingServices() = default;
    void runHook(const char* operation);

    QStringList m_journal;
    int m_liveObjects = 0;
    int m_guids = 0;
    int m_flowGuids = 0;
    int m_archiveIds = 0;
};

} // namespace KOZAV::Test
