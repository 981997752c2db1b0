// A look goes in steps, from what costs least: the walk, which is that of the import; which companies the
// site has; a look at each source, without reading it; and then what has to be read. After each step, and
// about ten times a second within one, what is known is handed over, so that an operator sees the refusals of
// a large batch at once.
//
// Nothing is judged here by a rule of its own. What is accepted says the listing that the report is made of;
// what a folder cannot be packed for, the packing's own listing; what a manifest is worth, the keeper's
// judge; whether an archive is whole, the reading along of an import. An entry has the first reason that the
// import would come to: it stores a source before it looks for its company, and gives the job its name last.

#include "host/core/Foresight.h"

#include "host/core/AllCores.h"
#include "host/core/ArchiveCheck.h"
#include "host/core/BatchListing.h"
#include "host/core/ForesightEstimates.h"
#include "host/core/ManifestCheck.h"
#include "host/core/Reasons.h"
#include "host/core/SourceContents.h"
#include "host/site/Companies.h"
#include "host/site/SourceLooks.h"

#include <QFileInfo>
#include <QHash>
#include <QThread>

#include <algorithm>
#include <map>
#include <mutex>

namespace KOZAV::Host {

namespace {

/// Numbers of entries, and what else is found of them.
using Numbers = std::vector<std::size_t>;

bool isSavedJob(const ForeseenEntry& entry)
{
    return QFileInfo(entry.entry).suffix() == QLatin1String("kos");
}

/// The name of the job that an entry would become.
QString jobNameOf(const ForeseenEntry& entry)
{
    return entry.isFolder ? entry.entry : QFileInfo(entry.entry).completeBaseName();
}

void refuse(ForeseenEntry& entry, const QString& code, const QString& reason)
{
    entry.outlook = Outlook::NotImported;
    entry.reasonCode = code;
    entry.reason = reason;
}

/// Looks at a folder as the import would come to it: the manifest is taken out, then it is packed.
/// @return why the site would take no job with its manifest; empty where it would
QString lookAtJobFolder(ForeseenEntry& entry, bool ofBatch, qint64& contentLength)
{
    // Only a batch reads manifests.
    const ManifestLook manifest = ofBatch ? lookAtManifest(entry.sourcePath) : ManifestLook();
    entry.warnings = manifest.remarks;
    const PackingLook packing = lookAtPacking(entry.sourcePath, ofBatch);
    if (!packing.failure.isEmpty()) {
        Backend::OperationEvent event;
        event.reason = packing.reason;
        entry.isGiven = false;
        refuse(entry, reasonCodeOf(event, true), packing.failure);
        return {};
    }
    entry.bytes = packing.bytes;
    contentLength = packing.contentLength;
    return manifest.refusal;
}

void lookAtArchive(ForeseenEntry& entry)
{
    const QFileInfo file(entry.sourcePath);
    const SourceLook look = lookAtFile(entry.sourcePath, true);
    entry.isGiven = look.isThere && file.isReadable();
    if (!file.exists())
        return refuse(entry, QStringLiteral("source-missing"), QStringLiteral("it is gone"));
    if (!look.isThere)
        return refuse(entry, QStringLiteral("source-unreadable"), QStringLiteral("it is no regular file"));
    if (!file.isReadable())
        return refuse(entry, QStringLiteral("source-unreadable"),
                      QStringLiteral("it cannot be read: permission denied"));
    entry.bytes = look.length;
    if (look.isOpenForWriting)
        refuse(entry, QStringLiteral("still-written"),
               QStringLiteral("it is still being written: somebody has it open"));
}

/// What contents are held against: jobs of the site, and entries that come before.
class KnownContents final
{
public:
    /// @param jobs  with contents that the site has, oldest first
    explicit KnownContents(const std::vector<JobWithContent>& jobs)
    {
        for (const JobWithContent& job : jobs)
            m_jobs[job.content].push_back(&job);
    }

