#include "backend/database/StatementCache.h"

#include <utility>

namespace KOZAV::Backend {

StatementCache::Use::Use(StatementCache& cache, const char* sql)
    : m_cache(cache)
    , m_sql(sql)
{
    const auto known = cache.m_statements.find(m_sql);
    if (known == cache.m_statements.end())
        return;
    m_query = known->second;
    m_prepared = true;
    cache.m_statements.erase(known);
}

StatementCache::Use::~Use()
{
    if (!m_prepared)
        return;
    m_query.finish();
    m_cache.m_statements.insert_or_assign(std::move(m_sql), std::move(m_query));
}

bool StatementCache::Use::prepare(const QSqlDatabase& connection)
{
    if (m_prepared)
        return true;
    m_query = QSqlQuery(connection);
    m_query.setForwardOnly(true);
    m_prepared = m_query.prepare(QString::fromStdString(m_sql));
    return m_prepared;
}

bool StatementCache::Use::runText(const QSqlDatabase& connection, const QString& text)
{
    // Read to its end at once (not forward only): the connection is free for other statements meanwhile.
    m_query = QSqlQuery(connection);
    m_prepared = false;
    return m_query.exec(text);
}

} // namespace KOZAV::Backend
