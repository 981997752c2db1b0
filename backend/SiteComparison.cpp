#include "backend/SiteComparison.h"

#include "backend/config/SitePlaces.h"
#include "backend/database/Database.h"
#include "backend/records/SiteIdentity.h"
#include "backend/store/DocumentStore.h"

#include <QUuid>

#include <map>

// Rows and files of a site lie in two places, and each of these can be lost, emptied, exchanged or not be
// there for a while by itself. Used together with the wrong other one they would be damaged for good: job
// numbers given twice, rows without files, a mount point filled. So each part carries the identity of its
// site, and whoever opens a part compares it with that of the configuration.
//
// A site that has none yet is one of an earlier release, or one whose making or taking over was interrupted.
// Its identity goes to the store first, then to the database, then to the configuration. So a database that
// has one beside a store that has none was never on this way: the store has been exchanged or is not mounted.
// The other states may go on from where they are, but not before the parts were found to fit by their
// contents: the files that the newest rows name are in the store, and a database without rows does not stand
// beside a store that has files. Of two programs that do this at once the later one finds what the other
// has written and takes that.

namespace KOZAV::Backend {

namespace {

constexpr int newestLooked = 100;

/// This part of the looked-for files may be missing, less than that: one of so many.
constexpr int refusedPart = 10;

QString storeKey(const DocumentStoreSettings& settings)
{
    return settings.kind == QLatin1String("local") ? QStringLiteral("document_store/root")
                                                   : QStringLiteral("document_store/uri and database");
}

QString storeAdvice(const DocumentStoreSettings& settings)
{
    return QStringLiteral("mount its disk or name the right one in %1, or bring the site's files back with "
                          "\"zav_admin restore-files\"")
        .arg(storeKey(settings));
}

QString placeText(const DocumentStoreSettings& settings)
{
    return QStringLiteral("\"%1\" (%2/%3)").arg(placeOf(settings), settings.database, settings.fileStore);
}

Status storeRefused(const DocumentStoreSettings& settings, const QString& reason)
{
    return Status::configuration(QStringLiteral("the document store %1 %2: %3")
                                     .arg(placeText(settings), reason, storeAdvice(settings)))
        .from(SitePart::Files);
}

Status databaseRefused(const QString& place, const QString& reason)
{
    return Status::configuration(
               QStringLiteral("the database \"%1\" %2: name the right one in the section \"database\" of the "
                              "configuration, or bring the site's rows back with \"zav_admin restore\"")
                   .arg(place, reason))
        .from(SitePart::Rows);
}

/// Without a job to go by: either both parts know of files or none does. A database that was lost would give
/// its numbers again, a store that was would be filled on the disk below its mount point.
Status compareEmptiness(const SiteParts& parts)
{
    const auto rows = hasOrigFiles(parts.database);
    if (!rows.ok())
        return rows.status().from(SitePart::Rows);
    const auto files = parts.store.list(storeLocation(parts.settings.documentStore));
    if (!files.ok())
        return files.status().from(SitePart::Files);
    if (rows.value() && files->empty())
        return storeLost(parts.settings.documentStore);
    return !rows.value() && !files->empty() ? databaseLost(parts.settings) : Status();
}

/// Whether the parts fit by their contents.
Status compareContents(const SiteParts& parts)
{
    const auto files = lookForNewestFiles(parts);
    if (!files.ok())
        return files.status();
    return files->looked == 0 ? compareEmptiness(parts) : judge(files.value(), parts);
}

struct FoundIdentities
{
    QString database;
    QString store;

