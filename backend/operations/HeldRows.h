#pragma once

#include "backend/Status.h"
#include "backend/database/Database.h"

#include <QVariantList>

#include <memory>
#include <vector>

namespace KOZAV::Backend {

/// One row that is told apart from all others by a key that this program made.
struct KeyedRow
{
    const char* insertSql;
    const char* findSql; ///< selects the row by its key, the one value
    QVariant key;
    const char* noReference = nullptr; ///< in words, where the row refers to one that does not exist
    const char* needsSql = nullptr; ///< of a last row: an update by its key that has to find a row before it
};

/// Writes of one import that wait on its thread for the row that completes it, to be sent with that row in
/// one transaction. Whatever else the thread asks the rows for has them sent first, and so has the end of the
/// connection or of the import. Belongs to one thread; the database that they are of knows of them, too.
class HeldRows final : public std::enable_shared_from_this<HeldRows>
{
public:
    HeldRows() = default;
    Q_DISABLE_COPY(HeldRows)

    /// Keeps a row back, to be inserted.
    void hold(Database& database, const KeyedRow& row, const QVariantList& values);
    /// Keeps an update back of a row that is there, or is held too. Made twice it has to be the same.
    void hold(Database& database, const char* sql, const QVariantList& values);

    [[nodiscard]] bool isEmpty() const { return m_rows.empty(); }
    /// Whether a row of that key is kept back.
    [[nodiscard]] bool holds(const QVariant& key) const;
    /// Whether a write of such values may wait: nothing but the server is to stand against it when it is
    /// sent.
    [[nodiscard]] static bool mayWait(const QVariantList& values);

    /// Sends what is held. What is refused is held no more; what has no answer still is.
    Status send(Database& database);
    /// The same with a row at its end: all of it or nothing is there then. Where the last row is what is
    /// refused, the others are still held.
    /// @param isRepeated  whether this was tried before, without an answer
    Status sendWith(Database& database, const KeyedRow& last, const QVariantList& values, bool isRepeated);

    /// Sends what is left where the server has answered so far; what cannot be written is logged and dropped.
    void end(Database* database);

    /// Why something that was held since the last call of forgetFailure() was not written; a success where
    /// all was, or still waits.
    [[nodiscard]] const Status& failure() const { return m_failure; }
    void forgetFailure() { m_failure = {}; }

    /// Scope in which statements are no reason to send what is held: for one that does not depend on it.
    class Waiting final
    {
    public:
        explicit Waiting(HeldRows& held)
            : m_held(held)
        {
            ++m_held.m_waits;
        }
        ~Waiting() { --m_held.m_waits; }
        Q_DISABLE_COPY(Waiting)

    private:
        HeldRows& m_held;
    };

private:
    struct Held
    {
        RowWrite write;
        const char* findSql; ///< null for an update
        QVariant key;
        const char* noReference;
        bool isDoubtful; ///< was sent, without an answer
        const char* needsSql = nullptr;
    };

    void hold(Database& database, Held row);
    Status sendAll(Database& database, const Held* last, bool isRepeated);
    Status tryAll(Database& database, const Held* last, bool isRepeated);
    Result<bool> haveArrived(Database& database, const Held* last, bool isRepeated);
    Status refused(const TogetherOutcome& outcome, const Held* last);
    void drop(const Status& why);

    std::vector<Held> m_rows;
    Status m_failure;
    int m_waits = 0;
    bool m_isUnanswered = false;
};

} // namespace KOZAV::Backend
