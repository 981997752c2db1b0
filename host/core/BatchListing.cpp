#include "host/core/BatchListing.h"

#include "host/core/BatchLinks.h"
#include "host/core/PanelSource.h"
#include "ui/import_from_file/BatchDirectory.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace KOZAV::Host {

namespace {

/// The names in a directory as they are on disk, whatever their encoding; where that has failed, those that
/// could be read.
std::vector<QByteArray> namesIn(const QString& directory, std::error_code& failed)
{
    std::vector<QByteArray> names;
    std::filesystem::directory_iterator entry(QFile::encodeName(directory).toStdString(), failed);
    for (; !failed && entry != std::filesystem::directory_iterator(); entry.increment(failed))
        names.push_back(QByteArray::fromStdString(entry->path().filename().native()));
    std::sort(names.begin(), names.end());
    return names;
}

Remark unseenReason(const QByteArray& name, const QString& directory, bool besideCompanies)
{
    const QString decoded = QFile::decodeName(name);
    if (QFile::encodeName(decoded) != name)
        return {QStringLiteral("name-not-text"),
                QStringLiteral("its name is not valid UTF-8, so that the import does not see it")};
    if (name.startsWith('.'))
        return {QStringLiteral("hidden"), QStringLiteral("hidden entries are not imported")};
    if (besideCompanies && QFileInfo(directory + QLatin1Char('/') + decoded).isFile())
        return {QStringLiteral("beside-companies"),
                QStringLiteral("a file beside the company folders belongs to no company")};
    return {QStringLiteral("not-a-job"), QStringLiteral("neither a file nor a folder that can be read")};
}

/// What lies in a directory and is not looked at by the import.
void listUnseen(const QString& directory, const QStringList& seen, const QString& company,
                std::vector<UnseenEntry>& unseen)
{
    const QSet<QString> seenNames(seen.begin(), seen.end());
    std::error_code failed;
    const auto names = namesIn(directory, failed);
    // The panel would take such a folder for an empty one, and end as if all were done.
    if (failed)
        unseen.push_back(
            {company,
             directory,
             directory,
             {QStringLiteral("folder-unreadable"), QStringLiteral("the folder cannot be listed: %1")
                                                       .arg(QString::fromStdString(failed.message()))}});
    for (const QByteArray& name : names) {
        const QString decoded = QFile::decodeName(name);
        const bool isText = QFile::encodeName(decoded) == name;
        if (isText && seenNames.contains(decoded))
            continue;
        const QString path = isText ? directory + QLatin1Char('/') + decoded : QString();
        unseen.push_back({company, decoded, path, unseenReason(name, directory, company.isEmpty())});
    }
}

ListedEntry entryOf(const QFileInfo& file, const QString& company, const Remark& refusal)
{
    const bool isAccepted = UI::batchEntryKind(file) != UI::BatchEntryKind::NotAccepted;
    return {company, file.fileName(), UI::batchEntryPath(file), file.isDir(),
            isAccepted ? Remark() : refusal};
}

BatchListing listBatch(const QString& directory)
{
    const Remark refusal = {
        QStringLiteral("suffix-refused"),
        QStringLiteral("not a job archive: only .zip, .rar, .tgz and .kos, so written, are imported")};
    BatchListing listing;
    for (const QFileInfo& company : UI::batchCompanies(directory)) {
        listing.companies << company.fileName();
        const QString folder = UI::batchEntryPath(company);
        QStringList names;
        for (const QFileInfo& job : UI::batchJobs(folder)) {
            names << job.fileName();
            listing.entries.push_back(entryOf(job, company.fileName(), refusal));
        }
        listUnseen(folder, names, company.fileName(), listing.unseen);
    }
    listUnseen(directory, listing.companies, QString(), listing.unseen);
    for (const LinkOut& link : linksOutOf(directory))
        listing.remarks.push_back(
            {link.path,
             {QStringLiteral("leads-out"), QStringLiteral("it is a link to %1").arg(link.target)}});
    return listing;
}

} // namespace

BatchListing listSource(const PanelSource& source)
{
    if (source.kind == PanelSource::Kind::Batch)
        return listBatch(source.path);
    BatchListing listing;
    if (source.path.isEmpty())
        return listing;
    listing.companies << source.company;
    listing.entries.push_back(
        entryOf(QFileInfo(source.path), source.company,
                {QStringLiteral("no-service"),
                 QStringLiteral("the panel calls no service for a file of this suffix: only .zip, .rar, .tgz "
                                "and .kos, so written, are imported")}));
    return listing;
}

} // namespace KOZAV::Host
