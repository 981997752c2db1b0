#include "backend/store/gridfs/GridFsFile.h"

#include "backend/Text.h"
#include "backend/io/FilePath.h"
#include "backend/io/Sha256.h"
#include "backend/store/StoreNames.h"

#include <utility>

namespace KOZAV::Backend {

namespace {

bson_value_t null()
{
    bson_value_t value = {};
    value.value_type = BSON_TYPE_NULL;
    return value;
}

constexpr const char* refusedInDatabases = "$ .\"*<>:|?";
constexpr size_t longestDatabase = 63;   // bytes
constexpr size_t longestNamespace = 255; // bytes of "<database>.<file store>.chunks"
const std::string quarantinePrefix = "kozav.quarantine/";
const std::string longestSuffix = ".chunks";
const std::string reservedPrefix = "system.";

Status refused(const QString& what, const std::string& name, const QString& reason)
{
    return Status::invalidArgument(
        QStringLiteral("\"%1\" cannot be used as %2: %3").arg(displayPath(name), what, reason));
}

Status checkDatabase(const std::string& name)
{
    const QString what = QStringLiteral("MongoDB database");
    if (name.size() > longestDatabase)
        return refused(what, name, QStringLiteral("it has more than %1 bytes").arg(longestDatabase));
    if (name.find_first_of(refusedInDatabases) != std::string::npos)
        return refused(what, name,
                       QStringLiteral("it holds a blank or one of %1").arg(QLatin1String("$.\"*<>:|?")));
    return isValidUtf8(name) ? Status() : refused(what, name, QStringLiteral("it is not valid UTF-8"));
}

Status checkFileStore(const StoreLocation& location)
{
    const QString what = QStringLiteral("GridFS file store");
    const std::string& name = location.fileStore;
    if (name.find('$') != std::string::npos)
        return refused(what, name, QStringLiteral("it holds a $"));
    if (name.compare(0, reservedPrefix.size(), reservedPrefix) == 0)
        return refused(what, name, QStringLiteral("MongoDB keeps such names for itself"));
    if (location.database.size() + 1 + name.size() + longestSuffix.size() > longestNamespace)
        return refused(what, name, QStringLiteral("it is too long"));
    return isValidUtf8(name) ? Status() : refused(what, name, QStringLiteral("it is not valid UTF-8"));
}

} // namespace

// What follows the slash in the order of bytes.
const std::string quarantineEnd = "kozav.quarantine0";

std::string quarantineName(const std::string& name)
{
    return quarantinePrefix + name;
}

GridFsId GridFsId::fresh()
{
    bson_value_t value = {};
    value.value_type = BSON_TYPE_OID;
    bson_oid_init(&value.value.v_oid, nullptr);
    return GridFsId(value);
}

GridFsId::GridFsId(const bson_value_t& value)
    : m_value()
{
    bson_value_copy(&value, &m_value);
}

GridFsId::GridFsId(const GridFsId& other)
    : GridFsId(other.m_value)
{
}

GridFsId::GridFsId(GridFsId&& other) noexcept
    : m_value(std::exchange(other.m_value, null()))
{
}

GridFsId& GridFsId::operator=(GridFsId&& other) noexcept
{
    std::swap(m_value, other.m_value);
    return *this;
}

GridFsId::~GridFsId()
{
    bson_value_destroy(&m_value);
}

GridFsFile::GridFsFile(GridFsId id)
    : m_id(std::move(id))
{
}

GridFsFile::GridFsFile(GridFsId id, StoredFile file, int chunkSize)
    : m_id(std::move(id))
    , m_documentName(file.name)
    , m_stored(std::move(file))
    , m_chunkSize(chunkSize)
{
}

std::optional<GridFsFile> GridFsFile::read(const BsonView& document)
{
    const auto name = document.text("filename");
    return name && checkGridFsName(*name).ok() ? std::optional(readNamed(document, *name)) : std::nullopt;
}

std::optional<GridFsFile> GridFsFile::readQuarantined(const BsonView& document)
{
    const auto documentName = document.text("filename");
    const QDateTime since = document.date("metadata.quarantined");
    if (!since.isValid() || !documentName ||
        documentName->compare(0, quarantinePrefix.size(), quarantinePrefix) != 0)
        return std::nullopt;
    const std::string name = documentName->substr(quarantinePrefix.size());
    if (!checkGridFsName(name).ok())
        return std::nullopt;
    GridFsFile file = readNamed(document, name);
    file.m_documentName = *documentName;
    file.m_quarantinedSince = since;
    return file;
}

GridFsFile GridFsFile::readAny(const BsonView& document)
{
    auto quarantined = readQuarantined(document);
    return quarantined ? std::move(*quarantined)
                       : readNamed(document, document.text("filename").value_or(""));
}

GridFsFile GridFsFile::readNamed(const BsonView& document, const std::string& name)
{
    bson_value_t noId = null();
    auto id = document.value("_id");
    GridFsFile file{GridFsId(id ? *bson_iter_value(&id->at) : noId)};
    file.m_documentName = name;
    file.m_stored.name = name;
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
    document.value("_id", m_id.value())
        .int64("length", m_stored.length)
        .int32("chunkSize", static_cast<int>(m_chunkSize))
        .date("uploadDate", m_stored.storedAt)
        .text("filename", m_documentName)
        .document("metadata", metadata);
}

Status checkGridFsLocation(const StoreLocation& location)
{
    if (auto accepted = checkStoreLocation(location); !accepted.ok())
        return accepted;
    const auto database = checkDatabase(location.database);
    return database.ok() ? checkFileStore(location) : database;
}

Status checkGridFsName(const std::string& name)
{
    if (auto accepted = checkStoredName(name); !accepted.ok())
        return accepted;
    return isValidUtf8(name) ? Status()
                             : refused(QStringLiteral("name of a file in GridFS"), name,
                                       QStringLiteral("it is not valid UTF-8"));
}

} // namespace KOZAV::Backend
