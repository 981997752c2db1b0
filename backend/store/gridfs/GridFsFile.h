#pragma once

#include "backend/store/DocumentStore.h"
#include "backend/store/gridfs/Bson.h"

#include <QString>

#include <optional>
#include <string>

namespace KOZAV::Backend {

/// The "_id" of a files document. Ours are ObjectIds; those of other programs can be values of any type.
class GridFsId final
{
public:
    /// A fresh ObjectId, different from all others of all machines.
    static GridFsId fresh();

    explicit GridFsId(const bson_value_t& value);
    GridFsId(const GridFsId& other);
    GridFsId(GridFsId&& other) noexcept;
    GridFsId& operator=(const GridFsId& other) = delete;
    GridFsId& operator=(GridFsId&& other) noexcept;
    ~GridFsId();

    [[nodiscard]] const bson_value_t& value() const { return m_value; }

private:
    bson_value_t m_value;
};

/// A files document: what GridFS knows of one file (docs/store-layout.md).
class GridFsFile final
{
public:
    /// A new file of ours, stored now.
    GridFsFile(GridFsId id, StoredFile file, int chunkSize);

    /// Reads a document that any program may have written; nothing where its filename cannot be one of a
    /// stored file.
    static std::optional<GridFsFile> read(const BsonView& document);

    /// The same for a file in quarantine, under the name that it was stored by; nothing where the document is
    /// not that of one.
    static std::optional<GridFsFile> readQuarantined(const BsonView& document);

    /// Reads the document of any file, whatever it is called.
    static GridFsFile readAny(const BsonView& document);

    void write(Bson& document) const;

    [[nodiscard]] const GridFsId& id() const { return m_id; }
    /// The filename in its document: for a file in quarantine not the name that it was stored by.
    [[nodiscard]] const std::string& documentName() const { return m_documentName; }
    /// Since when it is in quarantine; invalid where it is stored.
    [[nodiscard]] const QDateTime& quarantinedSince() const { return m_quarantinedSince; }
    /// sha256 is empty where another program stored the file and kept none.
    [[nodiscard]] const StoredFile& stored() const { return m_stored; }
    [[nodiscard]] qint64 chunkSize() const { return m_chunkSize; }

    /// What makes the document unusable; empty where nothing does.
    [[nodiscard]] const QString& damage() const { return m_damage; }

private:
    explicit GridFsFile(GridFsId id);
    static GridFsFile readNamed(const BsonView& document, const std::string& name);
    void readSizes(const BsonView& document);
    void readMetadata(const BsonView& document);

    GridFsId m_id;
    std::string m_documentName;
    QDateTime m_quarantinedSince;
    StoredFile m_stored;
    qint64 m_chunkSize = 0;
    QString m_damage;
};

/// The filename of a file in quarantine: one that no file can be stored under. All of them lie between
/// quarantineName("") and quarantineEnd.
std::string quarantineName(const std::string& name);
extern const std::string quarantineEnd;

/// Whether both texts of a location can be names of MongoDB, which accepts less than a file system.
Status checkGridFsLocation(const StoreLocation& location);

/// Whether a file can be stored under the name: that of a file everywhere, and valid UTF-8, which BSON wants.
Status checkGridFsName(const std::string& name);

} // namespace KOZAV::Backend
