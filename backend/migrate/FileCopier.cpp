#include "backend/migrate/FileCopier.h"

#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/io/PrivateFile.h"
#include "backend/store/StoreNames.h"

#include <QFile>

#include <optional>
#include <utility>

namespace KOZAV::Backend {

namespace {

const std::string folderLockName = "lock";

Status removeLeftovers(const std::string& folder)
{
    const auto names = namesIn(folder);
    if (!names.ok())
        return names.status();
    for (const std::string& name : names.value())
        if (name != folderLockName)
            if (auto removed = removeFile(joinPath(folder, name)); !removed.ok())
                return removed;
    return {};
}

/// Scope of the file that content passes through: gone at its end.
class Passage final
{
public:
    explicit Passage(const std::string& path)
        : m_path(path)
    {
    }
    ~Passage()
    {
        (void)removeFile(m_path); // a failed copy may have left none
    }
    Q_DISABLE_COPY(Passage)

private:
    const std::string& m_path;
};

QString quoted(const std::string& name)
{
    return QLatin1Char('"') + displayPath(name) + QLatin1Char('"');
}

Status named(const std::string& name, const Status& status)
{
    if (status.ok())
        return {};
    return status.in(QStringLiteral("stored file %1").arg(quoted(name)));
}

} // namespace

bool holds(const StoredFile& file, const ContentDigest& content)
{
    return file.length == content.length && (file.sha256.isEmpty() || file.sha256 == content.sha256);
}

Status targetDiffers(const StoreLocation& target, const std::string& name)
{
    return Status::alreadyExists(
        QStringLiteral("the target already has a stored file %1 in %2 with other content than the source")
            .arg(quoted(name), locationText(target)));
}

Status sourceChanged(const StoreLocation& source, const std::string& name, const QString& what)
{
    return Status::changedWhileRead(
        QStringLiteral("the source changed while it was copied: the stored file %1 %2 in %3; run again")
            .arg(quoted(name), what, locationText(source)));
}

Result<StorePair> StorePair::open(const DocumentStoreSettings& source, const DocumentStoreSettings& target)
{
    auto from = openDocumentStore(source);
    if (!from.ok())
        return from.status();
    auto to = openDocumentStore(target);
    if (!to.ok())
        return to.status();
    return StorePair{std::move(from.value()), std::move(to.value())};
}

Result<TransferFolder> TransferFolder::open(const QString& uploadCache)
{
    const QString path = uploadCache + QStringLiteral("migrate");
    if (const auto made = makePrivateFolder(path); !made.ok())
        return made.status();
    std::string folder = QFile::encodeName(path).toStdString();
    auto lock = FileLock::tryAcquire(joinPath(folder, folderLockName));
    if (!lock.ok())
        return lock.status();
    if (!lock.value())
        return Status::unavailable(
            QStringLiteral("another migration is running: it uses the folder %1").arg(displayPath(folder)));
    if (const auto swept = removeLeftovers(folder); !swept.ok())
        return swept;
    return TransferFolder(std::move(folder), std::move(*lock.value()));
}

std::string TransferFolder::path(const std::string& name) const
{
    return joinPath(m_folder, name);
}

Result<std::unique_ptr<FileCopier>> FileCopier::open(const DocumentStoreSettings& source,
                                                     const DocumentStoreSettings& target, std::string passage,
                                                     std::function<void(qint64)> onBytes)
{
    std::unique_ptr<FileCopier> copier(
        new FileCopier(storeLocation(source), storeLocation(target), std::move(passage), std::move(onBytes)));
    auto stores = StorePair::open(source, target);
    if (!stores.ok())
        return stores.status();
    copier->m_stores = std::move(stores.value());
    return copier;
}

FileCopier::FileCopier(StoreLocation source, StoreLocation target, std::string passage,
                       std::function<void(qint64)> onBytes)
    : m_source(std::move(source))
    , m_target(std::move(target))
    , m_passage(std::move(passage))
    , m_onBytes(std::move(onBytes))
{
}

Result<FileCopier::Outcome> FileCopier::bring(const FileTask& task)
{
    const std::string& name = task.file.name;
    m_source.fileStore = task.fileStore;
    m_target.fileStore = task.fileStore;
    const Passage passage(m_passage);
    const auto source =
        task.quarantined ? Result<StoredFile>(task.file) : m_stores.source->find(m_source, name);
    if (source.code() == ErrorCode::NotFound)
        return sourceChanged(m_source, name, QStringLiteral("is gone"));
    if (!source.ok())
        return named(name, source.status());
    const auto target = m_stores.target->find(m_target, name);
    if (target.ok())
        return accept(task, source.value(), target.value());
    return target.code() == ErrorCode::NotFound ? copy(task, source.value()) : named(name, target.status());
}

Result<FileCopier::Outcome> FileCopier::accept(const FileTask& task, const StoredFile& source,
                                               const StoredFile& target)
{
    if (source.length != target.length)
        return targetDiffers(m_target, target.name);
    const auto held = contentOf(*m_stores.source, m_source, source);
    if (!held.ok())
        return held.status();
    if (auto right = checkExpected(task, held.value()); !right.ok())
        return right;
    const auto there = contentOf(*m_stores.target, m_target, target);
    if (!there.ok())
        return there.status();
    if (held.value() != there.value())
        return targetDiffers(m_target, target.name);
    return Outcome{held.value(), false};
}

Result<FileCopier::Outcome> FileCopier::copy(const FileTask& task, const StoredFile& source)
{
    const auto fetched = fetch(*m_stores.source, m_source, source, task.quarantined);
    if (!fetched.ok())
        return fetched.status();
    if (auto right = checkExpected(task, fetched.value()); !right.ok())
        return right;
    const qint64 half = source.length / 2;
    m_onBytes(half);
    if (const auto stored = m_stores.target->adopt(m_target, source.name, m_passage); !stored.ok())
        return named(source.name, stored.status());
    if (const auto arrived = checkArrived(source.name, fetched.value()); !arrived.ok())
        return arrived;
    m_onBytes(source.length - half);
    return Outcome{fetched.value(), true};
}

Status FileCopier::checkExpected(const FileTask& task, const ContentDigest& found) const
{
    if (!task.expected || *task.expected == found)
        return {};
    return Status::corrupt(QStringLiteral("the stored file %1 in %2 is not what its row says")
                               .arg(quoted(task.file.name), locationText(m_source)));
}

Status FileCopier::checkArrived(const std::string& name, const ContentDigest& expected)
{
    const auto arrived = m_stores.target->find(m_target, name);
    if (!arrived.ok())
        return named(name, arrived.status());
    if (ContentDigest{arrived->length, arrived->sha256} == expected)
        return {};
    return Status::corrupt(
        QStringLiteral("the stored file %1 arrived in %2 with other content than the source's")
            .arg(quoted(name), locationText(m_target)));
}

/// What a store knows of a content; where it has no hash, as of a file that another program stored, it is
/// fetched and looked at.
Result<ContentDigest> FileCopier::contentOf(DocumentStore& store, const StoreLocation& location,
                                            const StoredFile& file)
{
    if (!file.sha256.isEmpty())
        return ContentDigest{file.length, file.sha256};
    return fetch(store, location, file);
}

Result<ContentDigest> FileCopier::fetch(DocumentStore& store, const StoreLocation& location,
                                        const StoredFile& file, bool quarantined)
{
    const auto got = quarantined ? store.getQuarantined(location, file.name, m_passage)
                                 : store.get(location, file.name, m_passage);
    if (!got.ok())
        return got.code() == ErrorCode::NotFound
                   ? sourceChanged(location, file.name, QStringLiteral("is gone"))
                   : named(file.name, got);
    // A get has compared what it wrote with the hash that it knew.
    if (!file.sha256.isEmpty())
        return ContentDigest{file.length, file.sha256};
    auto opened = File::openForReading(m_passage);
    return opened.ok() ? digestFile(opened.value()) : opened.status();
}

} // namespace KOZAV::Backend
