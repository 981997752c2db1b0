// Rows and stored files are compared as two sorted listings are merged: rows arrive in pages in the order of
// the names that they give, the listing of each file store has the same order. Whatever stands at the
// smallest name is next: a row without a file, a file with its rows, a file without any. So no more than a
// page of rows is held beside the listings.
//
// The listings begin before the first row is read. A file that a row names is stored before the row is
// written; so a row may well name a file that came after the listing, and every such file is looked for once
// more. A file without a row, on the other hand, may belong to an import whose rows are written a moment
// later: those are kept until the end and asked for again, and only old ones are called orphans.
//
// What the store itself finds (survey) is joined by the name: a damaged file is told once, with the job that
// it belongs to.

#include "backend/SafePoint.h"
#include "backend/check/CheckContext.h"
#include "backend/check/ContentReading.h"
#include "backend/check/FileListings.h"
#include "backend/check/ReadingState.h"
#include "backend/config/SitePlaces.h"
#include "backend/database/Database.h"
#include "backend/io/FilePath.h"
#include "backend/records/FileContent.h"
#include "backend/records/JobListing.h"
#include "backend/records/JobVoiding.h"
#include "backend/records/SiteAudit.h"
#include "backend/records/SiteEvents.h"
#include "backend/store/DocumentStore.h"
#include "backend/store/StoreNames.h"

#include <QFile>
#include <QTemporaryDir>

#include <limits>
#include <memory>
#include <optional>
#include <set>

namespace KOZAV::Backend {

namespace {

constexpr std::size_t secondLooksAtOnce = 200;
constexpr std::size_t rowsPerWrite = 200;
constexpr int failedState = -1;

bool isVoided(const FileRow& row)
{
    return row.isLinked && row.state == voidedState && row.subState == voidedSubState;
}

bool hasFailed(const FileRow& row)
{
    return row.isLinked && row.state == failedState && row.subState == failedState;
}

QString nameText(const std::string& name)
{
    return displayPath(name);
}

QString digestText(qint64 length, const QByteArray& sha256)
{
    return sha256.isEmpty()
               ? QStringLiteral("%1 bytes").arg(length)
               : QStringLiteral("%1 bytes, sha256 %2").arg(length).arg(QString::fromLatin1(sha256));
}

FindingKind kindOf(StoreFlaw::Kind kind)
{
    switch (kind) {
    case StoreFlaw::Kind::SumUnreadable:
        return FindingKind::SumDamaged;
    case StoreFlaw::Kind::WrongLength:
        return FindingKind::FileLength;
    case StoreFlaw::Kind::NotRegular:
        return FindingKind::NotAFile;
    case StoreFlaw::Kind::DataWithoutSum:
        return FindingKind::SumMissing;
    case StoreFlaw::Kind::SumFileDiffers:
        return FindingKind::SumStale;
    case StoreFlaw::Kind::SumWithoutData:
        return FindingKind::DataMissing;
    case StoreFlaw::Kind::LeftoverTemp:
        return FindingKind::TempLeftover;
    case StoreFlaw::Kind::ChunksMissing:
        return FindingKind::ChunkMissing;
    case StoreFlaw::Kind::ChunksSurplus:
        return FindingKind::ChunkSurplus;
    case StoreFlaw::Kind::ChunksWithoutFile:
        return FindingKind::ChunkOrphan;
    case StoreFlaw::Kind::IndexMissing:
        break;
    }
    return FindingKind::IndexMissing;
}

class FileComparison final
{
public:
    explicit FileComparison(CheckContext& context)
        : m_context(context)
        , m_configured(storeLocation(context.settings.documentStore))
    {
    }

    Status run();

private:
    struct Unnamed
    {
        Listing* listing;
        StoredFile file;
    };
    struct Missing
    {
        Listing* listing;
        FileRow row;
    };

