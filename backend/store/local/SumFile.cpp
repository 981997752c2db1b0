#include "backend/store/local/SumFile.h"

#include "backend/Text.h"
#include "backend/io/FileAttribute.h"
#include "backend/io/FilePath.h"
#include "backend/io/Sha256.h"
#include "backend/io/TempFile.h"

#include <QList>

namespace KOZAV::Backend {

namespace {

constexpr const char* sumAttribute = "user.kozav.sum";

} // namespace

std::string formatSumLine(const StoredFile& file)
{
    const QByteArray line =
        file.sha256 + ' ' + QByteArray::number(file.length) + ' ' + isoTime(file.storedAt) + '\n';
    return line.toStdString();
}

std::optional<StoredFile> parseSumLine(const std::string& name, const std::string& line)
{
    if (line.empty() || line.back() != '\n')
        return std::nullopt;
    const QList<QByteArray> fields = QByteArray(line.data(), static_cast<int>(line.size()) - 1).split(' ');
    if (fields.size() != 3)
        return std::nullopt;
    StoredFile file;
    file.name = name;
    file.sha256 = fields.at(0);
    file.length = fields.at(1).toLongLong();
    file.storedAt = QDateTime::fromString(QString::fromLatin1(fields.at(2)), Qt::ISODateWithMs);
    // Only what would be written again byte for byte is accepted: no signs, zeros in front, other dates or
    // digits.
    const auto exact =
        isSha256(file.sha256) && file.length >= 0 && file.storedAt.isValid() && formatSumLine(file) == line;
    return exact ? std::optional(file) : std::nullopt;
}

Result<bool> attachSum(const File& data, const StoredFile& file)
{
    return setFileAttribute(data, sumAttribute, formatSumLine(file));
}

Result<std::optional<std::string>> attachedSum(const std::string& dataPath)
{
    return fileAttribute(dataPath, sumAttribute, longestSumLine);
}

Result<std::optional<std::string>> knownSum(const std::string& dataPath, const std::string& sumPath)
{
    auto attached = attachedSum(dataPath);
    if (!attached.ok() || attached.value())
        return attached;
    auto beside = readSmallFile(sumPath, longestSumLine);
    if (beside.code() == ErrorCode::NotFound)
        return std::optional<std::string>();
    return beside.ok() ? Result(std::optional(std::move(beside.value()))) : beside.status();
}

Status writeSmallFile(const std::string& path, const std::string& text, const std::string& tempFolder)
{
    auto temp = TempFile::createIn(tempFolder, path);
    if (!temp.ok())
        return temp.status();
    const auto length = static_cast<qint64>(text.size());
    if (auto written = temp->file().write(text.data(), length, length); !written.ok())
        return written;
    const auto completed = temp->complete(length);
    return completed.ok() ? temp->rename(ExistingTarget::Replace) : completed;
}

Status writeUnflushed(const std::string& path, const std::string& text)
{
    auto file = File::create(path);
    if (file.code() == ErrorCode::AlreadyExists) {
        // Never written into: it may be the file of a copy as well, by a hard link.
        if (auto removed = removeFile(path); !removed.ok())
            return removed;
        file = File::create(path);
    }
    const auto length = static_cast<qint64>(text.size());
    return file.ok() ? file->write(text.data(), length, length) : file.status();
}

} // namespace KOZAV::Backend
