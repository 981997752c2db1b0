#include "tests/support/OldSite.h"

#include "backend/records/RowTransfer.h"
#include "tests/support/TestFiles.h"

#include <QFile>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QUuid>

namespace KOZAV::Test {

using namespace Backend;

namespace {

QString inWords(const QSqlRecord& row)
{
    QStringList fields;
    for (int i = 0; i < row.count(); ++i)
        fields << row.fieldName(i) + QLatin1Char('=') +
                      (row.isNull(i) ? QStringLiteral("(null)") : row.value(i).toString());
    return fields.join(QLatin1Char(' '));
}

} // namespace

OldSite::OldSite()
{
    const QString fixture = QStringLiteral(ZAV_FIXTURES_DIR "/schema_1");
    if (!QFile::exists(fixture + QStringLiteral("/site.db")))
        qFatal("there is no %s", qUtf8Printable(fixture));
    copyFolder(fixture, m_folder.path());
}

Settings OldSite::settings() const
{
    auto loaded = loadSettings(configuration());
    if (!loaded.ok())
        qFatal("%s", qUtf8Printable(loaded.message()));
    return loaded.value();
}

QList<OldTable> oldTables()
{
    static const QStringList later = {QStringLiteral("stored_length"), QStringLiteral("stored_sha256"),
                                      QStringLiteral("content_length"), QStringLiteral("content_sha256")};
    QList<OldTable> tables;
    for (const TransferTable& table : transferTables()) {
        OldTable old = {QString::fromLatin1(table.name), {}};
        if (old.name == QLatin1String("event"))
            continue;
        for (const TransferColumn& column : table.columns)
            if (!later.contains(QLatin1String(column.name)))
                old.columns << QString::fromLatin1(column.name);
        tables << old;
    }
    return tables;
}

QStringList oldRows(const QSqlDatabase& connection)
{
    QStringList rows;
    for (const OldTable& table : oldTables()) {
        QSqlQuery query(connection);
        if (!query.exec(QStringLiteral("SELECT %1 FROM %2 ORDER BY id")
                            .arg(table.columns.join(QStringLiteral(", ")), table.name)))
            qFatal("%s", qUtf8Printable(query.lastError().text()));
        while (query.next())
            rows << table.name + QStringLiteral(": ") + inWords(query.record());
    }
    return rows;
}

PlainConnection::PlainConnection(const QString& file)
    : m_name(QUuid::createUuid().toString())
{
    QSqlDatabase connection = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
    connection.setDatabaseName(file);
    if (!connection.open())
        qFatal("%s", qUtf8Printable(connection.lastError().text()));
}

PlainConnection::PlainConnection(const Named& connection)
    : m_name(connection.name)
{
    if (m_name.isEmpty())
        qFatal("the server cannot be reached");
}

PlainConnection::~PlainConnection()
{
    QSqlDatabase::removeDatabase(m_name);
}

QVariant PlainConnection::value(const QString& sql) const
{
    QSqlQuery query(handle());
    if (!query.exec(sql))
        qFatal("%s: %s", qUtf8Printable(sql), qUtf8Printable(query.lastError().text()));
    return query.next() ? query.value(0) : QVariant();
}

} // namespace KOZAV::Test
