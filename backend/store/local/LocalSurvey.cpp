#include "backend/store/local/LocalSurvey.h"

#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/io/TempFile.h"
#include "backend/store/StoreNames.h"
#include "backend/store/local/SumFile.h"

#include <algorithm>
#include <iterator>

namespace KOZAV::Backend {

namespace {

/// In front of the name where a note of the quarantine is meant: no stored name holds a slash.
const std::string inQuarantine = "quarantine/";

bool isQuarantined(const StoreFlaw& flaw)
{
    return flaw.name.compare(0, inQuarantine.size(), inQuarantine) == 0;
}

std::string fileNameOf(const StoreFlaw& flaw)
{
    return isQuarantined(flaw) ? flaw.name.substr(inQuarantine.size()) : flaw.name;
}

StoreFlaw flawOf(StoreFlaw::Kind kind, const std::string& name, const FileInfo& info, const QString& text)
{
    return {kind, name, text, info.length,
            QDateTime::fromMSecsSinceEpoch(info.modifiedNs / 1'000'000, Qt::UTC)};
}

/// The names in the folder, sorted; none where there is no folder.
Result<std::vector<std::string>> sortedNames(const std::string& folder)
{
    auto names = namesIn(folder);
    if (names.code() == ErrorCode::NotFound)
        return std::vector<std::string>();
    if (names.ok())
        std::sort(names->begin(), names->end());
    return names;
}

} // namespace

LocalSurvey::LocalSurvey(const LocalStoreFolder& folder)
    : m_folder(folder)
    , m_quarantine(folder)
{
}

Result<std::vector<StoreFlaw>> LocalSurvey::flaws() const
{
    std::vector<StoreFlaw> flaws;
    auto looked = addStored(flaws);
    if (looked.ok())
        looked = addNotes(flaws);
    if (looked.ok())
        looked = addTemps(flaws);
    return looked.ok() ? Result(std::move(flaws)) : looked;
}

/// What is wrong with a name, seen from both sides: its data and its sum.
Result<std::optional<StoreFlaw>> LocalSurvey::look(const std::string& name) const
{
    using Kind = StoreFlaw::Kind;
    const auto data = fileInfo(m_folder.dataPath(name));
    const auto sum = fileInfo(m_folder.sumPath(name));
    for (const auto& side : {data, sum}) {
        if (!side.ok() && side.code() != ErrorCode::NotFound)
            return side.status();
    }
    if (!data.ok() && sum.ok())
        return std::optional(
            flawOf(Kind::SumWithoutData, name, sum.value(), QStringLiteral("its content is not there")));
    if (!data.ok())
        return std::optional<StoreFlaw>();
    if (data->kind != FileKind::Regular)
        return std::optional(flawOf(Kind::NotRegular, name, data.value(),
                                    QStringLiteral("it is %1").arg(kindText(data->kind))));
    return lookAtSum(name, data.value());
}

/// What is wrong with what is known of a content.
Result<std::optional<StoreFlaw>> LocalSurvey::lookAtSum(const std::string& name, const FileInfo& data) const
{
    using Kind = StoreFlaw::Kind;
    const auto known = knownSum(m_folder.dataPath(name), m_folder.sumPath(name));
    if (known.code() == ErrorCode::NotFound || (known.ok() && !known.value()))
        return std::optional(flawOf(Kind::DataWithoutSum, name, data, QStringLiteral("it has no sum")));
    std::optional<StoreFlaw> flaw;
    const auto file = known.ok() ? parseSumLine(name, *known.value()) : std::nullopt;
    if (!file)
        flaw = flawOf(Kind::SumUnreadable, name, data, QStringLiteral("its sum cannot be understood"));
    else if (file->length != data.length)
        flaw = flawOf(Kind::WrongLength, name, data,
                      QStringLiteral("it has %1 bytes instead of %2")
                          .arg(QString::number(data.length), QString::number(file->length)));
    else if (!hasSumFile(name, *known.value()))
        flaw = flawOf(Kind::SumFileDiffers, name, data,
                      QStringLiteral("its sum file is missing or does not say what it carries"));
    return flaw;
}

/// Whether the sum file says what is known of the content, for whoever copies the folder without attributes.
bool LocalSurvey::hasSumFile(const std::string& name, const std::string& known) const
{
    const auto beside = readSmallFile(m_folder.sumPath(name), longestSumLine);
    return beside.ok() && beside.value() == known;
}

/// The names that something may be wrong with.
Result<LocalSurvey::Suspects> LocalSurvey::suspects() const
{
    const auto files = sortedNames(m_folder.filesFolder());
    const auto sums = sortedNames(m_folder.sumsFolder());
    if (!files.ok() || !sums.ok())
        return files.ok() ? sums.status() : files.status();
    Suspects found;
    std::set_symmetric_difference(files->begin(), files->end(), sums->begin(), sums->end(),
                                  std::back_inserter(found));
    for (const std::string& name : files.value()) {
        if (!std::binary_search(sums->begin(), sums->end(), name))
            continue;
        const auto flaw = look(name);
        if (!flaw.ok())
            return flaw.status();
        if (flaw.value())
            found.push_back(name);
    }
    std::sort(found.begin(), found.end());
    return found;
}

Status LocalSurvey::addStored(std::vector<StoreFlaw>& flaws) const
{
    const auto names = suspects();
    if (!names.ok())
        return names.status();
    for (const std::string& name : names.value()) {
        const auto locked = m_folder.lock();
        if (!locked.ok())
            return locked.status();
        const auto flaw = look(name);
        if (!flaw.ok())
            return flaw.status();
        if (flaw.value())
            flaws.push_back(*flaw.value());
    }
    return {};
}

/// A note whose file is no longer, or not yet, in quarantine.
std::optional<StoreFlaw> LocalSurvey::lookAtNote(const std::string& name) const
{
    const auto note = fileInfo(m_quarantine.notePath(name));
    if (!note.ok() || fileInfo(m_quarantine.dataPath(name)).code() != ErrorCode::NotFound)
        return std::nullopt;
    return flawOf(StoreFlaw::Kind::SumWithoutData, inQuarantine + name, note.value(),
                  QStringLiteral("no such file is in quarantine"));
}

Status LocalSurvey::addNotes(std::vector<StoreFlaw>& flaws) const
{
    const auto names = sortedNames(m_quarantine.notesFolder());
    if (!names.ok())
        return names.status();
    for (const std::string& name : names.value()) {
        if (!lookAtNote(name))
            continue;
        const auto locked = m_folder.lock();
        if (!locked.ok())
            return locked.status();
        if (auto flaw = lookAtNote(name))
            flaws.push_back(std::move(*flaw));
    }
    return {};
}

Status LocalSurvey::addTemps(std::vector<StoreFlaw>& flaws) const
{
    const auto names = staleTempFiles(m_folder.tempFolder());
    if (!names.ok())
        return names.code() == ErrorCode::NotFound ? Status() : names.status();
    for (const std::string& name : names.value()) {
        const auto info = fileInfo(joinPath(m_folder.tempFolder(), name));
        if (info.ok())
            flaws.push_back(flawOf(StoreFlaw::Kind::LeftoverTemp, name, info.value(),
                                   QStringLiteral("an interrupted program has left it")));
    }
    return {};
}

Status LocalSurvey::mend(const StoreFlaw& flaw) const
{
    const std::string name = fileNameOf(flaw);
    if (auto accepted = checkStoredName(name); !accepted.ok())
        return accepted;
    switch (flaw.kind) {
    case StoreFlaw::Kind::SumWithoutData:
        return isQuarantined(flaw) ? removeNote(name) : removeSum(name);
    case StoreFlaw::Kind::DataWithoutSum:
        return m_quarantine.takeUnknown(name);
    case StoreFlaw::Kind::SumFileDiffers:
        return writeSumFile(name);
    case StoreFlaw::Kind::LeftoverTemp:
        return removeTemp(name);
    default:
        return notMendable(m_folder.location(), flaw);
    }
}

Status LocalSurvey::removeSum(const std::string& name) const
{
    return whileFlawed(name, StoreFlaw::Kind::SumWithoutData, [&] {
        const auto removed = removeFile(m_folder.sumPath(name));
        return removed.ok() ? syncFolder(m_folder.sumsFolder()) : removed;
    });
}

Status LocalSurvey::writeSumFile(const std::string& name) const
{
    return whileFlawed(name, StoreFlaw::Kind::SumFileDiffers, [&]() -> Status {
        const auto known = attachedSum(m_folder.dataPath(name));
        if (!known.ok() || !known.value())
            return known.status();
        const auto written = writeSmallFile(m_folder.sumPath(name), *known.value(), m_folder.tempFolder());
        return written.ok() ? syncFolder(m_folder.sumsFolder()) : written;
    });
}

/// Runs work under the lock if the flaw is still there.
Status LocalSurvey::whileFlawed(const std::string& name, StoreFlaw::Kind kind,
                                const std::function<Status()>& work) const
{
    const auto locked = m_folder.lock();
    if (!locked.ok())
        return locked.status();
    const auto flaw = look(name);
    if (!flaw.ok())
        return flaw.status();
    return flaw.value() && flaw.value()->kind == kind ? work() : Status();
}

Status LocalSurvey::removeNote(const std::string& name) const
{
    const auto locked = m_folder.lock();
    if (!locked.ok())
        return locked.status();
    if (!lookAtNote(name))
        return {};
    const auto removed = removeFile(m_quarantine.notePath(name));
    return removed.ok() ? syncFolder(m_quarantine.notesFolder()) : removed;
}

Status LocalSurvey::removeTemp(const std::string& name) const
{
    const auto stale = staleTempFiles(m_folder.tempFolder());
    if (!stale.ok())
        return stale.status();
    if (std::find(stale->begin(), stale->end(), name) == stale->end())
        return {};
    return removeFile(joinPath(m_folder.tempFolder(), name));
}

} // namespace KOZAV::Backend
