#include "backend/check/Findings.h"

#include <algorithm>

namespace KOZAV::Backend {

namespace {

using Kind = FindingKind;
using Weight = FindingWeight;

constexpr bool mendable = true;
constexpr bool notHere = false;

constexpr const char* restoreRows = "zav_admin restore (the rows and files of a backup, into an empty place)";
constexpr const char* restoreFile = "zav_admin restore-files (from a backup; with --read-data where content "
                                    "is damaged), or import the job again";

// The texts are those of docs/check.md.
std::vector<FindingRule> makeRules()
{
    return {
        {Kind::DatabaseDamaged, "database-damaged", Weight::Damage, notHere,
         "the database does not hold together: rows may be lost or false", restoreRows},
        {Kind::ReferenceBroken, "reference-broken", Weight::Damage, notHere,
         "a row refers to a row that is not there", restoreRows},
        {Kind::SchemaChanged, "schema-changed", Weight::Damage, notHere,
         "tables, columns, indexes or triggers are not exactly those of this system",
         "with the database's own tools: drop what is too much, make what is missing (docs/schema.md)"},
        {Kind::IdentityDiffers, "identity-differs", Weight::Damage, notHere,
         "configuration, database and document store are not parts of one site",
         "zav_admin config set (name the right database or document store)"},
        {Kind::IdentityMissing, "identity-missing", Weight::Damage, mendable,
         "a part of the site does not hold the site's identity", "zav_admin check --repair identity-missing"},
        {Kind::CounterBehind, "counter-behind", Weight::Damage, mendable,
         "the job count of a company is below a number that was given out: the next import is refused",
         "zav_admin check --repair counter-behind"},
        {Kind::BatchBehind, "batch-behind", Weight::Damage, mendable,
         "the batch number of a company is below one that was given out: two batches would share it",
         "zav_admin check --repair batch-behind"},
        {Kind::HalfImport, "half-import", Weight::Leftover, mendable,
         "an import ended before its last row; the job is not imported and never will be from these rows",
         "zav_admin check --repair half-import, and import the job again"},
        {Kind::OrigFileUnused, "orig-file-unused", Weight::Leftover, mendable,
         "an import ended before its job was made: its original-file row belongs to no job",
         "zav_admin check --repair orig-file-unused, and import the job again"},
        {Kind::ImportFailed, "import-failed", Weight::Notice, notHere,
         "an import failed and was taken off the waiting list at once", "import the job again"},
        {Kind::JobUnlinked, "job-unlinked", Weight::Damage, mendable,
         "a complete job is not linked to an original-file row: length and SHA-256 of its file are not known",
         "zav_admin check --repair job-unlinked (where just one row fits)"},
        {Kind::NamesDiffer, "names-differ", Weight::Damage, notHere,
         "the rows of one job name two different stored files", restoreRows},
        {Kind::ContentNotRecorded, "content-not-recorded", Weight::Notice, notHere,
         "rows of an earlier release do not hold length and SHA-256 of their stored files yet",
         "zav_admin check --read-data"},
        {Kind::FileMissing, "file-missing", Weight::Damage, notHere,
         "the stored file that a row names is not there", restoreFile},
        {Kind::FileExchanged, "file-exchanged", Weight::Damage, notHere,
         "under the name lies another content than the row was written for", restoreFile},
        {Kind::FileDamaged, "file-damaged", Weight::Damage, notHere,
         "the content of a stored file is not what was stored", restoreFile},
        {Kind::FileLength, "file-length", Weight::Damage, notHere,
         "a stored file has another length than was stored", restoreFile},
        {Kind::NotAFile, "not-a-file", Weight::Damage, notHere,
         "something that is no regular file lies in the place of a stored one", restoreFile},
        {Kind::SumDamaged, "sum-damaged", Weight::Damage, notHere,
         "what the store keeps of a file, its length and SHA-256, cannot be read", restoreFile},
        {Kind::SumMissing, "sum-missing", Weight::Leftover, mendable,
         "content without length and SHA-256: an interrupted store, or, with a job, a lost sum file",
         "zav_admin check --repair sum-missing"},
        {Kind::SumStale, "sum-stale", Weight::Leftover, mendable,
         "the sum file of a stored file is missing or not the newest, as a crash may leave it; the file has "
         "its "
         "sum, a copy of the folder without extended attributes would not",
         "zav_admin check --repair sum-stale"},
        {Kind::DataMissing, "data-missing", Weight::Leftover, mendable,
         "length and SHA-256 without content: an interrupted store or removal, or, with a job, a lost file",
         "zav_admin check --repair data-missing"},
        {Kind::ChunkMissing, "chunk-missing", Weight::Damage, notHere,
         "a stored file lacks a part of its content", restoreFile},
        {Kind::ChunkSurplus, "chunk-surplus", Weight::Damage, notHere,
         "a stored file has more parts than its length says", restoreFile},
        {Kind::ChunkOrphan, "chunk-orphan", Weight::Leftover, mendable,
         "parts of a content that never became a stored file, as a killed program leaves them",
         "zav_admin check --repair chunk-orphan"},
        {Kind::IndexMissing, "index-missing", Weight::Damage, mendable,
         "an index of the document store is missing: names could be stored twice",
         "zav_admin check --repair index-missing"},
        {Kind::FileUnclaimed, "file-unclaimed", Weight::Notice, notHere,
         "a stored file that no row names, less than a day old: of an import under way, or of a refused one",
         ""},
        {Kind::FileRefused, "file-refused", Weight::Notice, mendable,
         "the stored file of an import that its company refused: nobody found the company, or another import "
         "took the number",
         "zav_admin check --repair file-refused"},
        {Kind::FileOrphan, "file-orphan", Weight::Leftover, mendable,
         "a stored file that no row names, more than a day old: of an import that was interrupted",
         "zav_admin check --repair file-orphan"},
        {Kind::VoidedFile, "voided-file", Weight::Leftover, mendable,
         "the stored file of a voided job is not in quarantine", "zav_admin check --repair voided-file"},
        {Kind::TempLeftover, "temp-leftover", Weight::Leftover, mendable,
         "a temporary file that nobody writes any more", "zav_admin check --repair temp-leftover"},
        {Kind::WorkLeftover, "work-leftover", Weight::Leftover, mendable,
         "something in the client's work folder that no running client owns",
         "start zav_client, which puts manifests back, or zav_admin check --repair work-leftover"},
        {Kind::CamLeftover, "cam-leftover", Weight::Leftover, mendable,
         "a folder or file of a job's import into the CAM view that no running client owns",
         "zav_admin check --repair cam-leftover"},
        {Kind::FetchLeftover, "fetch-leftover", Weight::Leftover, mendable,
         "what an interrupted get, migrate or check left in a cache",
         "zav_admin check --repair fetch-leftover"},
        {Kind::StagedCopy, "staged-copy", Weight::Notice, notHere,
         "copies of archives in the upload cache, which every import of an archive leaves",
         "zav_admin sweep"},
        {Kind::NotLookedAt, "not-looked-at", Weight::NotLookedAt, notHere,
         "a part of the check could not be done: nothing is said of it",
         "give the account the right, or remove the reason, and check again"},
    };
}

} // namespace

const std::vector<FindingRule>& findingRules()
{
    static const std::vector<FindingRule> rules = makeRules();
    return rules;
}

const FindingRule& findingRule(FindingKind kind)
{
    const auto& rules = findingRules();
    return *std::find_if(rules.cbegin(), rules.cend(),
                         [kind](const FindingRule& rule) { return rule.kind == kind; });
}

std::optional<FindingKind> findingKindNamed(const QString& name)
{
    for (const FindingRule& rule : findingRules()) {
        if (name == QLatin1String(rule.name))
            return rule.kind;
    }
    return std::nullopt;
}

QStringList mendableNames()
{
    QStringList names;
    for (const FindingRule& rule : findingRules()) {
        if (rule.isMendable)
            names << QLatin1String(rule.name);
    }
    return names;
}

QString mendText(const Finding& finding)
{
    return finding.mend.isEmpty() ? QLatin1String(findingRule(finding.kind).mend) : finding.mend;
}

bool countsAgainst(const Finding& finding)
{
    return !finding.mended && findingRule(finding.kind).weight != FindingWeight::Notice;
}

} // namespace KOZAV::Backend
