#include "backend/operations/HeldRows.h"

#include "backend/Operation.h"

#include <algorithm>
#include <utility>

// An import is one row after the other, and over a network each costs the way there and back, though nobody
// looks at one before the last of them is there. So those on which no later call depends wait here, and go
// with the last one as a group: one exchange, one transaction.
//
// A group whose answer was lost has been carried out or not, as a whole: the key of its last row tells, or
// that of a row that it begins with. Its updates set constant values, so they may be sent again where nothing
// tells.
//
// Nobody must be able to see on this thread that rows waited. So the database has them sent before anything
// else (Database::runFirst), which then fails where they cannot be; and what is refused is remembered, since
// the call that made it had been told of a success: the import is not completed then (ImportRoad).

namespace KOZAV::Backend {

namespace {

/// Longer texts than that may be refused by an engine.
constexpr int longestText = 255;

bool hasNoAnswer(const Status& status)
{
    return status.code() == ErrorCode::Unavailable || status.code() == ErrorCode::OutcomeUnknown;
}

Result<bool> isInserted(Database& database, const char* findSql, const QVariant& key)
{
    const auto found = database.value(findSql, {key});
    return found.ok() ? Result(found->isValid()) : found.status();
}

Status explained(const Status& refused, const char* noReference)
{
    return refused.code() == ErrorCode::NotFound && noReference ? refused.in(QLatin1String(noReference))
                                                                : refused;
}

} // namespace

void HeldRows::hold(Database& database, const KeyedRow& row, const QVariantList& values)
{
    hold(database, {{row.insertSql, values}, row.findSql, row.key, row.noReference, false});
}

void HeldRows::hold(Database& database, const char* sql, const QVariantList& values)
{
    hold(database, {{sql, values}, nullptr, {}, "the job flow or its original file does not exist", false});
}

void HeldRows::hold(Database& database, Held row)
{
    if (m_rows.empty()) {
        m_isUnanswered = false;
        // Its owner may end before the database does.
        database.runFirst([self = shared_from_this(), &database](Database::Occasion occasion) {
            if (occasion == Database::Occasion::End)
                self->end(&database);
            return self->m_waits > 0 ? Status() : self->send(database);
        });
    }
    m_rows.push_back(std::move(row));
}

bool HeldRows::holds(const QVariant& key) const
{
    return std::any_of(m_rows.begin(), m_rows.end(), [&key](const Held& row) { return row.key == key; });
}

bool HeldRows::mayWait(const QVariantList& values)
{
    return Database::checkValues(values).ok() &&
           std::all_of(values.begin(), values.end(), [](const QVariant& value) {
               return value.userType() != QMetaType::QString || value.toString().size() <= longestText;
           });
}

Status HeldRows::send(Database& database)
{
    return m_rows.empty() ? Status() : sendAll(database, nullptr, false);
}

Status HeldRows::sendWith(Database& database, const KeyedRow& last, const QVariantList& values,
                          bool isRepeated)
{
    const Held row = {{last.insertSql, values}, last.findSql, last.key,
                      last.noReference,         false,        last.needsSql};
    return sendAll(database, &row, isRepeated);
}

void HeldRows::end(Database* database)
{
    if (database != nullptr && !m_isUnanswered)
        (void)send(*database);
    if (!m_rows.empty())
        drop(Status::unavailable(QStringLiteral("the database has not answered")));
}

Status HeldRows::sendAll(Database& database, const Held* last, bool isRepeated)
{
    const Waiting byItself(*this);
    auto outcome = tryAll(database, last, isRepeated);
    if (outcome.code() == ErrorCode::OutcomeUnknown) {
        const auto again = tryAll(database, last, true);
        if (!hasNoAnswer(again))
            outcome = again;
    }
    m_isUnanswered = hasNoAnswer(outcome);
    return outcome;
}

Status HeldRows::tryAll(Database& database, const Held* last, bool isRepeated)
{
    const auto arrived = haveArrived(database, last, isRepeated);
    if (!arrived.ok() || arrived.value())
        return arrived.status();
    std::vector<RowWrite> writes;
    for (const Held& row : m_rows)
        writes.push_back(row.write);
    if (last != nullptr && last->needsSql != nullptr)
        writes.push_back({last->needsSql, {last->key}});
    if (last != nullptr)
        writes.push_back(last->write);
    const auto outcome = database.changeTogether(writes, last ? Durability::Immediate : Durability::Deferred);
    if (outcome.status.ok())
        m_rows.clear();
    if (outcome.status.code() == ErrorCode::OutcomeUnknown)
        for (Held& row : m_rows)
            row.isDoubtful = true;
    if (outcome.status.ok() || hasNoAnswer(outcome.status))
        return outcome.status;
    if (outcome.status.code() == ErrorCode::AlreadyExists) {
        // What was sent without an answer may have been carried out after the question.
        const auto late = haveArrived(database, last, isRepeated);
        if (late.ok() && late.value())
            return {};
    }
    return refused(outcome, last);
}

/// Whether everything is there by now. What is known to be there is held no more.
Result<bool> HeldRows::haveArrived(Database& database, const Held* last, bool isRepeated)
{
    if (last != nullptr && isRepeated) {
        const auto there = isInserted(database, last->findSql, last->key);
        if (!there.ok())
            return there.status();
        if (there.value()) {
            m_rows.clear();
            return true;
        }
    }
    const auto asked = std::find_if(m_rows.begin(), m_rows.end(),
                                    [](const Held& row) { return row.isDoubtful && row.findSql != nullptr; });
    if (asked != m_rows.end()) {
        const auto there = isInserted(database, asked->findSql, asked->key);
        if (!there.ok())
            return there.status();
        if (there.value())
            m_rows.erase(
                std::remove_if(m_rows.begin(), m_rows.end(), [](const Held& row) { return row.isDoubtful; }),
                m_rows.end());
    }
    return m_rows.empty() && last == nullptr;
}

/// Where the last row was refused by itself, the others are as they were.
Status HeldRows::refused(const TogetherOutcome& outcome, const Held* last)
{
    if (outcome.failedAt >= m_rows.size() && last != nullptr)
        return explained(outcome.status, last->noReference);
    const char* noReference =
        outcome.failedAt < m_rows.size() ? m_rows[outcome.failedAt].noReference : nullptr;
    drop(explained(outcome.status, noReference));
    return m_failure;
}

void HeldRows::drop(const Status& why)
{
    m_failure = why.in(QStringLiteral("%1 rows of an import that waited to be written together were not")
                           .arg(m_rows.size()));
    qCWarning(logDatabase).noquote() << m_failure.message();
    m_rows.clear();
}

} // namespace KOZAV::Backend
