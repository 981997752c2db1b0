#include "backend/store/local/SumFile.h"

#include "backend/Text.h"
#include "backend/io/Sha256.h"
#include "backend/io/TempFile.h"

#include <QList>

namespace KOZAV::Backend {

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

} // namespace KOZAV::Backend
