#pragma once

#include "backend/config/Settings.h"

#include <QSqlDatabase>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace KOZAV::Test {

/// A copy, in a folder of its own, of a site on embedded engines that programs with version 1 of the schema
/// have made through the services (tests/fixtures/schema_1): two packed folders, HX000001 and HX000002, an
/// archive with the robot's archive and a pre-processed file, AC000001, a saved job that went to the robot,
/// HX000003, an import that failed, AC000002, and one that did not come to its end, AC000003. Ends the test
/// program where it cannot be copied.
class OldSite final
{
public:
    OldSite();

    [[nodiscard]] QString configuration() const { return m_folder.filePath(QStringLiteral("zav.ini")); }
    [[nodiscard]] QString databaseFile() const { return m_folder.filePath(QStringLiteral("site.db")); }
    [[nodiscard]] QString path(const QString& name) const { return m_folder.filePath(name); }
    [[nodiscard]] Backend::Settings settings() const;

private:
    QTemporaryDir m_folder;
};

/// The tables of version 1 with their columns, in an order in which every row finds those that it refers to,
/// but for flows of original files.
struct OldTable
{
    QString name;
    QStringList columns;
};
QList<OldTable> oldTables();

/// What they hold, row by row: "table: column=value ...".
QStringList oldRows(const QSqlDatabase& connection);

/// Opens a database file as another program would, for as long as the object lives.
class PlainConnection final
{
public:
    explicit PlainConnection(const QString& file);
    /// Takes over one that is open already.
    struct Named
    {
        QString name;
    };
    explicit PlainConnection(const Named& connection);
    ~PlainConnection();
    Q_DISABLE_COPY(PlainConnection)

    [[nodiscard]] QSqlDatabase handle() const { return QSqlDatabase::database(m_name); }
    /// The first column of the first row; ends the test program where the query fails.
    [[nodiscard]] QVariant value(const QString& sql) const;

private:
    QString m_name;
};

} // namespace KOZAV::Test
