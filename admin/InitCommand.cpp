#include "admin/InitCommand.h"

#include "admin/Workplace.h"
#include "backend/database/Database.h"
#include "backend/text/TextTable.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>

namespace KOZAV::Admin {

using namespace Backend;

namespace {

/// Where the parts of a site lie, and which of them were there before.
class SiteParts final
{
public:
    void add(const QString& part, const QString& path, bool made) { m_parts.push_back({part, path, made}); }

    [[nodiscard]] Report report() const
    {
        TextTable table({QStringLiteral("PART"), QStringLiteral("STATE"), QStringLiteral("PLACE")});
        QJsonArray parts;
        for (const Part& part : m_parts) {
            table.addRow(
                {part.name, part.made ? QStringLiteral("made") : QStringLiteral("present"), part.path});
            parts.append(QJsonObject{{QStringLiteral("part"), part.name},
                                     {QStringLiteral("path"), part.path},
                                     {QStringLiteral("made"), part.made}});
        }
        return {{{QStringLiteral("parts"), parts}}, table.toString()};
    }

private:
    struct Part
    {
        QString name;
        QString path;
        bool made;
    };
    std::vector<Part> m_parts;
};

bool liesUnder(const Settings& settings, const QString& dataRoot)
{
    const QString root = QDir::cleanPath(QFileInfo(dataRoot).absoluteFilePath()) + QLatin1Char('/');
    return settings.database.file.startsWith(root) && settings.documentStore.root.startsWith(root);
}

/// Makes the configuration where there is none. One that is there stays, so it must already say what is asked
/// for.
Status provideConfiguration(const QString& dataRoot, Workplace& workplace, SiteParts& parts)
{
    const QString& path = workplace.configurationPath();
    const bool present = QFileInfo::exists(path);
    Status made = present ? Status() : createDefaultSettings(path, dataRoot);
    if (!made.ok())
        return made;
    parts.add(QStringLiteral("configuration"), path, !present);
    const Result<Settings> settings = workplace.settings();
    if (!settings.ok())
        return settings.status();
    if (!dataRoot.isEmpty() && !liesUnder(settings.value(), dataRoot))
        return {ErrorCode::AlreadyExists,
                QStringLiteral("configuration file \"%1\" is there already and puts the data elsewhere")
                    .arg(path)};
    return {};
}

QString shownPlace(const Settings& settings)
{
    const bool file = settings.database.driver == QLatin1String("QSQLITE");
    return file ? settings.database.file : settings.database.host + QLatin1Char('/') + settings.database.name;
}

QString shownStore(const Settings& settings)
{
    const bool local = settings.documentStore.kind == QLatin1String("local");
    return local ? settings.documentStore.root : settings.documentStore.database;
}

/// A place on a server counts as present: it has been connected to, not made.
bool isMissing(bool local, const QString& path)
{
    return local && !QFileInfo::exists(path);
}

Status provideData(Workplace& workplace, SiteParts& parts)
{
    const Settings settings = workplace.settings().value();
    const bool databaseMissing =
        isMissing(settings.database.driver == QLatin1String("QSQLITE"), settings.database.file);
    const bool storeMissing =
        isMissing(settings.documentStore.kind == QLatin1String("local"), settings.documentStore.root);
    const bool uploadMissing = isMissing(true, settings.uploadCache);
    const bool downloadMissing = isMissing(true, settings.downloadCache);
    Status folders = makeFolders(settings);
    if (!folders.ok())
        return folders;
    const Result<Database*> database = workplace.database();
    if (!database.ok())
        return database.status();
    const Result<DocumentStore*> store = workplace.documentStore();
    if (!store.ok())
        return store.status();
    parts.add(QStringLiteral("database"), shownPlace(settings), databaseMissing);
    parts.add(QStringLiteral("document store"), shownStore(settings), storeMissing);
    parts.add(QStringLiteral("upload cache"), settings.uploadCache, uploadMissing);
    parts.add(QStringLiteral("download cache"), settings.downloadCache, downloadMissing);
    return {};
}

} // namespace

QString InitCommand::summary() const
{
    return QStringLiteral("make the configuration, database, store and cache folders, whatever is missing");
}

std::vector<CommandOption> InitCommand::options() const
{
    return {{QStringLiteral("data-root"), QStringLiteral("DIR"),
             QStringLiteral("folder for all data of a new site; otherwise in the user's folder")}};
}

Result<Report> InitCommand::run(const CommandLine& line, Workplace& workplace) const
{
    SiteParts parts;
    const std::optional<QString> dataRoot = line.value(QStringLiteral("data-root"));
    if (dataRoot && dataRoot->isEmpty())
        return Status(ErrorCode::InvalidArgument,
                      QStringLiteral("--data-root is empty; accepted is a folder"));
    const Status configured = provideConfiguration(dataRoot.value_or(QString()), workplace, parts);
    if (!configured.ok())
        return configured;
    const Status data = provideData(workplace, parts);
    if (!data.ok())
        return data;
    return parts.report();
}

} // namespace KOZAV::Admin