    /// What an import of a source would be told to have been there before, as the report of a run tells it:
    /// of the company itself where that has one. To be asked in the order of the import.
    std::optional<Remark> before(const ComparedSource& source)
    {
        const auto& jobs = m_jobs[source.content];
        auto& entries = m_entries[source.content];
        const auto ownJob = std::find_if(jobs.begin(), jobs.end(), [&](const JobWithContent* job) {
            return job->company == source.company;
        });
        const auto ownEntry = std::find_if(entries.begin(), entries.end(), [&](const ComparedSource* entry) {
            return entry->company == source.company;
        });
        std::optional<Remark> found;
        if (ownJob != jobs.end())
            found = known(**ownJob);
        else if (ownEntry != entries.end())
            found = same(**ownEntry);
        else if (!jobs.empty())
            found = known(*jobs.front());
        else if (!entries.empty())
            found = same(*entries.front());
        entries.push_back(&source);
        return found;
    }

private:
    static Remark known(const JobWithContent& job)
    {
        return {QStringLiteral("known-content"),
                QStringLiteral("the site has its content as %1 (%2)").arg(job.generatedName, job.company)};
    }
    static Remark same(const ComparedSource& entry)
    {
        return {QStringLiteral("same-content"),
                QStringLiteral("the same content as %1/%2 of this batch").arg(entry.company, entry.name)};
    }

    std::map<SourceContent, std::vector<const JobWithContent*>> m_jobs;
    std::map<SourceContent, std::vector<const ComparedSource*>> m_entries;
};

class Look final
{
public:
    Look(const PanelSource& source, unsigned threads, const std::atomic<bool>& cancelled,
         const std::function<void(ForesightPiece&& piece)>& hand)
        : m_threads(threads)
        , m_cancelled(cancelled)
        , m_hand(hand)
    {
        m_foreseen.source = source;
    }

    void run();

private:
    void walk();
    void askCompanies();
    void addRemark(const ToldSource& told);
    void lookAtSources();
    void lookAtSource(std::size_t number);
    void readSources();
    void checkArchives(const Numbers& archives);
    [[nodiscard]] std::vector<ComparedSource> comparedSources() const;
    void compare(const std::vector<ComparedSource>& sources);
    void finish(std::size_t number, qint64 done);
    void handOver();

