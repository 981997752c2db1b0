#pragma once

#include <mysql.h>

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <memory>
#include <vector>

namespace KOZAV::Bench {

/// A connection and prepared statements of the engine's own C library, with nothing between: the peer that
/// the rows of imports are measured against. Any failure ends the program.
class BareClient final
{
public:
    BareClient(const QString& host, int port, const QString& database, const QString& user,
               const QString& password);
    ~BareClient();
    BareClient(const BareClient&) = delete;
    BareClient& operator=(const BareClient&) = delete;

    /// @return number of the statement
    std::size_t prepare(const char* sql);
    /// Runs a statement and reads its rows, if it has any, to the end.
    void run(std::size_t statement, const std::vector<QByteArray>& values);

private:
    struct CloseConnection
    {
        void operator()(MYSQL* connection) const { mysql_close(connection); }
    };
    struct CloseStatement
    {
        void operator()(MYSQL_STMT* statement) const { mysql_stmt_close(statement); }
    };

    std::unique_ptr<MYSQL, CloseConnection> m_connection;
    std::vector<std::unique_ptr<MYSQL_STMT, CloseStatement>> m_statements;
};

} // namespace KOZAV::Bench