    /// The one that a part has, or else the one of the configuration.
    [[nodiscard]] QString any(const QString& configured) const
    {
        if (!database.isEmpty())
            return database;
        return store.isEmpty() ? configured : store;
    }
};

Result<FoundIdentities> readIdentities(const SiteParts& parts)
{
    const auto database = siteIdentity(parts.database);
    if (!database.ok())
        return database.status().from(SitePart::Rows);
    const auto store = parts.store.siteMark(storeLocation(parts.settings.documentStore));
    if (!store.ok())
        return store.status().from(SitePart::Files);
    return FoundIdentities{database.value(), store.value()};
}

/// Refuses identities that differ, and a store without one that was exchanged.
Status refuseOthers(const FoundIdentities& found, const SiteParts& parts, Asker asker)
{
    const QString& configured = parts.settings.siteId;
    if (!found.database.isEmpty() && !configured.isEmpty())
        if (auto same = compareDatabase(parts.database, configured); !same.ok())
            return same;
    const QString expected = found.any(configured);
    const bool exchanged = found.store.isEmpty() && !found.database.isEmpty() && asker == Asker::Opening;
    if (expected.isEmpty() || (found.store.isEmpty() && !exchanged))
        return {};
    return compareStore(parts.store, parts.settings.documentStore,
                        configured.isEmpty() ? expected : configured);
}

/// Marks the store, or learns which mark another program has just given it.
Result<QString> markStore(const SiteParts& parts, const QString& identity)
{
    const StoreLocation location = storeLocation(parts.settings.documentStore);
    const auto marked = parts.store.setSiteMark(location, identity);
    if (marked.code() == ErrorCode::AlreadyExists)
        return parts.store.siteMark(location);
    return marked.ok() ? Result(identity) : marked.from(SitePart::Files);
}

} // namespace

Status compareDatabase(Database& database, const QString& identity)
{
    const auto found = siteIdentity(database);
    if (!found.ok())
        return found.status().from(SitePart::Rows);
    if (found.value() == identity)
        return {};
    if (!found->isEmpty())
        return databaseRefused(database.place(),
                               QStringLiteral("belongs to the site %1, the configuration to the site %2")
                                   .arg(found.value(), identity));
    return databaseRefused(
        database.place(),
        QStringLiteral("has no identity, the configuration has %1; where it is an older copy of the "
                       "site's, \"zav_admin init\" compares it with the store and takes it over; "
                       "otherwise")
            .arg(identity));
}

Status compareStore(DocumentStore& store, const DocumentStoreSettings& settings, const QString& identity)
{
    const auto found = store.siteMark(storeLocation(settings));
    if (!found.ok())
        return found.status().from(SitePart::Files);
    if (found.value() == identity)
        return {};
    if (found->isEmpty())
        return storeRefused(settings, QStringLiteral("has no mark of the site %1").arg(identity));
    return storeRefused(
        settings,
        QStringLiteral("belongs to the site %1, and not to the site %2").arg(found.value(), identity));
}

Result<NewestFiles> lookForNewestFiles(const SiteParts& parts)
{
    const auto named = newestFiles(parts.database, newestLooked);
    if (!named.ok())
        return named.status().from(SitePart::Rows);
    std::map<QString, std::vector<std::string>> namesOf; // by file store, nearly always one
    for (const NamedFile& file : named.value())
        namesOf[file.fileStore].push_back(file.storedName.toStdString());
    NewestFiles files;
    for (const auto& [fileStore, names] : namesOf) {
        const auto found =
            parts.store.findSome(storeLocation(parts.settings.documentStore, fileStore.toStdString()), names);
        if (!found.ok())
            return found.status().from(SitePart::Files);
        std::map<std::string, bool> stored;
        for (const StoredFile& file : found.value())
            stored[file.name] = true;
        for (const std::string& name : names) {
            ++files.looked;
            if (stored.count(name) > 0)
                continue;
            ++files.missing;
            files.example = QString::fromStdString(name);
        }
    }
    return files;
}

Status databaseLost(const Settings& settings)
{
    return databaseRefused(placeOf(settings.database),
                           QStringLiteral("has no rows, but the document store %1 has files")
                               .arg(placeText(settings.documentStore)));
}

Status storeLost(const DocumentStoreSettings& settings)
{
    return storeRefused(settings, QStringLiteral("has no files, but the database has rows of stored files"));
}

Status judge(const NewestFiles& files, const SiteParts& parts)
{
    if (files.missing == 0 || files.missing * refusedPart < files.looked)
        return {};
    return storeRefused(parts.settings.documentStore,
                        QStringLiteral("lacks %1 of the %2 files that the newest rows name, such as \"%3\" "
                                       "(\"zav_admin check\" lists all)")
                            .arg(files.missing)
                            .arg(files.looked)
                            .arg(files.example));
}

Result<QString> settleIdentity(const SiteParts& parts, Asker asker)
{
    const auto found = readIdentities(parts);
    if (!found.ok())
        return found.status();
    if (auto agreed = refuseOthers(found.value(), parts, asker); !agreed.ok())
        return agreed;
    QString identity = found->any(parts.settings.siteId);
    if (!found->database.isEmpty() && !found->store.isEmpty())
        return identity;
    if (asker != Asker::Filling)
        if (auto fits = compareContents(parts); !fits.ok())
            return fits;
    if (identity.isEmpty())
        identity = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const auto marked = markStore(parts, identity);
    if (!marked.ok())
        return marked.status();
    auto noted = setSiteIdentity(parts.database, marked.value());
    return noted.ok() ? marked : Result<QString>(noted.from(SitePart::Rows));
}

} // namespace KOZAV::Backend