    Status lookAtStoreAlone();
    Status openListings();
    Status readOddJobs();
    Status beginReading();
    Status countFiles();
    Status countWhatIsToRead();
    Status merge();
    Listing* smallest();
    Listing& listingOf(const FileRow& row);
    Status meet(FileRow row);
    Status leave(Listing& listing);
    void compare(Listing& listing, const StoredFile& file, const FileRow& row);
    Status read(Listing& listing, const StoredFile& file, std::vector<FileRow> rows);
    void take(const std::vector<ReadingResult>& results);
    void takeContent(const ReadingResult& result);
    void takeFailure(const ReadingResult& result);
    Status fillRows(bool all);
    Status lookAgainAtMissing();
    void addMissing(Listing& listing, const FileRow& row);
    bool isQuarantined(Listing& listing, const std::string& name);
    Status lookAgainAtUnnamed();
    Status lookAgainAtVoided();
    void addFlaws();
    void addFlaw(Listing& listing, const NamedFlaw& named);

    CheckContext& m_context;
    const StoreLocation m_configured;
    std::vector<std::unique_ptr<Listing>> m_listings; ///< by the names of their file stores
    std::vector<Missing> m_missing;
    std::vector<Unnamed> m_unnamed;
    std::vector<Missing> m_voided; ///< rows of voided jobs whose file is stored
    std::map<const Listing*, std::set<std::string>> m_quarantined;
    qint64 m_unrecorded = 0;
    std::unique_ptr<ReadingState> m_state;
    std::unique_ptr<ContentReading> m_reading;
    /// What a row lacks and a reading has found.
    struct Filling
    {
        qint64 row = 0;
        ContentDigest stored;
        std::optional<ContentDigest> folder;
    };
    std::unique_ptr<QTemporaryDir> m_passages;
    std::vector<Filling> m_fillings;
    Status m_readingFailure; ///< that ends the check: the server is gone
};

Status FileComparison::run()
{
    if (!m_context.database)
        return lookAtStoreAlone();
    for (const auto step : {&FileComparison::openListings, &FileComparison::readOddJobs,
                            &FileComparison::beginReading, &FileComparison::merge}) {
        if (auto done = (this->*step)(); !done.ok())
            return done;
    }
    if (m_reading)
        take(m_reading->finish());
    auto done = m_readingFailure;
    if (done.ok())
        done = fillRows(true);
    if (done.ok() && m_state)
        m_state->finish();
    for (const auto step : {&FileComparison::lookAgainAtMissing, &FileComparison::lookAgainAtVoided,
                            &FileComparison::lookAgainAtUnnamed}) {
        if (done.ok())
            done = (this->*step)();
    }
    if (!done.ok())
        return done;
    addFlaws();
    if (m_unrecorded > 0)
        m_context.add(FindingKind::ContentNotRecorded, QStringLiteral("orig_file"),
                      QStringLiteral("%1 rows").arg(m_unrecorded));
    return {};
}

/// Without rows nobody can say which files are missed and which are leftovers: only flaws are told.
Status FileComparison::lookAtStoreAlone()
{
    m_context.add(FindingKind::NotLookedAt, QStringLiteral("rows and stored files"),
                  QStringLiteral("the database cannot be opened: stored files were not compared with rows"));
    if (auto opened = openListings(); !opened.ok())
        return opened;
    addFlaws();
    return {};
}

Status FileComparison::openListings()
{
    std::set<std::string> names = {m_configured.fileStore};
    if (m_context.database) {
        const auto named = fileStoresNamed(*m_context.database);
        if (!named.ok())
            return named.status();
        for (const QString& name : named.value())
            names.insert(name.toStdString());
    }
    for (const std::string& name : names) {
        auto listing = std::make_unique<Listing>();
        listing->location = {m_configured.database, name};
        if (const auto flaws = listing->survey(m_context.store); !flaws.ok()) {
            auto told =
                asFinding(m_context, FindingKind::NotLookedAt, locationText(listing->location), flaws);
            if (!told.ok())
                return told;
        }
        if (auto opened = listing->open(m_context.store); !opened.ok())
            return opened;
        m_listings.push_back(std::move(listing));
    }
    return {};
}

/// Jobs whose last row names another file than their original-file row: both are theirs.
Status FileComparison::readOddJobs()
{
    qint64 last = std::numeric_limits<qint64>::min();
    for (;;) {
        if (auto goOn = safePoint(); !goOn.ok())
            return goOn;
        const auto page = listOddJobs(*m_context.database, last, pageRows);
        if (!page.ok())
            return page.status();
        for (const OddJob& odd : page.value()) {
            const StoreLocation location{m_configured.database, odd.fileStore.toStdString()};
            const std::string name = odd.storedName.toStdString();
            for (const auto& listing : m_listings) {
                if (listing->location.fileStore == location.fileStore)
                    listing->namedByLastRows.insert(name);
            }
            if (m_context.store.find(location, name).code() == ErrorCode::NotFound)
                m_context.add(FindingKind::FileMissing, odd.storedName,
                              QStringLiteral("not in %1").arg(locationText(location)), odd.job);
        }
        if (page->size() < static_cast<std::size_t>(pageRows))
            return {};
        last = page->back().id;
    }
}

Status FileComparison::beginReading()
{
    if (m_context.options.readData) {
        const QString site = placeOf(m_context.settings.database) + QLatin1Char('\n') +
                             placeOf(m_context.settings.documentStore);
        auto state = ReadingState::open(m_context.settings.downloadCache, site, m_context.options.goOn);
        if (!state.ok())
            return state.status();
        m_state = std::move(state.value());
        if (m_state->wentOnFrom().isValid())
            m_context.report.wentOnFrom = m_state->wentOnFrom().toString(Qt::ISODateWithMs);
        m_passages = std::make_unique<QTemporaryDir>(m_context.settings.downloadCache +
                                                     QStringLiteral("check-XXXXXX"));
        if (!m_passages->isValid())
            return Status::io(m_passages->errorString())
                .in(QStringLiteral("cannot make a folder in the download cache"));
        m_reading = std::make_unique<ContentReading>(m_context.store, m_context.meter,
                                                     QFile::encodeName(m_passages->path()).toStdString());
    }
    return m_reading ? countWhatIsToRead() : countFiles();
}

/// Without reading rows tell well enough how long the way is.
Status FileComparison::countFiles()
{
    const auto files = countOrigFiles(*m_context.database);
    if (files.ok())
        m_context.meter.expect(files.value(), 0);
    return files.status();
}

Status FileComparison::countWhatIsToRead()
{
    qint64 files = 0;
    qint64 bytes = 0;
    for (const auto& listing : m_listings) {
        const auto pages = m_context.store.listInPages(listing->location);
        if (!pages.ok())
            return pages.status();
        for (auto page = pages.value()(); !page.ok() || !page->empty(); page = pages.value()()) {
            if (!page.ok())
                return page.status();
            if (auto goOn = safePoint(); !goOn.ok())
                return goOn;
            for (const StoredFile& file : page.value()) {
                ++files;
                if (!m_state->isRead({file.name, listing->location.fileStore}, file.storedAt))
                    bytes += file.length;
            }
        }
    }
    m_context.meter.expect(files, bytes);
    return {};
}

Status FileComparison::merge()
{
    FileRows rows(*m_context.database);
    for (;;) {
        if (auto goOn = safePoint(); !goOn.ok())
            return goOn;
        const auto row = rows.peek();
        if (!row.ok())
            return row.status();
        for (const auto& filled : m_listings) {
            if (auto read = filled->fill(); !read.ok())
                return read;
        }
        Listing* const listing = smallest();
        if (row.value() == nullptr && listing == nullptr)
            return {};
        const bool rowFirst =
            row.value() != nullptr &&
            (listing == nullptr || row.value()->storedName.toStdString() <= listing->file()->name);
        if (auto done = rowFirst ? meet(rows.take()) : leave(*listing); !done.ok())
            return done;
        if (!m_readingFailure.ok())
            return m_readingFailure;
    }
}

Listing* FileComparison::smallest()
{
    Listing* found = nullptr;
    for (const auto& listing : m_listings) {
        if (listing->file() && (!found || listing->file()->name < found->file()->name))
            found = listing.get();
    }
    return found;
}

/// A row of a job that has no last row does not say where its file lies: in the configured file store.
Listing& FileComparison::listingOf(const FileRow& row)
{
    const std::string fileStore = row.fileStore ? row.fileStore->toStdString() : m_configured.fileStore;
    const auto at = std::find_if(m_listings.begin(), m_listings.end(), [&](const auto& listing) {
        return listing->location.fileStore == fileStore;
    });
    if (at != m_listings.end())
        return **at;
    // The first job of a file store that is new since the listings were taken.
    auto listing = std::make_unique<Listing>();
    listing->location = {m_configured.database, fileStore};
    m_listings.push_back(std::move(listing));
    return *m_listings.back();
}

/// The row's name is at most that of the next file.
Status FileComparison::meet(FileRow row)
{
    Listing& listing = listingOf(row);
    const std::string name = row.storedName.toStdString();
    if (listing.file() && listing.file()->name == name) {
        listing.rows.push_back(std::move(row));
        return {};
    }
    if (isVoided(row) || hasFailed(row) || listing.joinFlaws(name, row))
        return {};
    m_missing.push_back({&listing, std::move(row)});
    return m_missing.size() < secondLooksAtOnce ? Status() : lookAgainAtMissing();
}

/// All rows that name the next file have been met.
Status FileComparison::leave(Listing& listing)
{
    const StoredFile& file = *listing.file();
    std::vector<FileRow> rows = std::move(listing.rows);
    listing.rows.clear();
    ++m_context.report.files;
    m_context.report.bytes += file.length;
    for (const FileRow& row : rows)
        compare(listing, file, row);
    if (rows.empty() && listing.namedByLastRows.count(file.name) == 0 && !listing.hasFlaw(file.name))
        m_unnamed.push_back({&listing, file});
    Status status;
    if (m_reading)
        status = read(listing, file, std::move(rows));
    else
        m_context.meter.addFile();
    ++listing.next;
    return status;
}

void FileComparison::compare(Listing& listing, const StoredFile& file, const FileRow& row)
{
    if (isVoided(row))
        m_voided.push_back({&listing, row});
    if (listing.joinFlaws(file.name, row))
        return;
    m_unrecorded += row.isUnfilled() ? 1 : 0;
    if (!row.storedLength || !row.storedSha256)
        return;
    const bool otherHash = !file.sha256.isEmpty() && file.sha256 != *row.storedSha256;
    if (file.length != *row.storedLength || otherHash)
        m_context.add(
            FindingKind::FileExchanged, nameText(file.name),
            QStringLiteral("the row has %1; stored are %2")
                .arg(digestText(*row.storedLength, *row.storedSha256), digestText(file.length, file.sha256)),
            row.job);
}

Status FileComparison::read(Listing& listing, const StoredFile& file, std::vector<FileRow> rows)
{
    const bool recorded =
        std::none_of(rows.begin(), rows.end(), [](const FileRow& row) { return row.isUnfilled(); });
    if (listing.hasFlaw(file.name) ||
        (recorded && m_state->isRead({file.name, listing.location.fileStore}, file.storedAt))) {
        m_context.meter.addFile();
        return {};
    }
    m_reading->add({0, listing.location, file, std::move(rows)});
    take(m_reading->takeDone());
    return fillRows(false);
}

void FileComparison::take(const std::vector<ReadingResult>& results)
{
    for (const ReadingResult& result : results) {
        if (result.content.ok())
            takeContent(result);
        else
            takeFailure(result);
        m_state->reached({result.task.file.name, result.task.location.fileStore});
    }
}

void FileComparison::takeContent(const ReadingResult& result)
{
    const ContentDigest& content = result.content.value();
    ++m_context.report.filesRead;
    m_context.report.bytesRead += content.length;
    for (const FileRow& row : result.task.rows) {
        if (row.isUnfilled() && !m_context.settings.database.readOnly) {
            m_fillings.push_back({row.id, content, result.folder});
            m_unrecorded -= row.lacksContent && !result.folder ? 0 : 1;
        }
        if (row.storedSha256 && result.task.file.sha256.isEmpty() && *row.storedSha256 != content.sha256) {
            // Without a hash of its own the store could not tell; one that has one was compared before.
            m_context.add(FindingKind::FileDamaged, nameText(result.task.file.name),
                          QStringLiteral("the row has %1; read were %2")
                              .arg(digestText(row.storedLength.value_or(0), *row.storedSha256),
                                   digestText(content.length, content.sha256)),
                          row.job);
            m_state->notGood({result.task.file.name, result.task.location.fileStore});
        }
    }
}

void FileComparison::takeFailure(const ReadingResult& result)
{
    const Status& failure = result.content.status();
    const std::string& name = result.task.file.name;
    const QString job = result.task.rows.empty() ? QString() : result.task.rows.front().job;
    switch (failure.code()) {
    case ErrorCode::NotFound: // removed or quarantined meanwhile; where a row needs it, it is missed
        for (const FileRow& row : result.task.rows) {
            if (!isVoided(row))
                m_missing.push_back({&listingOf(row), row});
        }
        return;
    case ErrorCode::Corrupt:
    case ErrorCode::Io:
    case ErrorCode::ChangedWhileRead:
        m_context.add(FindingKind::FileDamaged, nameText(name), failure.message(), job);
        break;
    case ErrorCode::NotPermitted:
    case ErrorCode::InvalidArgument:
        m_context.add(FindingKind::NotLookedAt, nameText(name), failure.message(), job);
        break;
    default:
        m_readingFailure = failure;
        return;
    }
    m_state->notGood({name, result.task.location.fileStore});
}

Status FileComparison::fillRows(bool all)
{
    if (m_fillings.empty() || (!all && m_fillings.size() < rowsPerWrite))
        return {};
    auto filled = m_context.database->transaction([this] {
        for (const Filling& filling : m_fillings) {
            auto done =
                fillContent(*m_context.database, filling.row, filling.stored, filling.folder).status();
            if (!done.ok())
                return done;
        }
        return Status();
    });
    // A busy database is asked again with the next rows.
    if (!filled.ok())
        return !all && filled.code() == ErrorCode::Unavailable
                   ? Status()
                   : filled.in(QStringLiteral("what was read cannot be written to rows"));
    m_fillings.clear();
    return {};
}

/// Rows whose file was not in the listing: those whose file is there by now came after it.
Status FileComparison::lookAgainAtMissing()
{
    std::vector<Missing> missing = std::move(m_missing);
    m_missing.clear();
    for (Missing& candidate : missing) {
        const std::string name = candidate.row.storedName.toStdString();
        const auto found = m_context.store.find(candidate.listing->location, name);
        if (found.ok())
            continue;
        if (found.code() != ErrorCode::NotFound && found.code() != ErrorCode::Corrupt &&
            found.code() != ErrorCode::InvalidArgument)
            return found.status();
        // The job may have been voided since its row was read.
        const auto now =
            listFileRows(*m_context.database, {candidate.row.storedName, candidate.row.id - 1}, 1);
        if (!now.ok())
            return now.status();
        const bool isThere = !now->empty() && now->front().id == candidate.row.id;
        if (isThere && !isVoided(now->front()) && !hasFailed(now->front()))
            addMissing(*candidate.listing, now->front());
    }
    return {};
}

void FileComparison::addMissing(Listing& listing, const FileRow& row)
{
    Finding finding;
    finding.kind = FindingKind::FileMissing;
    finding.subject = row.storedName;
    finding.job = row.job;
    finding.text = QStringLiteral("not in %1").arg(locationText(listing.location));
    if (isQuarantined(listing, row.storedName.toStdString())) {
        finding.text += QStringLiteral(", but in its quarantine");
        finding.mend = QStringLiteral("zav_admin quarantine restore %1").arg(row.storedName);
    }
    m_context.add(std::move(finding));
}

bool FileComparison::isQuarantined(Listing& listing, const std::string& name)
{
    const auto [entry, isFirst] = m_quarantined.try_emplace(&listing);
    if (isFirst) {
        if (const auto files = m_context.store.listQuarantine(listing.location); files.ok()) {
            for (const QuarantinedFile& quarantined : files.value())
                entry->second.insert(quarantined.file.name);
        }
    }
    return entry->second.count(name) > 0;
}

/// Moves the file into quarantine if still no row names it.
Status quarantineOrphan(CheckContext& context, const StoreLocation& location, const std::string& name)
{
    const auto named = isFileNamed(*context.database, name);
    if (!named.ok())
        return named.status();
    if (named.value())
        return Status::invalidArgument(QStringLiteral("a row names it by now"));
    return context.store.quarantine(location, name);
}

Status FileComparison::lookAgainAtUnnamed()
{
    const auto refused = refusedFiles(*m_context.database);
    if (!refused.ok())
        return refused.status();
    for (const Unnamed& unnamed : m_unnamed) {
        const StoreLocation& location = unnamed.listing->location;
        const auto named = isFileNamed(*m_context.database, unnamed.file.name);
        if (!named.ok())
            return named.status();
        const auto found = named.value() ? Result<StoredFile>(notStored(location, unnamed.file.name))
                                         : m_context.store.find(location, unnamed.file.name);
        if (found.code() == ErrorCode::NotFound)
            continue; // named, removed or quarantined by now
        Finding finding;
        finding.subject = nameText(unnamed.file.name);
        finding.text = QStringLiteral("%1 bytes in %2, stored at %3")
                           .arg(unnamed.file.length)
                           .arg(locationText(location), unnamed.file.storedAt.toString(Qt::ISODateWithMs));
        finding.kind = FindingKind::FileUnclaimed;
        const bool isRefused = refused->contains(QString::fromStdString(unnamed.file.name));
        if (isRefused || m_context.isOlder(unnamed.file.storedAt, m_context.options.orphanAge)) {
            finding.kind = isRefused ? FindingKind::FileRefused : FindingKind::FileOrphan;
            finding.repair = [&context = m_context, location, name = unnamed.file.name] {
                return quarantineOrphan(context, location, name);
            };
        }
        m_context.add(std::move(finding));
    }
    return {};
}

/// Voids the job once more, which completes what was interrupted.
Status voidAgain(CheckContext& context, const QString& flowGuid)
{
    JobFilter filter;
    filter.flowGuid = flowGuid;
    const auto jobs = listJobs(*context.database, filter);
    if (!jobs.ok())
        return jobs.status();
    VoidingOrder order;
    order.reason = QStringLiteral("the voiding was interrupted (found by a check)");
    order.userId = context.options.userId;
    order.userName = context.options.userName;
    order.force = true;
    return voidJobs({*context.database, context.store, context.settings.documentStore}, jobs.value(), order)
        .status();
}

/// A voiding writes the row before it moves the file, which stays where another job needs it.
Status FileComparison::lookAgainAtVoided()
{
    for (const Missing& candidate : m_voided) {
        const FileRow& row = candidate.row;
        const auto rows =
            listFileRows(*m_context.database, {row.storedName, std::numeric_limits<qint64>::min()}, pageRows);
        if (!rows.ok())
            return rows.status();
        const bool needed = std::any_of(rows->begin(), rows->end(), [&row](const FileRow& other) {
            return other.storedName == row.storedName && !isVoided(other);
        });
        const auto found = m_context.store.find(candidate.listing->location, row.storedName.toStdString());
        if (needed || found.code() == ErrorCode::NotFound)
            continue;
        Finding finding;
        finding.kind = FindingKind::VoidedFile;
        finding.subject = row.storedName;
        finding.job = row.job;
        finding.text = QStringLiteral("still in %1").arg(locationText(candidate.listing->location));
        finding.repair = [&context = m_context, guid = row.flowGuid] { return voidAgain(context, guid); };
        m_context.add(std::move(finding));
    }
    return {};
}

void FileComparison::addFlaws()
{
    for (const auto& listing : m_listings) {
        for (const NamedFlaw& named : listing->flaws)
            addFlaw(*listing, named);
    }
}

/// Of a file that a row names nothing may be removed: what is a leftover otherwise is damage then.
void FileComparison::addFlaw(Listing& listing, const NamedFlaw& named)
{
    Finding finding;
    finding.kind = kindOf(named.flaw.kind);
    finding.subject = nameText(named.flaw.name);
    finding.job = named.job;
    finding.text = QStringLiteral("%1, in %2").arg(named.flaw.text, locationText(listing.location));
    const FindingRule& rule = findingRule(finding.kind);
    if (named.isNamed)
        finding.mend = QLatin1String(findingRule(FindingKind::FileMissing).mend);
    else if (rule.isMendable && m_context.database)
        finding.repair = [&context = m_context, location = listing.location, flaw = named.flaw] {
            return context.store.removeFlaw(location, flaw);
        };
    m_context.add(std::move(finding));
}

} // namespace

Status checkFiles(CheckContext& context)
{
    context.meter.enter(CheckProgress::Phase::Files);
    return FileComparison(context).run();
}

} // namespace KOZAV::Backend
