#pragma once

#include <QString>

namespace KOZAV::Test {

class MariaDbServer;

/// Keeps everybody else from the tables of a site's database while it lives, as some backup programs do. Of
/// the thread that makes it.
class TableLock final
{
public:
    TableLock(const MariaDbServer& server, const QString& database);
    ~TableLock();
    TableLock(const TableLock&) = delete;
    TableLock& operator=(const TableLock&) = delete;

private:
    QString m_connection;
};

} // namespace KOZAV::Test
