#include "services/common/Common.h"

#include "backend/Guarded.h"
#include "backend/Operation.h"
#include "backend/Site.h"
#include "backend/io/PrivateFile.h"
#include "backend/pack/PackFolder.h"
#include "backend/store/DocumentStore.h"

#include <QDateTime>
#include <QFile>
#include <QUuid>

#include <cstdio>
#include <functional>

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
    case ErrorCode::Internal:
        break;
    }
    return 12;
}

QString subjectOf(const std::string& text)
{
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
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

Status packAndStore(const std::string& folder, const std::string& stagingDir, const std::string& archiveId)
{
    const Result<Settings> settings = Site::current().settings();
    if (!settings.ok())
        return settings.status();
    const Result<DocumentStore*> store = Site::current().documentStore();
    if (!store.ok())
        return store.status();
    Status staging = makeStagingFolder(stagingDir);
    if (!staging.ok())
        return staging;

    const std::string storedName = archiveId + ".zip";
    const StagedArchive archive(stagingDir, storedName);
    PackRequest request;
    request.folder = folder;
    request.target = archive.path();
    const Result<PackResult> packed = packFolder(request);
    if (!packed.ok())
        return packed.status();
    return store.value()->adopt(storeLocation(settings->documentStore), storedName, archive.path()).status();
}

/// Runs a call of the store as a service operation for a stored name.
int storeOperation(const char* name, const std::string& storedName,
                   const std::function<Status(DocumentStore&)>& call)
{
    Operation operation(logStore, name, subjectOf(storedName));
    const Status status = guarded([&call] {
        const Result<DocumentStore*> store = Site::current().documentStore();
        return store.ok() ? call(*store.value()) : store.status();
    });
    operation.finish(status, status.ok() ? subjectOf(storedName) : QString());
    return serviceStatus(status.code());
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
    const Status status = guarded([&config] {
        const Result<Settings> settings = Site::current().settings();
        if (settings.ok())
            config = configOf(settings.value());
        return settings.status();
    });
    return status.ok() ? config : DataLib::Model::KOZAV_Config();
}

std::string Common::getGUID()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString();
}

std::string Common::GetTimeStr()
{
    return QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMddhhmmsszzz")).toStdString();
}

int Common::MongodbPut(const std::string& dbName, const std::string& fsName, const std::string& localPath,
                       const std::string& storedName)
{
    return storeOperation("MongodbPut", storedName, [&](DocumentStore& store) {
        return store.put({dbName, fsName}, storedName, localPath).status();
    });
}

int Common::MongodbGet(const std::string& dbName, const std::string& fsName, const std::string& localPath,
                       const std::string& storedName)
{
    return storeOperation("MongodbGet", storedName, [&](DocumentStore& store) {
        return store.get({dbName, fsName}, storedName, localPath);
    });
}

int Common::FoldersCompressSave2MongoDb(const std::string& folder, const std::string& stagingDir,
                                        std::string& archiveId)
{
    const std::string path = withoutSeparator(folder);
    Operation operation(logStore, "FoldersCompressSave2MongoDb", QString::fromLocal8Bit(path.c_str()));
    std::string id;
    const Status status = guarded([&] {
        id = commonInterface()->getGUID();
        return packAndStore(path, stagingDir, id);
    });
    archiveId = status.ok() ? id : std::string();
    operation.finish(status, subjectOf(archiveId));
    return serviceStatus(status.code());
}

} // namespace KOZAV
