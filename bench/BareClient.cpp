#include "bench/BareClient.h"

#include <QtGlobal>

namespace KOZAV::Bench {

BareClient::BareClient(const QString& host, int port, const QString& database, const QString& user,
                       const QString& password)
    : m_connection(mysql_init(nullptr))
{
    MYSQL* const connected = mysql_real_connect(
        m_connection.get(), qUtf8Printable(host), qUtf8Printable(user), qUtf8Printable(password),
        qUtf8Printable(database), static_cast<unsigned>(port), nullptr, CLIENT_FOUND_ROWS);
    if (!connected || mysql_set_character_set(m_connection.get(), "utf8mb4") != 0)
        qFatal("%s", mysql_error(m_connection.get()));
}

BareClient::~BareClient()
{
    m_statements.clear();
}

std::size_t BareClient::prepare(const char* sql)
{
    m_statements.emplace_back(mysql_stmt_init(m_connection.get()));
    MYSQL_STMT* const statement = m_statements.back().get();
    if (mysql_stmt_prepare(statement, sql, qstrlen(sql)) != 0)
        qFatal("%s: %s", sql, mysql_stmt_error(statement));
    return m_statements.size() - 1;
}

void BareClient::run(std::size_t number, const std::vector<QByteArray>& values)
{
    MYSQL_STMT* const statement = m_statements.at(number).get();
    std::vector<MYSQL_BIND> binds(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        binds[i].buffer_type = MYSQL_TYPE_STRING;
        binds[i].buffer = const_cast<char*>(values[i].constData()); // only read
        binds[i].buffer_length = static_cast<unsigned long>(values[i].size());
    }
    if ((!binds.empty() && mysql_stmt_bind_param(statement, binds.data())) ||
        mysql_stmt_execute(statement) != 0)
        qFatal("%s", mysql_stmt_error(statement));
    if (mysql_stmt_field_count(statement) == 0)
        return;
    if (mysql_stmt_store_result(statement) != 0)
        qFatal("%s", mysql_stmt_error(statement));
    while (mysql_stmt_fetch(statement) == 0) {
    }
    mysql_stmt_free_result(statement);
}

} // namespace KOZAV::Bench
