// Panels stage a copy of every archive that they import in the upload cache, and leave it there; nothing
// guards it while it is needed. So a copy goes only when it is needed by nobody for sure: its import is
// complete, and the file that the store holds was read through and is the very content of the copy. Of a file
// that the store has lost or damaged, the copy may be the last one.

#include "admin/JobChoice.h"
#include "admin/Stopping.h"
#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/io/FileCopy.h"
#include "backend/io/FileInfo.h"
#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/records/SiteAudit.h"
#include "backend/store/DocumentStore.h"
#include "terminal/TextTable.h"

#include <QFile>
#include <QJsonArray>

#include <algorithm>
#include <iterator>
#include <optional>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

constexpr int usualDays = 7;

/// Why a copy stays, or that it goes.
enum class Verdict { Goes, NoJob, ImportNotComplete, NotStored, Differs, Damaged, Changed };

struct VerdictText
{
    Verdict verdict;
    const char* word; ///< in JSON
    const char* text;
};

constexpr VerdictText verdictTexts[] = {
    {Verdict::Goes, "removed", "removed"},
    {Verdict::NoJob, "no-job", "stays: no row names it"},
    {Verdict::ImportNotComplete, "import-not-complete", "stays: its import is not complete"},
    {Verdict::NotStored, "not-stored", "stays: the store does not hold it"},
    {Verdict::Differs, "differs", "stays: the stored file has other content"},
    {Verdict::Damaged, "damaged", "stays: the stored file is damaged"},
    {Verdict::Changed, "changed", "stays: it was changed just now"},
};

const VerdictText& textOf(Verdict verdict)
{
    return *std::find_if(std::begin(verdictTexts), std::end(verdictTexts),
                         [verdict](const VerdictText& text) { return text.verdict == verdict; });
}

struct Copy
{
    std::string name;
    FileInfo info;
    QString job;
    Verdict verdict = Verdict::Goes;
};

/// What a sweep works with.
struct Sweep
{
    Database& database;
    DocumentStore& store;
    const Settings& settings;
    Folder cache;
    qint64 newestNs = 0; ///< changed later, a copy is not looked at
    bool dryRun = false;
    qint64 young = 0;
    std::vector<Copy> copies = {};
    Status damage = {}; ///< of the first stored file that was found damaged
};

Result<qint64> newestNs(const CommandLine& line)
{
    const QString days = line.value(QStringLiteral("older-than")).value_or(QString::number(usualDays));
    bool isNumber = false;
    const int count = days.toInt(&isNumber);
    if (!isNumber || count < 0)
        return refusedOption("older-than", days, "a number of days");
    return QDateTime::currentDateTimeUtc().addDays(-count).toMSecsSinceEpoch() * 1'000'000;
}

/// The copies that are old enough. What begins with a dot is a temporary file, which openings clear away.
Status listCopies(Sweep& sweep)
{
    auto names = sweep.cache.names();
    if (!names.ok())
        return names.status();
    std::sort(names->begin(), names->end());
    for (const std::string& name : names.value()) {
        const auto info = sweep.cache.entryInfo(name);
        if (!info.ok() || info->kind != FileKind::Regular || name.front() == '.' || name == "lock")
            continue;
        if (info->modifiedNs > sweep.newestNs)
            ++sweep.young;
        else
            sweep.copies.push_back({name, info.value(), {}, Verdict::Goes});
    }
    return {};
}

/// The row of the import that the copy was made for: a complete one where there is one.
Result<std::optional<FileRow>> rowOf(const Copy& copy, Database& database)
{
    const auto rows = listFileRowsOf(database, QFile::decodeName(copy.name.c_str()));
    if (!rows.ok())
        return rows.status();
    std::optional<FileRow> found;
    for (const FileRow& row : rows.value()) {
        if (row.isLinked && (!found || row.complete))
            found = row;
    }
    return found;
}

/// Compares the copy with what the store holds, reading both to their ends.
Result<Verdict> compared(const Copy& copy, const FileRow& row, Sweep& sweep)
{
    const QString fileStore = row.fileStore.value_or(sweep.settings.documentStore.fileStore);
    const StoreLocation location = storeLocation(sweep.settings.documentStore, fileStore.toStdString());
    const auto stored = sweep.store.verify(location, copy.name);
    if (stored.code() == ErrorCode::NotFound)
        return Verdict::NotStored;
    if (stored.code() == ErrorCode::Corrupt) {
        sweep.damage = sweep.damage.ok() ? stored.status() : sweep.damage;
        return Verdict::Damaged;
    }
    if (!stored.ok())
        return stored.status();
    if (stored->length != copy.info.length || (row.storedSha256 && *row.storedSha256 != stored->sha256))
        return Verdict::Differs;
    auto file = File::openForReadingIn(sweep.cache, copy.name);
    if (!file.ok())
        return file.status();
    const auto digest = digestFile(file.value());
    if (digest.code() == ErrorCode::ChangedWhileRead)
        return Verdict::Changed;
    if (!digest.ok())
        return digest.status();
    const auto info = file->info();
    const auto now = sweep.cache.entryInfo(copy.name);
    if (!info.ok() || !now.ok() || !info->isSameState(copy.info) || !now->isSameState(copy.info))
        return Verdict::Changed;
    return digest.value() == stored.value() ? Verdict::Goes : Verdict::Differs;
}

