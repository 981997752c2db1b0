#pragma once

#include "backend/Status.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <vector>

namespace KOZAV::Backend {

/// What a check can find (docs/check.md).
enum class FindingKind {
    DatabaseDamaged,
    ReferenceBroken,
    SchemaChanged,
    IdentityDiffers,
    IdentityMissing,
    CounterBehind,
    BatchBehind,
    HalfImport,
    OrigFileUnused,
    ImportFailed,
    JobUnlinked,
    NamesDiffer,
    ContentNotRecorded,
    FileMissing,
    FileExchanged,
    FileDamaged,
    FileLength,
    NotAFile,
    SumDamaged,
    SumMissing,
    SumStale,
    DataMissing,
    ChunkMissing,
    ChunkSurplus,
    ChunkOrphan,
    IndexMissing,
    FileUnclaimed,
    FileRefused,
    FileOrphan,
    VoidedFile,
    TempLeftover,
    WorkLeftover,
    CamLeftover,
    FetchLeftover,
    StagedCopy,
    NotLookedAt
};

/// How much a finding matters.
enum class FindingWeight {
    Damage,     ///< something of the site is lost, false or in danger
    Leftover,   ///< nothing is lost; something lies about that nobody will ask for
    Notice,     ///< to be known; the site is whole
    NotLookedAt ///< could not be looked at, so nothing is said of it
};

struct FindingRule
{
    FindingKind kind;
    const char* name; ///< as reports and "--repair" call it; never changes
    FindingWeight weight;
    bool isMendable; ///< whether "--repair" mends it
    const char* meaning;
    const char* mend; ///< the command, or what to do; empty where nothing needs to be done
};

/// One for each kind, in the order of the documentation.
const std::vector<FindingRule>& findingRules();

const FindingRule& findingRule(FindingKind kind);

/// The kind that is called so; nothing where none is.
std::optional<FindingKind> findingKindNamed(const QString& name);

/// The names that "--repair" takes.
QStringList mendableNames();

/// One thing that is not as it should be.
struct Finding
{
    FindingKind kind = FindingKind::NotLookedAt;
    QString subject; ///< the row, stored file, company or path that it is about
    QString job;     ///< generated name of the job that it touches; empty for none
    QString text;    ///< what was found, in one sentence
    QString mend;    ///< the exact command where it differs from the kind's
    /// Mends it, after a look whether it is still so. Null where this program cannot.
    std::function<Status()> repair;
    bool mended = false;
    QString failure; ///< why it could not be mended
};

/// The command that mends it, or what to do.
QString mendText(const Finding& finding);

/// Whether the finding makes the site one that is not clean: neither a notice nor mended.
bool countsAgainst(const Finding& finding);

} // namespace KOZAV::Backend
