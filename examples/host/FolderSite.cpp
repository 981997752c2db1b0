// What makes several programs on one folder possible: rows are changed only under a lock, and a document is
// always replaced as a whole, so that who reads without the lock reads it as it was before or after a change.

#include "FolderSite.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QLockFile>
#include <QSaveFile>

namespace {

QJsonObject readDocument(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
}

/// A QSaveFile brings its content to the disk before it gets its name.
bool writeDocument(const QString& path, const QJsonObject& document)
{
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(QJsonDocument(document).toJson()) > 0 &&
           file.commit();
}

/// A part of a path that is one step down and nothing else.
bool isFileName(const QString& name)
{
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..") &&
           !name.contains(QLatin1Char('/'));
}

} // namespace

FolderSite& FolderSite::current()
{
    static FolderSite site;
    return site;
}

QString FolderSite::useFolder(const QString& folder)
{
    m_folder = QDir(folder).absolutePath();
    if (!QDir().mkpath(path(QStringLiteral("upload"))) || !QDir().mkpath(path(QStringLiteral("download"))))
        return m_folder + QStringLiteral(" cannot be made");
    if (QFile::exists(path(QStringLiteral("configuration.json"))))
        return {};
    const QJsonObject defaults{{QStringLiteral("document_store/database"), QStringLiteral("example")},
                               {QStringLiteral("document_store/file_store"), QStringLiteral("jobs")},
                               {QStringLiteral("cache/upload"), path(QStringLiteral("upload"))},
                               {QStringLiteral("cache/download"), path(QStringLiteral("download"))},
                               {QStringLiteral("robot/host"), QStringLiteral("127.0.0.1")},
                               {QStringLiteral("robot/port"), 9000},
                               {QStringLiteral("user/id"), 1},
                               {QStringLiteral("user/name"), QStringLiteral("operator")}};
    return writeDocument(path(QStringLiteral("configuration.json")), defaults)
               ? QString()
               : m_folder + QStringLiteral(" cannot be written to");
}

QJsonObject FolderSite::configuration() const
{
    return readDocument(path(QStringLiteral("configuration.json")));
}

void FolderSite::configure(const QString& key, const QJsonValue& value) const
{
    QJsonObject changed = configuration();
    changed.insert(key, value);
    writeDocument(path(QStringLiteral("configuration.json")), changed);
}

QJsonObject FolderSite::rows() const
{
    return readDocument(path(QStringLiteral("rows.json")));
}

QString FolderSite::change(const std::function<QString(QJsonObject& rows)>& change) const
{
    if (m_folder.isEmpty())
        return QStringLiteral("there is no site");
    QLockFile lock(path(QStringLiteral("rows.lock")));
    // However long it takes: only a program that has ended has left a lock behind.
    lock.setStaleLockTime(0);
    if (!lock.lock())
        return QStringLiteral("the rows cannot be locked");
    QJsonObject changed = rows();
    QString reason = change(changed);
    if (!reason.isEmpty())
        return reason;
    return writeDocument(path(QStringLiteral("rows.json")), changed)
               ? QString()
               : QStringLiteral("the rows cannot be written");
}

int FolderSite::addCompany(const QString& code, const QString& name) const
{
    int number = 0;
    change([&](QJsonObject& rows) {
        QJsonArray companies = rows[QStringLiteral("companies")].toArray();
        number = companies.size() + 1;
        const QString now = timeOfRow();
        companies.append(QJsonObject{{QStringLiteral("id"), number},
                                     {QStringLiteral("code"), code},
                                     {QStringLiteral("name"), name},
                                     {QStringLiteral("created"), now},
                                     {QStringLiteral("updated"), now}});
        rows[QStringLiteral("companies")] = companies;
        return QString();
    });
    return number;
}

QString FolderSite::contentPath(const std::string& database, const std::string& fileStore,
                                const std::string& name) const
{
    QString place = path(QStringLiteral("files"));
    for (const std::string& part : {database, fileStore, name}) {
        const QString step = checkedText(part);
        if (!isFileName(step))
            return {};
        place += QLatin1Char('/') + step;
    }
    return place;
}

int indexOf(const QJsonArray& table, const char* column, const QJsonValue& value)
{
    for (int i = 0; i < table.size(); ++i)
        if (table.at(i).toObject().value(QLatin1String(column)) == value)
            return i;
    return -1;
}

QString checkedText(const std::string& utf8)
{
    const QString text = QString::fromStdString(utf8);
    const bool isText = text.toStdString() == utf8 && !text.contains(QChar(QChar::Null));
    return isText ? (text.isNull() ? QStringLiteral("") : text) : QString();
}

QString timeOfRow()
{
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
}

bool succeeded(const char* operation, const std::string& subject, const QString& reason)
{
    if (!reason.isEmpty())
        qWarning("%s %s: %s", operation, subject.c_str(), qUtf8Printable(reason));
    return reason.isEmpty();
}
