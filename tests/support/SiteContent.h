#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QVector>

namespace KOZAV::Test {

/// Fills the site that a configuration file names with jobs: rows of every table, all kinds of references and
/// absent values, texts of every kind, and stored files, two of them in a file store of another name. Ends
/// the test program where that fails.
/// @param first  number of the first job: another call may add more
void fillSite(const QString& configuration, int jobs, int first = 1);

/// The numbers of files and of orig_file rows that fillSite() makes.
int filesOf(int jobs);

/// Everything that a site holds, read by plain means: for comparing.
struct SiteContent
{
    using Row = QMap<QString, QString>; ///< by the columns' names; NULL is "(null)"

    QMap<QString, QVector<Row>> tables;  ///< by their names, in the order of the rows' numbers
    QMap<QString, QByteArray> files;     ///< content, by file store and name
    QMap<QString, QByteArray> checksums; ///< SHA-256 as the store tells it

    bool operator==(const SiteContent& other) const
    {
        return tables == other.tables && files == other.files && checksums == other.checksums;
    }
    [[nodiscard]] int rowCount() const;
};

SiteContent readSite(const QString& configuration);

/// What differs first, in words; empty where nothing does.
QString difference(const SiteContent& one, const SiteContent& other);

/// Runs one write on the rows of a site, as another program would. @return the number of rows changed
int changeRows(const QString& configuration, const char* sql);

} // namespace KOZAV::Test
