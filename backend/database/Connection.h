#pragma once

#include "backend/ServerPause.h"
#include "backend/Status.h"
#include "backend/database/Dialect.h"
#include "backend/database/StatementCache.h"

#include <QElapsedTimer>
#include <QSqlDatabase>
#include <QVariantList>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace KOZAV::Backend {

/// One connection to an engine. A server's connection that was lost is opened again, with all that a session
/// needs, where the next statement outside a transaction begins; a statement is only repeated if it cannot
/// have been carried out, or changes nothing.
class Connection final
{
public:
    Connection(std::unique_ptr<Dialect> dialect, const DatabaseSettings& settings);
    ~Connection();
    Q_DISABLE_COPY(Connection)

    /// Opens it for the first time. The session is not set up yet.
    Status open();
    Status startSession();

    enum class Purpose { Read, Write };
    using Answer = std::function<Status(QSqlQuery& query)>;
    /// Runs a prepared statement and hands its result to answer. OutcomeUnknown for a write whose answer was
    /// lost.
    Status execute(const char* sql, const QVariantList& values, Purpose purpose, const Answer& answer);

    /// Runs writes outside a transaction as one statement, in one exchange: all are carried out or none. One
    /// that finds no row is refused. Nothing is told where the engine has no such statement.
    std::optional<Status> executeAsOne(const std::vector<RowWrite>& writes);

    /// Has the writes that follow outside a transaction take this durability.
    Status use(Durability wanted);

    /// Scope in which a lost connection is not replaced by a new one: what the session holds matters.
    class Hold final
    {
    public:
        explicit Hold(Connection& connection)
            : m_connection(connection)
        {
            ++m_connection.m_holds;
        }
        ~Hold() { --m_connection.m_holds; }
        Q_DISABLE_COPY(Hold)

    private:
        Connection& m_connection;
    };

    /// @param sql  one of the two texts that the dialect has for it
    Status begin(const char* sql);
    Status commit();
    void rollback();
    [[nodiscard]] bool inTransaction() const { return m_inTransaction; }

    [[nodiscard]] const Dialect& dialect() const { return *m_dialect; }
    [[nodiscard]] const QSqlDatabase& handle() const { return m_handle; }
    [[nodiscard]] const DatabaseSettings& settings() const { return m_settings; }
    [[nodiscard]] const QString& name() const { return m_name; }
    /// The database in words for messages.
    [[nodiscard]] const QString& place() const { return m_place; }
    /// A failure with the place before it.
    [[nodiscard]] Status located(const Status& status) const;

    void forgetStatements() { m_statements.clear(); }

private:
    using FailureKind = Dialect::FailureKind;
    struct Attempt
    {
        Status status;
        FailureKind kind = FailureKind::Definite;
        bool atOnce = true; ///< ended without a long wait
    };

    Status openHandle();
    Status refresh();
    Status reopen();
    [[nodiscard]] bool isDoubtful() const;
    [[nodiscard]] bool isAlive();
    Attempt settled(Purpose purpose, const std::function<Attempt()>& once);
    Attempt attempt(StatementCache::Use& statement, const char* sql, const QVariantList& values);
    Attempt attemptText(StatementCache::Use& statement, const char* sql, const QVariantList& values);
    Attempt attemptPlain(const char* sql);
    Attempt attemptCompound(const QString& text);
    Attempt failed(const char* sql, const QSqlError& error);
    [[nodiscard]] bool mayRepeat(const Attempt& attempt, Purpose purpose) const;
    [[nodiscard]] Status verdict(const Attempt& attempt, Purpose purpose) const;

    std::unique_ptr<Dialect> m_dialect;
    DatabaseSettings m_settings;
    QString m_place;
    QString m_name;
    QSqlDatabase m_handle;
    StatementCache m_statements;
    std::optional<Durability> m_durability;
    ServerPause m_pause;
    QElapsedTimer m_sinceUse;
    bool m_lost = false;
    bool m_inTransaction = false;
    int m_holds = 0;
};

} // namespace KOZAV::Backend
