#pragma once

#include <QSqlDatabase>
#include <QSqlQuery>

#include <functional>
#include <map>
#include <string>

namespace KOZAV::Backend {

/// Prepared statements of one connection, by their text.
class StatementCache final
{
public:
    /// Scope of one use of a statement. It is taken out of the cache, so that a row visitor may run the same
    /// text again, and put back at the end, finished: a statement left open would hold its locks.
    class Use final
    {
    public:
        Use(StatementCache& cache, const char* sql);
        ~Use();
        Q_DISABLE_COPY(Use)

        bool prepare(const QSqlDatabase& connection);
        /// Runs a text that holds its values; such a statement is not kept.
        bool runText(const QSqlDatabase& connection, const QString& text);
        QSqlQuery& query() { return m_query; }

    private:
        StatementCache& m_cache;
        std::string m_sql;
        QSqlQuery m_query;
        bool m_prepared = false;
    };

    /// To be called before the connection ends.
    void clear() { m_statements.clear(); }

private:
    std::map<std::string, QSqlQuery, std::less<>> m_statements;
};

} // namespace KOZAV::Backend
