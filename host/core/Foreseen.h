#pragma once

#include "host/core/PanelSource.h"
#include "host/core/Remark.h"

#include <QMetaType>
#include <QString>

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace KOZAV::Host {

/// What will become of an entry if the panel imports it now.
enum class Outlook {
    Open,     ///< it was not looked at yet, or the site does not answer
    Imported, ///< it will be imported; there may be warnings
    NotImported
};

/// The outlook as a word, such as "not-imported".
QString outlookName(Outlook outlook);

/// One entry of a batch directory, or the one single source, as an import of it would be reported.
struct ForeseenEntry
{
    QString company;
    QString entry;
    QString sourcePath; ///< absolute path; empty where the name on the disk is no text
    bool isFolder = false;
    bool isGiven = false; ///< the import takes it: what it stores of it needs space, also if it fails later
    Outlook outlook = Outlook::Open;
    QString reasonCode; ///< why it will not be imported: the code that the report would have
    QString reason;
    std::vector<Remark> warnings;
    qint64 bytes = -1; ///< of an archive, or of what is packed of a folder, unpacked; -1: not known
};

/// A company that the source names.
struct ForeseenCompany
{
    QString name;
    std::optional<bool> isKnown; ///< nothing where the site does not answer
    int entries = 0;
};

/// A folder that an import needs space in.
struct ForeseenSpace
{
    QString folder;
    qint64 needed = 0;       ///< at least: archives are stored as they are
    qint64 neededAtMost = 0; ///< with folders that could not be compressed at all
    qint64 free = -1;        ///< -1 where that is not known

    /// As far as it is known.
    [[nodiscard]] bool isEnough() const { return free < 0 || needed <= free; }
};

/// What can be said of an import before it begins.
struct Foreseen
{
    PanelSource source;
    std::vector<ForeseenCompany> companies;
    std::vector<ForeseenEntry> entries; ///< in the order of the import; what it does not look at comes last
    std::vector<Remark> remarks;        ///< what belongs to no single entry
    std::vector<ForeseenSpace> spaces;
    std::optional<double> seconds; ///< that it may take; nothing where no run before tells

    [[nodiscard]] int count(Outlook outlook) const;
    /// Entries that will be imported with something to be known of them.
    [[nodiscard]] int warned() const;
    /// Of what the import takes, as far as it is known.
    [[nodiscard]] qint64 bytes() const;
    /// Whether everything will be imported, as far as can be seen.
    [[nodiscard]] bool allImported() const;
};

/// What a look has found since it handed over the last piece.
struct ForesightPiece
{
    /// In the first piece: the walk, with all entries and companies.
    std::optional<Foreseen> walk;
    /// Entries of the walk that are known better now, by their numbers.
    std::vector<std::pair<std::size_t, ForeseenEntry>> entries;
    /// Entries that have been looked at, and bytes that have been read, of those that have to be.
    qint64 done = 0;
    qint64 toDo = 0;
    /// In the last piece: the rest. A look that was cancelled has no last piece.
    bool isLast = false;
    std::vector<Remark> remarks;
    std::vector<ForeseenSpace> spaces;
    std::optional<double> seconds;

    /// Brings what the pieces before have made up to this one.
    void addTo(Foreseen& foreseen) const;
};

} // namespace KOZAV::Host

Q_DECLARE_METATYPE(KOZAV::Host::ForesightPiece)
