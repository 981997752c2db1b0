#include "services/common/Common.h"

#include "backend/io/File.h"
#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/io/GrowingFile.h"
#include "backend/io/PrivateFile.h"
#include "backend/io/SystemError.h"
#include "backend/operations/FreshNames.h"
#include "backend/operations/ImportRoad.h"
#include "backend/operations/PackedContents.h"
#include "backend/operations/RowWrites.h"
#include "backend/operations/SiteWork.h"
#include "backend/pack/PackFolder.h"

#include <QDateTime>
#include <QFile>

#include <cstdio>
#include <future>
#include <optional>

namespace KOZAV {

using namespace Backend;

namespace {

/// The integer statuses of the operations. They may end up in a caller's records, so a number once given
/// stays.
int serviceStatus(ErrorCode code)
{
    switch (code) {
    case ErrorCode::None:
        return 0;
    case ErrorCode::InvalidArgument:
        return 1;
    case ErrorCode::NotFound:
        return 2;
    case ErrorCode::AlreadyExists:
        return 3;
    case ErrorCode::NotPermitted:
        return 4;
    case ErrorCode::NoSpace:
        return 5;
    case ErrorCode::Io:
        return 6;
    case ErrorCode::ChangedWhileRead:
        return 7;
    case ErrorCode::Corrupt:
        return 8;
    case ErrorCode::Configuration:
        return 9;
    case ErrorCode::Unavailable:
        return 10;
    case ErrorCode::OutcomeUnknown:
        return 11;
    case ErrorCode::Stopped:
        return 13;
    case ErrorCode::Internal:
        break;
    }
    return 12;
}

std::string withoutSeparator(std::string folder)
{
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    return folder;
}

/// The archive of a folder between packing and storing; whatever is left of it goes when this ends.
class StagedArchive final
{
public:
    StagedArchive(const std::string& stagingDir, const std::string& name)
        : m_path(stagingDir)
    {
        if (m_path.back() != '/')
            m_path += '/';
        m_path += name;
    }
    ~StagedArchive() { std::remove(m_path.c_str()); }
    Q_DISABLE_COPY(StagedArchive)

    [[nodiscard]] const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

Status makeStagingFolder(const std::string& stagingDir)
{
    if (stagingDir.empty())
        return Status::invalidArgument(QStringLiteral("there is no staging folder"));
    return makePrivateFolder(QFile::decodeName(stagingDir.c_str())).status();
}

/// Packs a folder and stores the archive, which begins while it is being written.
class FolderImport final
{
public:
    FolderImport(Operation& call, const std::string& folder, const std::string& stagingDir,
                 const std::string& storedName)
        : m_call(call)
        , m_storedName(storedName)
        , m_archive(stagingDir, storedName)
    {
        m_request.folder = folder;
        m_request.target = m_archive.path();
        m_request.isStaged = true;
    }

    Status run();

private:
    Result<StoredFile> store(DocumentStore& store, const StoreLocation& location);
    Result<StoredFile> packAndStore(DocumentStore& store, const StoreLocation& location, NameUse use);
    void awaitStoring(const std::future<void>& storing, const GrowingFile& growing) const;