    const unsigned m_threads;
    const std::atomic<bool>& m_cancelled;
    const std::function<void(ForesightPiece&& piece)>& m_hand;
    Foreseen m_foreseen;
    QHash<QString, bool> m_companies;     ///< whether the site has them; empty where it does not answer
    std::vector<qint64> m_contentLengths; ///< of the entries; -1 where it is not known
    std::mutex m_mutex;                   ///< of the numbers that other threads have finished
    Numbers m_finished;
    std::atomic<qint64> m_done = 0;
    qint64 m_toDo = 0;
};

void Look::run()
{
    walk();
    askCompanies();
    ForesightPiece first;
    first.walk = m_foreseen;
    m_hand(std::move(first));
    lookAtSources();
    if (!m_cancelled)
        readSources();
    if (m_cancelled)
        return;
    m_foreseen.spaces = estimateSpace(m_foreseen.entries);
    for (const ForeseenSpace& space : m_foreseen.spaces) {
        if (!space.isEnough())
            m_foreseen.remarks.push_back(
                {QStringLiteral("no-space"), QStringLiteral("%1 has %2 bytes free, %3 are needed at least")
                                                 .arg(space.folder)
                                                 .arg(space.free)
                                                 .arg(space.needed)});
    }
    m_foreseen.seconds = estimateSeconds(m_foreseen.entries, m_cancelled);
    ForesightPiece last;
    last.isLast = true;
    last.done = last.toDo = m_toDo;
    last.remarks = m_foreseen.remarks;
    last.spaces = m_foreseen.spaces;
    last.seconds = m_foreseen.seconds;
    m_hand(std::move(last));
}

void Look::walk()
{
    const BatchListing listing = listSource(m_foreseen.source);
    QHash<QString, int> counts;
    for (const ListedEntry& listed : listing.entries) {
        ForeseenEntry entry;
        entry.company = listed.company;
        entry.entry = listed.name;
        entry.sourcePath = listed.path;
        entry.isFolder = listed.isFolder;
        entry.isGiven = listed.isAccepted();
        if (!listed.isAccepted())
            refuse(entry, listed.refusal.code, listed.refusal.text);
        m_foreseen.entries.push_back(entry);
        ++counts[listed.company];
    }
    for (const UnseenEntry& unseen : listing.unseen) {
        ForeseenEntry entry;
        entry.company = unseen.company;
        entry.entry = unseen.name;
        entry.sourcePath = unseen.path;
        refuse(entry, unseen.reason.code, unseen.reason.text);
        m_foreseen.entries.push_back(entry);
    }
    for (const QString& company : listing.companies)
        m_foreseen.companies.push_back({company, std::nullopt, counts.value(company)});
    for (const ToldSource& told : listing.remarks)
        addRemark(told);
    m_contentLengths.assign(m_foreseen.entries.size(), -1);
}

void Look::addRemark(const ToldSource& told)
{
    auto& entries = m_foreseen.entries;
    const auto entry = std::find_if(entries.begin(), entries.end(), [&told](const ForeseenEntry& one) {
        return one.sourcePath == told.path;
    });
    if (entry != entries.end())
        entry->warnings.push_back(told.remark);
    else
        m_foreseen.remarks.push_back(
            {told.remark.code, QStringLiteral("%1: %2").arg(told.path, told.remark.text)});
}

void Look::askCompanies()
{
    if (m_foreseen.companies.empty())
        return;
    QString failure;
    const auto rows = listCompanyRows(failure);
    if (!rows) {
        m_foreseen.remarks.push_back(
            {QStringLiteral("company-look-up"),
             QStringLiteral("which companies the site has could not be asked: %1").arg(failure)});
        return;
    }
    QHash<QString, QString> holders;
    for (const CompanyRow& row : *rows)
        holders.insert(row.name, row.heldBy);
    for (ForeseenCompany& company : m_foreseen.companies) {
        company.isKnown = holders.contains(company.name);
        m_companies.insert(company.name, *company.isKnown);
        if (const QString holder = holders.value(company.name); !holder.isEmpty())
            m_foreseen.remarks.push_back(
                {QStringLiteral("company-held"),
                 QStringLiteral("%1 is held by another import: %2").arg(company.name, holder)});
    }
}

void Look::lookAtSources()
{
    const auto& entries = m_foreseen.entries;
    Numbers numbers;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (entries[i].isGiven)
            numbers.push_back(i);
    }
    m_toDo = static_cast<qint64>(numbers.size());
    forEachOnCores(
        numbers.size(), m_threads,
        [&](std::size_t i) {
            if (!m_cancelled)
                lookAtSource(numbers[i]);
            finish(numbers[i], 1);
        },
        [this] { handOver(); });
    handOver();
}

void Look::lookAtSource(std::size_t number)
{
    ForeseenEntry& entry = m_foreseen.entries[number];
    const std::vector<Remark> listed = std::move(entry.warnings);
    entry.warnings.clear();
    QString refusal;
    if (entry.isFolder) {
        refusal = lookAtJobFolder(entry, m_foreseen.source.kind == PanelSource::Kind::Batch,
                                  m_contentLengths[number]);
    } else {
        lookAtArchive(entry);
        m_contentLengths[number] = entry.bytes;
    }
    entry.warnings.insert(entry.warnings.begin(), listed.begin(), listed.end());
    const auto isKnown = m_companies.constFind(entry.company);
    // What is still written is stored all the same, and refuted after the import.
    const bool isStored =
        entry.outlook == Outlook::Open || entry.reasonCode == QLatin1String("still-written");
    if (!isStored || isKnown == m_companies.constEnd())
        return;
    if (!*isKnown)
        refuse(entry, QStringLiteral("company-unknown"),
               QStringLiteral("the site has no company named \"%1\"").arg(entry.company));
    else if (jobNameOf(entry).startsWith(QChar::ByteOrderMark))
        refuse(entry, QStringLiteral("invalid-value"),
               QStringLiteral("the job name begins with a byte order mark"));
    else if (!refusal.isEmpty())
        refuse(entry, QStringLiteral("invalid-value"), refusal);
    else if (entry.outlook == Outlook::Open)
        entry.outlook = Outlook::Imported;
}

/// Reads what has to be: all archives that are stored, and what of the rest may be known.
void Look::readSources()
{
    Numbers archives;
    std::vector<ComparedSource> sources = comparedSources();
    std::vector<ComparedSource*> toRead;
    toRead.reserve(sources.size());
    for (ComparedSource& source : sources)
        toRead.push_back(&source);
    const QString failure = keepWhatMayBeKnown(toRead);
    m_toDo = m_done = 0;
    for (const ComparedSource* source : toRead)
        m_toDo += source->content.length;
    for (std::size_t i = 0; i < m_foreseen.entries.size(); ++i) {
        const ForeseenEntry& entry = m_foreseen.entries[i];
        if (entry.isFolder || !entry.isGiven || entry.reasonCode == QLatin1String("still-written"))
            continue;
        archives.push_back(i);
        m_toDo += entry.bytes;
    }
    if (!failure.isEmpty())
        m_foreseen.remarks.push_back(
            {QStringLiteral("content-not-asked"),
             QStringLiteral("whether the site has contents could not be asked: %1").arg(failure)});
    checkArchives(archives);
    if (!failure.isEmpty() || m_cancelled)
        return;
    const auto count = [this](qint64 bytes) {
        m_done += bytes;
        return !m_cancelled;
    };
    readContents(toRead, m_threads, count, [this] { handOver(); });
    if (!m_cancelled)
        compare(sources);
    handOver();
}

void Look::checkArchives(const Numbers& archives)
{
    forEachOnCores(
        archives.size(), m_threads,
        [&](std::size_t i) {
            ForeseenEntry& entry = m_foreseen.entries[archives[i]];
            if (m_cancelled)
                return;
            const auto remark = remarkOf(checkArchive(entry.sourcePath, m_cancelled), isSavedJob(entry));
            if (remark)
                entry.warnings.push_back(*remark);
            finish(archives[i], entry.bytes);
        },
        [this] { handOver(); });
    handOver();
}

std::vector<ComparedSource> Look::comparedSources() const
{
    std::vector<ComparedSource> sources;
    for (std::size_t i = 0; i < m_foreseen.entries.size(); ++i) {
        const ForeseenEntry& entry = m_foreseen.entries[i];
        if (entry.outlook == Outlook::Imported)
            sources.push_back({entry.company, entry.entry, entry.sourcePath,
                               SourceContent{entry.isFolder, m_contentLengths[i], {}}});
    }
    return sources;
}

void Look::compare(const std::vector<ComparedSource>& sources)
{
    std::vector<SourceContent> contents;
    for (const ComparedSource& source : sources) {
        if (!source.content.sha256.isEmpty())
            contents.push_back(source.content);
    }
    QString failure;
    const auto jobs = jobsWithContent(contents, failure);
    if (!jobs) {
        m_foreseen.remarks.push_back(
            {QStringLiteral("content-not-asked"),
             QStringLiteral("whether the site has contents could not be asked: %1").arg(failure)});
        return;
    }
    QHash<QString, std::size_t> numbers;
    for (std::size_t i = 0; i < m_foreseen.entries.size(); ++i)
        numbers.insert(m_foreseen.entries[i].sourcePath, i);
    KnownContents known(*jobs);
    for (const ComparedSource& source : sources) {
        const auto remark = source.content.sha256.isEmpty() ? std::nullopt : known.before(source);
        if (!remark)
            continue;
        const std::size_t number = numbers.value(source.path);
        m_foreseen.entries[number].warnings.push_back(*remark);
        finish(number, 0);
    }
}

/// Something is known of an entry; on any thread.
void Look::finish(std::size_t number, qint64 done)
{
    m_done += done;
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_finished.push_back(number);
}

void Look::handOver()
{
    Numbers numbers;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        numbers.swap(m_finished);
    }
    if (m_cancelled)
        return;
    ForesightPiece piece;
    piece.entries.reserve(numbers.size());
    for (const std::size_t number : numbers)
        piece.entries.emplace_back(number, m_foreseen.entries[number]);
    piece.done = m_done;
    piece.toDo = m_toDo;
    m_hand(std::move(piece));
}

} // namespace

