#include "backend/store/gridfs/GridFsFile.h"

#include "backend/io/Sha256.h"
#include "backend/store/gridfs/GridFsNames.h"

#include <utility>

namespace KOZAV::Backend {

GridFsFile::GridFsFile(GridFsId id)
    : m_id(std::move(id))
{
}

GridFsFile::GridFsFile(GridFsId id, StoredFile file, int chunkSize)
    : m_id(std::move(id))
    , m_stored(std::move(file))
    , m_chunkSize(chunkSize)
{
}

std::optional<GridFsFile> GridFsFile::read(const BsonView& document)
{
    const auto name = document.text("filename");
    auto id = document.value("_id");
    if (!name || !checkGridFsName(*name).ok() || !id)
        return std::nullopt;
    GridFsFile file{GridFsId(*bson_iter_value(&*id))};
    file.m_stored.name = *name;
    file.m_stored.storedAt = document.date("uploadDate");
    file.readSizes(document);
    file.readMetadata(document);
    return file;
}

void GridFsFile::readSizes(const BsonView& document)
{
    m_stored.length = document.wholeNumber("length").value_or(-1);
    m_chunkSize = document.wholeNumber("chunkSize").value_or(0);
    if (m_stored.length < 0)
        m_damage = QStringLiteral("its files document has no length");
    else if (m_chunkSize <= 0)
        m_damage = QStringLiteral("its files document has no chunk size");
}

void GridFsFile::readMetadata(const BsonView& document)
{
    const QByteArray sha256 = QByteArray::fromStdString(document.text("metadata.sha256").value_or(""));
    if (!isSha256(sha256))
        return; // other programs keep there what they like
    m_stored.sha256 = sha256;
    const auto length = document.wholeNumber("metadata.length");
    if (m_damage.isEmpty() && length && *length != m_stored.length)
        m_damage = QStringLiteral("its files document says %1 bytes and %2 bytes")
                       .arg(QString::number(m_stored.length), QString::number(*length));
}

void GridFsFile::write(Bson& document) const
{
    Bson metadata;
    metadata.text("sha256", m_stored.sha256.toStdString()).int64("length", m_stored.length);
    document.id("_id", m_id)
        .int64("length", m_stored.length)
        .int32("chunkSize", static_cast<int>(m_chunkSize))
        .date("uploadDate", m_stored.storedAt)
        .text("filename", m_stored.name)
        .document("metadata", metadata);
}

} // namespace KOZAV::Backend