    Operation& m_call;
    const std::string& m_storedName;
    const StagedArchive m_archive;
    PackRequest m_request;
    std::optional<PackResult> m_packed; ///< once the archive is whole
    Status m_packFailure;
};

/// A folder that cannot be packed is no failure of the store.
Status FolderImport::run()
{
    auto ended = withFiles(m_call, [this](DocumentStore& documents, const StoreLocation& location) {
        const auto stored = store(documents, location);
        if (stored.ok()) {
            m_call.event.storedBytes = stored->length;
            ImportRoad::ofThisThread().noteStored(location, stored.value());
            keepPackedContent(m_storedName, m_packed->content);
        }
        return m_packFailure.ok() ? stored.status() : Status();
    });
    return m_packFailure.ok() ? ended : m_packFailure;
}

/// An archive that is whole needs no second packing where it could not be stored.
Result<StoredFile> FolderImport::store(DocumentStore& store, const StoreLocation& location)
{
    const NameUse use = FreshNames::ofThisProcess().useOf(m_storedName);
    return m_packed ? store.adopt(location, m_storedName, m_archive.path(), use)
                    : packAndStore(store, location, use);
}

/// The store works on a thread of its own: this one packs, and tells the host how far that is. Where the
/// store fails the packing ends, unless the call waits for a server and stores the archive then.
Result<StoredFile> FolderImport::packAndStore(DocumentStore& store, const StoreLocation& location,
                                              NameUse use)
{
    const bool waits = isWaitedFor(m_call, SitePart::Files);
    GrowingFile growing;
    Result<StoredFile> stored = Status::internal(QStringLiteral("nothing was stored"));
    std::future<void> storing = std::async(std::launch::async, [&] {
        stored = store.adoptGrowing(location, m_storedName, m_archive.path(), growing, use);
        if (!stored.ok() && !waits)
            growing.giveUp();
    });
    m_request.growing = &growing;
    const auto packed = packFolder(m_request);
    awaitStoring(storing, growing);
    storing.get();
    if (packed.ok())
        m_packed = packed.value();
    else if (packed.code() != ErrorCode::Stopped)
        m_packFailure = packed.status();
    return stored;
}

void FolderImport::awaitStoring(const std::future<void>& storing, const GrowingFile& growing) const
{
    if (!isWorkWatched())
        return storing.wait();
    const auto settings = Site::current().settings();
    const bool isLocal = settings.ok() && settings->documentStore.kind == DocumentStoreSettings().kind;
    const auto stage = isLocal ? WorkProgress::Stage::Reading : WorkProgress::Stage::Sending;
    const auto archive = fileInfo(m_archive.path());
    const qint64 length = archive.ok() ? archive->length : -1;
    while (storing.wait_for(workTellInterval) == std::future_status::timeout) {
        const qint64 done = growing.readBytes();
        if (done < length)
            tellWork(stage, done, length);
        else
            tellWork(WorkProgress::Stage::Flushing);
    }
}

Status packAndStore(Operation& call, const std::string& folder, const std::string& stagingDir,
                    const std::string& storedName)
{
    if (auto ready = readyToStore(call); !ready.ok())
        return ready;
    // A site that cannot be used is to be known before the work.
    const auto openOnly = [](DocumentStore&, const StoreLocation&) { return Status(); };
    if (auto opened = withFiles(call, openOnly); !opened.ok())
        return opened;
    if (auto staging = makeStagingFolder(stagingDir); !staging.ok())
        return staging;
    return FolderImport(call, folder, stagingDir, storedName).run();
}

/// Panels stage copies of archives in the upload cache with the permissions of their sources: such a copy is
/// made one for this user alone. Where that is not possible the import goes on, as the copy was readable
/// before.
void protectStagedCopy(const std::string& localPath)
{
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return;
    const auto cache = resolvedPath(QFile::encodeName(settings->uploadCache).toStdString());
    const auto folder = resolvedPath(parentFolder(localPath));
    if (!cache.ok() || !folder.ok() || cache.value() != folder.value())
        return;
    const auto opened = Folder::open(folder.value());
    if (!opened.ok())
        return;
    const auto copy = File::openForReadingIn(opened.value(), localPath.substr(localPath.rfind('/') + 1));
    if (!copy.ok())
        return;
    if (const auto made = copy->makePrivate(); !made.ok())
        qCWarning(logStore).noquote() << made.message();
}

DataLib::Model::KOZAV_Config configOf(const Settings& settings)
{
    DataLib::Model::KOZAV_Config config;
    config.mongoDbName = settings.documentStore.database.toStdString();
    config.mongoFsName = settings.documentStore.fileStore.toStdString();
    // Directories are handed to operations that take the local code page; it is UTF-8 wherever the panels
    // run.
    config.uploadCacheDir = settings.uploadCache.toStdString();
    config.downloadCacheDir = settings.downloadCache.toStdString();
    config.robotHost = settings.robotHost.toStdString();
    config.robotPort = settings.robotPort;
    return config;
}

/// A failure to store a local copy that is not there: whoever was to make it has told nobody why it could
/// not.
Status toldMissingCopy(const Status& failure, const std::string& localPath)
{
    if (failure.code() != ErrorCode::NotFound || fileInfo(localPath).code() != ErrorCode::NotFound)
        return failure;
    const std::string folder = parentFolder(localPath);
    const QString missing = QStringLiteral("there is no %1 to be stored").arg(displayPath(localPath));
    if (const auto writable = requireWritableFolder(folder); !writable.ok())
        return writable.in(missing);
    const auto free = freeBytes(folder);
    const QString room = free ? QString::number(*free) : QStringLiteral("an unknown number of");
    return failure.retold(QStringLiteral("%1: its source could not be read, is no regular file, or is longer "
                                         "than there was room for (%2 bytes free)%3")
                              .arg(missing, room, fileSizeLimitText()));
}

} // namespace

Common* Common::commonInterface()
{
    static Common common;
    return &common;
}

/// An unusable configuration gives an empty record, which no other operation accepts; the site has logged
/// why.
DataLib::Model::KOZAV_Config Common::getConfig()
{
    DataLib::Model::KOZAV_Config config;
    const auto status = guarded([&config] {
        const auto settings = Site::current().settings();
        if (settings.ok())
            config = configOf(settings.value());
        return settings.status();
    });
    return status.ok() ? config : DataLib::Model::KOZAV_Config();
}

std::string Common::getGUID()
{
    std::string identifier = newGuid().toStdString();
    FreshNames::ofThisProcess().remember(identifier);
    return identifier;
}

std::string Common::GetTimeStr()
{
    return QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMddhhmmsszzz")).toStdString();
}

int Common::MongodbPut(const std::string& dbName, const std::string& fsName, const std::string& localPath,
                       const std::string& storedName)
{
    ImportRoad& road = ImportRoad::ofThisThread();
    road.beginStoring();
    const auto stored = Operation::run(ServiceOperation::MongodbPut, [&](Operation& call) {
        call.event.subject = call.event.storedName = QString::fromStdString(storedName);
        if (auto ready = readyToStore(call); !ready.ok())
            return ready;
        protectStagedCopy(localPath);
        return withFiles(call, [&](DocumentStore& store, const StoreLocation& /*configured*/) {
            const NameUse use = FreshNames::ofThisProcess().useOf(storedName);
            const auto file = store.put({dbName, fsName}, storedName, localPath, use);
            if (file.ok()) {
                call.event.storedBytes = file->length;
                road.noteStored({dbName, fsName}, file.value());
                road.endStoring(storedName);
            }
            return toldMissingCopy(file.status(), localPath);
        });
    });
    return serviceStatus(stored.code());
}

int Common::MongodbGet(const std::string& dbName, const std::string& fsName, const std::string& localPath,
                       const std::string& storedName)
{
    const auto fetched = Operation::run(ServiceOperation::MongodbGet, [&](Operation& call) {
        call.event.subject = call.event.storedName = QString::fromStdString(storedName);
        return withFiles(call, [&](DocumentStore& store, const StoreLocation& /*configured*/) {
            return store.get({dbName, fsName}, storedName, localPath);
        });
    });
    return serviceStatus(fetched.code());
}

int Common::FoldersCompressSave2MongoDb(const std::string& folder, const std::string& stagingDir,
                                        std::string& archiveId)
{
    std::string id;
    ImportRoad& road = ImportRoad::ofThisThread();
    road.beginStoring();
    const auto stored = Operation::run(ServiceOperation::FoldersCompressSave2MongoDb, [&](Operation& call) {
        const std::string path = withoutSeparator(folder);
        call.event.subject = QString::fromLocal8Bit(path.c_str());
        id = commonInterface()->getGUID();
        const std::string storedName = id + ".zip";
        call.event.storedName = QString::fromStdString(storedName);
        auto packed = packAndStore(call, path, stagingDir, storedName);
        if (packed.ok())
            road.endStoring(storedName);
        return packed;
    });
    archiveId = stored.ok() ? id : std::string();
    return serviceStatus(stored.code());
}

} // namespace KOZAV
