#include "admin/ServerOptions.h"
#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/config/Redaction.h"
#include "backend/config/SitePlaces.h"
#include "backend/database/Database.h"
#include "backend/io/FilePath.h"
#include "backend/store/DocumentStore.h"
#include "terminal/TextTable.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QUuid>

#include <memory>
#include <utility>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

std::string nativePath(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

/// A configuration file in the making. It lies beside its place under another name, and gets its own only
/// when all that it names has been found to work; without that it is removed.
class NewConfiguration final
{
public:
    /// @param target    where the file will be
    /// @param dataRoot  see createDefaultSettings()
    /// @param values    what differs from the defaults
    static Result<std::unique_ptr<NewConfiguration>> create(const QString& target, const QString& dataRoot,
                                                            const SettingValues& values);

    ~NewConfiguration();
    Q_DISABLE_COPY(NewConfiguration)

    /// Where it lies now.
    [[nodiscard]] const QString& path() const { return m_path; }

    /// Gives it its name. AlreadyExists where somebody else has made such a file meanwhile.
    Status keep();

    /// A failure that names the file as it will be called.
    [[nodiscard]] Status named(const Status& status) const;

private:
    explicit NewConfiguration(QString target);

    QString m_target;
    QString m_path;
    bool m_kept = false;
};

NewConfiguration::NewConfiguration(QString target)
    : m_target(std::move(target))
    , m_path(m_target + QStringLiteral(".new-") + QUuid::createUuid().toString(QUuid::Id128).left(8))
{
}

NewConfiguration::~NewConfiguration()
{
    if (!m_kept)
        QFile::remove(m_path);
}

Result<std::unique_ptr<NewConfiguration>>
NewConfiguration::create(const QString& target, const QString& dataRoot, const SettingValues& values)
{
    std::unique_ptr<NewConfiguration> file(new NewConfiguration(target));
    if (const auto made = createDefaultSettings(file->path(), dataRoot); !made.ok())
        return file->named(made);
    for (const auto& [key, value] : values)
        if (const auto written = writeSetting(file->path(), key, value); !written.ok())
            return file->named(written);
    return file;
}

Status NewConfiguration::keep()
{
    m_kept = true;
    return named(publishFile(nativePath(m_path), nativePath(m_target), ExistingTarget::Keep));
}

Status NewConfiguration::named(const Status& status) const
{
    QString message = status.message();
    return Status(status.code(), message.replace(m_path, m_target));
}

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

/// A configuration that is there stays, so it must already say what is asked for.
Status checkPresent(Site& site, const QString& dataRoot, const SettingValues& values)
{
    const QString path = site.configurationPath();
    const auto settings = site.settings();
    if (!settings.ok())
        return settings.status();
    if (!dataRoot.isEmpty() && !liesUnder(settings.value(), dataRoot))
        return Status::alreadyExists(
            QStringLiteral("configuration file \"%1\" is there already and puts the data elsewhere")
                .arg(path));
    for (const auto& [key, value] : values) {
        const auto present = readSetting(path, key);
        if (!present.ok())
            return present.status();
        if (present.value() != value)
            return Status::alreadyExists(
                QStringLiteral("configuration file \"%1\" is there already, with %2 = \"%3\"")
                    .arg(path, key, withoutPassword(present.value())));
    }
    return {};
}

/// A place on a server is there, or has been made before it is looked at.
bool isMissing(bool local, const QString& path)
{
    return local && !QFileInfo::exists(path);
}

/// Makes the database, on a server or as a file, and its tables. @return whether there was none
Result<bool> provideDatabase(const Settings& settings, Site& site)
{
    const bool isFile = settings.database.driver == QLatin1String("QSQLITE");
    Result<bool> made = isMissing(isFile, settings.database.file);
    if (!isFile)
        made = Database::createOnServer(settings.database);
    if (!made.ok())
        return made;
    const auto opened = site.database();
    return opened.ok() ? made : Result<bool>(opened.status());
}

/// Opens the store and tries it.
Status provideStore(Site& site)
{
    const auto store = site.documentStore();
    return store.ok() ? store.value()->health().status() : store.status();
}

Status provideData(Site& site, SiteParts& parts)
{
    const auto loaded = site.settings();
    if (!loaded.ok())
        return loaded.status();
    const Settings& settings = loaded.value();
    const bool storeMissing =
        isMissing(settings.documentStore.kind == QLatin1String("local"), settings.documentStore.root);
    const bool uploadMissing = isMissing(true, settings.uploadCache);
    const bool downloadMissing = isMissing(true, settings.downloadCache);
    // What may fail for want of a server comes before what is made on this machine.
    const auto database = provideDatabase(settings, site);
    if (!database.ok())
        return database.status();
    if (auto folders = makeFolders(settings); !folders.ok())
        return folders;
    if (auto store = provideStore(site); !store.ok())
        return store;
    parts.add(QStringLiteral("database"), placeOf(settings.database), database.value());
    parts.add(QStringLiteral("document store"), placeOf(settings.documentStore), storeMissing);
    parts.add(QStringLiteral("upload cache"), settings.uploadCache, uploadMissing);
    parts.add(QStringLiteral("download cache"), settings.downloadCache, downloadMissing);
    return {};
}

/// Makes what a configuration names that is there already.
Status completeSite(Site& site, const QString& dataRoot, const SettingValues& values, SiteParts& parts)
{
    if (auto fits = checkPresent(site, dataRoot, values); !fits.ok())
        return fits;
    parts.add(QStringLiteral("configuration"), site.configurationPath(), false);
    return provideData(site, parts);
}

/// Makes a site; its configuration is there only once all the rest is.
Status makeSite(const QString& path, const QString& dataRoot, const SettingValues& values, SiteParts& parts)
{
    const auto configuration = NewConfiguration::create(path, dataRoot, values);
    if (!configuration.ok())
        return configuration.status();
    NewConfiguration& file = *configuration.value();
    Site site(file.path());
    parts.add(QStringLiteral("configuration"), path, true);
    const auto data = provideData(site, parts);
    return data.ok() ? file.keep() : file.named(data);
}

} // namespace

Result<Report> initVerb(const Call& call)
{
    SiteParts parts;
    const std::optional<QString> dataRoot = call.line.value(QStringLiteral("data-root"));
    if (dataRoot && dataRoot->isEmpty())
        return Status::invalidArgument(QStringLiteral("--data-root is empty; accepted is a folder"));
    const auto servers = serverSettings(call.line);
    if (!servers.ok())
        return servers.status();
    const QString path = call.site.configurationPath();
    const QString root = dataRoot.value_or(QString());
    const auto done = QFileInfo::exists(path) ? completeSite(call.site, root, servers.value(), parts)
                                              : makeSite(path, root, servers.value(), parts);
    return done.ok() ? Result<Report>(parts.report()) : Result<Report>(done);
}

} // namespace KOZAV::Admin
