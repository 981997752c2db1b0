#include "tests/support/TableLock.h"

#include "tests/support/MariaDbServer.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

namespace KOZAV::Test {

TableLock::TableLock(const MariaDbServer& server, const QString& database)
    : m_connection(server.openConnection(database))
{
    QSqlQuery lock(QSqlDatabase::database(m_connection));
    if (!lock.exec(
            QStringLiteral("LOCK TABLES company WRITE, orig_file WRITE, job_flow WRITE, job_compress WRITE, "
                           "pre_file WRITE")))
        qFatal("the tables cannot be locked: %s", qPrintable(lock.lastError().text()));
}

TableLock::~TableLock()
{
    QSqlDatabase::removeDatabase(m_connection);
}

} // namespace KOZAV::Test