void foresee(const PanelSource& source, unsigned threads, const std::atomic<bool>& cancelled,
             const std::function<void(ForesightPiece&& piece)>& hand)
{
    Look(source, threads, cancelled, hand).run();
}

struct Foresight::Run
{
    std::atomic<bool> cancelled = false;
    std::unique_ptr<QThread> thread;
};

Foresight::Foresight(QObject* parent)
    : QObject(parent)
{
}

Foresight::~Foresight()
{
    cancel();
    for (const auto& run : m_runs)
        run->thread->wait();
}

void Foresight::look(const PanelSource& source)
{
    cancel();
    m_runs.erase(std::remove_if(m_runs.begin(), m_runs.end(),
                                [](const auto& run) { return run->thread->isFinished(); }),
                 m_runs.end());
    m_runs.push_back(std::make_unique<Run>());
    Run& run = *m_runs.back();
    run.thread.reset(QThread::create([this, source, &run, number = m_number] {
        const auto tell = [this, number](ForesightPiece&& piece) {
            const auto told = std::make_shared<const ForesightPiece>(std::move(piece));
            QMetaObject::invokeMethod(
                this,
                [this, number, told] {
                    if (number == m_number)
                        Q_EMIT found(*told);
                },
                Qt::QueuedConnection);
        };
        // An operator who goes on working is not to notice it.
        const auto threads = static_cast<unsigned>(std::max(1, QThread::idealThreadCount() / 2));
        foresee(source, threads, run.cancelled, tell);
    }));
    run.thread->start(QThread::LowPriority);
}

void Foresight::cancel()
{
    ++m_number;
    for (const auto& run : m_runs)
        run->cancelled = true;
}

} // namespace KOZAV::Host