Status judge(Copy& copy, Sweep& sweep)
{
    const auto row = rowOf(copy, sweep.database);
    if (!row.ok())
        return row.status();
    if (!row.value()) {
        copy.verdict = Verdict::NoJob;
        return {};
    }
    copy.job = row.value()->job;
    if (!row.value()->complete) {
        copy.verdict = Verdict::ImportNotComplete;
        return {};
    }
    const auto verdict = compared(copy, *row.value(), sweep);
    if (!verdict.ok())
        return verdict.status();
    copy.verdict = verdict.value();
    if (copy.verdict != Verdict::Goes || sweep.dryRun)
        return {};
    return removeFile(joinPath(sweep.cache.path(), copy.name));
}

Report reportOf(const Sweep& sweep, size_t looked)
{
    TextTable table({QStringLiteral("FILE"), QStringLiteral("BYTES"), QStringLiteral("JOB"),
                     QStringLiteral("STAGED COPY")});
    table.alignRight({1});
    QJsonArray list;
    qint64 removed = 0;
    qint64 bytes = 0;
    for (size_t i = 0; i < looked; ++i) {
        const Copy& copy = sweep.copies[i];
        const bool goes = copy.verdict == Verdict::Goes;
        const QString name = QFile::decodeName(copy.name.c_str());
        const QString text = goes && sweep.dryRun ? QStringLiteral("would be removed")
                                                  : QString::fromLatin1(textOf(copy.verdict).text);
        table.addRow({name, QString::number(copy.info.length),
                      copy.job.isEmpty() ? QStringLiteral("-") : copy.job, text});
        list.append(QJsonObject{{QStringLiteral("name"), name},
                                {QStringLiteral("bytes"), copy.info.length},
                                {QStringLiteral("job"), copy.job},
                                {QStringLiteral("outcome"), QLatin1String(textOf(copy.verdict).word)}});
        removed += goes ? 1 : 0;
        bytes += goes ? copy.info.length : 0;
    }
    const QString sum =
        QStringLiteral("%1 %2, %3 bytes; %4 stay, %5 are younger\n")
            .arg(removed)
            .arg(sweep.dryRun ? QStringLiteral("would be removed") : QStringLiteral("removed"))
            .arg(bytes)
            .arg(static_cast<qint64>(looked) - removed)
            .arg(sweep.young);
    return {{{QStringLiteral("files"), list},
             {QStringLiteral("removed"), removed},
             {QStringLiteral("removed_bytes"), bytes},
             {QStringLiteral("younger"), sweep.young},
             {QStringLiteral("dry_run"), sweep.dryRun}},
            table.toString() + sum};
}

} // namespace

Result<Report> sweepVerb(const Call& call)
{
    const auto newest = newestNs(call.line);
    if (!newest.ok())
        return newest.status();
    const auto settings = call.site.settings();
    if (!settings.ok())
        return settings.status();
    const auto database = call.site.database();
    if (!database.ok())
        return database.status();
    const auto store = call.site.documentStore();
    if (!store.ok())
        return store.status();
    auto cache = Folder::open(QFile::encodeName(settings->uploadCache).toStdString());
    if (!cache.ok())
        return cache.status();
    Sweep sweep{*database.value(),        *store.value(), settings.value(),
                std::move(cache.value()), newest.value(), call.line.has(QStringLiteral("dry-run"))};
    if (auto listed = listCopies(sweep); !listed.ok())
        return listed;
    const StoppableVerb stoppable;
    Status outcome;
    size_t looked = 0;
    for (; outcome.ok() && looked < sweep.copies.size(); ++looked) {
        outcome = safePoint();
        if (outcome.ok())
            outcome = judge(sweep.copies[looked], sweep);
    }
    Report report = reportOf(sweep, outcome.ok() ? looked : looked - 1);
    report.outcome = outcome.ok() ? sweep.damage : outcome;
    const auto judged = static_cast<qint64>(outcome.ok() ? looked : looked - 1);
    report.stop.done = QStringLiteral("%1 of %2 staged copies were looked at, and are told above")
                           .arg(judged)
                           .arg(sweep.copies.size());
    report.stop.json = {{QStringLiteral("files"), judged},
                        {QStringLiteral("files_total"), static_cast<qint64>(sweep.copies.size())}};
    return report;
}

} // namespace KOZAV::Admin
