#pragma once

#include "backend/store/DocumentStore.h"
#include "backend/store/gridfs/Bson.h"
#include "backend/store/gridfs/BsonView.h"
#include "backend/store/gridfs/GridFsId.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>
#include <string>

namespace KOZAV::Backend {

/// A files document: what GridFS knows of one file (docs/store-layout.md).
class GridFsFile final
{
public:
    /// A new file of ours, stored now.
    GridFsFile(GridFsId id, StoredFile file, int chunkSize);

    /// Reads a document that any program may have written; nothing where its filename cannot be one of a
    /// stored file.
    static std::optional<GridFsFile> read(const BsonView& document);

    void write(Bson& document) const;

    [[nodiscard]] const GridFsId& id() const { return m_id; }
    /// sha256 is empty where another program stored the file and kept none.
    [[nodiscard]] const StoredFile& stored() const { return m_stored; }
    [[nodiscard]] qint64 chunkSize() const { return m_chunkSize; }

    /// What makes the document unusable; empty where nothing does.
    [[nodiscard]] const QString& damage() const { return m_damage; }

private:
    explicit GridFsFile(GridFsId id);
    void readSizes(const BsonView& document);
    void readMetadata(const BsonView& document);

    GridFsId m_id;
    StoredFile m_stored;
    qint64 m_chunkSize = 0;
    QString m_damage;
};

} // namespace KOZAV::Backend
