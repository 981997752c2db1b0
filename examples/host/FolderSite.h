#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <functional>
#include <string>

/// A site in a folder of plain files: its configuration and all of its rows are a JSON document each, and its
/// stored files are files. Several programs may work on one at the same time.
///
/// It is made to be read, not for many jobs: each change writes all rows.
class FolderSite
{
public:
    /// The one that the services of this process work on; none before useFolder().
    static FolderSite& current();

    /// Has the services work on the site in a folder from now on, which is made where it is missing.
    /// @return why that is not possible; empty where it is
    QString useFolder(const QString& folder);
    [[nodiscard]] QString path(const QString& name) const { return m_folder + QLatin1Char('/') + name; }

    /// The configuration as it is now; empty where it cannot be read.
    [[nodiscard]] QJsonObject configuration() const;
    void configure(const QString& key, const QJsonValue& value) const;

    /// All rows as they are now: for each table an array, in the order in which the rows were made.
    [[nodiscard]] QJsonObject rows() const;
    /// Has change work on the rows while no other program can, and writes what it leaves. What it returns is
    /// why there is nothing to be written, and is returned; empty for a success.
    QString change(const std::function<QString(QJsonObject& rows)>& change) const;

    /// Adds a company. @return its number
    int addCompany(const QString& code, const QString& name) const;

    /// Where the content of a stored file lies. @return empty for a name that cannot be a file's
    [[nodiscard]] QString contentPath(const std::string& database, const std::string& fileStore,
                                      const std::string& name) const;

private:
    QString m_folder;
};

/// The index of the first row of a table that has this value, or -1.
int indexOf(const QJsonArray& table, const char* column, const QJsonValue& value);

/// The text as it comes from a panel; null, which no text is, where it is not UTF-8 or holds a NUL.
QString checkedText(const std::string& utf8);

/// The time that rows carry: now, ISO 8601 in UTC.
QString timeOfRow();

/// Tells of a failure in the log, and whether there was none.
bool succeeded(const char* operation, const std::string& subject, const QString& reason);
