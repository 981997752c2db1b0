// KOZAV::Common: configuration, identifiers, and the document store. A stored file is there when its row is:
// its content is written before, and its length and sum stand in the row.

#include "FolderSite.h"
#include "ZipFile.h"
#include "services/common/Common.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QTemporaryFile>
#include <QUuid>

namespace KOZAV {

namespace {

constexpr qint64 pieceBytes = 1 << 20;

struct Content
{
    qint64 length = 0;
    QString sha256;
};

QString fromLocal(const std::string& path)
{
    return QString::fromLocal8Bit(path.data(), static_cast<int>(path.size()));
}

/// Reads a regular file to its end, into target where there is one. @return why that failed
QString readThrough(const QString& path, QIODevice* target, Content& content)
{
    QFile source(path);
    if (!QFileInfo(path).isFile() || !source.open(QIODevice::ReadOnly))
        return path + QStringLiteral(" cannot be read");
    QCryptographicHash hash(QCryptographicHash::Sha256);
    while (!source.atEnd()) {
        const QByteArray piece = source.read(pieceBytes);
        if (piece.isEmpty())
            return path + QStringLiteral(" cannot be read");
        if (target && target->write(piece) != piece.size())
            return target->errorString();
        hash.addData(piece);
        content.length += piece.size();
    }
    content.sha256 = QString::fromLatin1(hash.result().toHex());
    return {};
}

/// Copies a file so that its whole content is at target, or what was there before.
QString copy(const QString& from, const QString& target, Content& content)
{
    const QFileInfo replaced(target);
    if (replaced.isSymLink() || (replaced.exists() && !replaced.isFile()))
        return target + QStringLiteral(" is no regular file");
    QSaveFile file(target);
    if (!file.open(QIODevice::WriteOnly))
        return target + QStringLiteral(": ") + file.errorString();
    if (QString reason = readThrough(from, &file, content); !reason.isEmpty())
        return reason;
    return file.commit() ? QString() : file.errorString();
}

/// How the rows name a place in the store: no part of it holds a slash.
QString keyOf(const std::string& dbName, const std::string& fsName, const std::string& name)
{
    return QString::fromStdString(dbName + "/" + fsName + "/" + name);
}

QString put(const std::string& dbName, const std::string& fsName, const QString& source,
            const std::string& name)
{
    const FolderSite& site = FolderSite::current();
    const QString place = site.contentPath(dbName, fsName, name);
    if (place.isEmpty())
        return QStringLiteral("a part of the place is no file name");
    // The lock is held while the file is copied: of two programs with one name one finds it taken.
    return site.change([&](QJsonObject& rows) {
        QJsonObject files = rows[QStringLiteral("files")].toObject();
        const QString key = keyOf(dbName, fsName, name);
        Content content;
        if (files.contains(key)) {
            const QString reason = readThrough(source, nullptr, content);
            const bool isSame = files[key].toObject()[QStringLiteral("sha256")] == content.sha256;
            return !reason.isEmpty() || isSame ? reason
                                               : QStringLiteral("the name is taken by other content");
        }
        QDir().mkpath(QFileInfo(place).path());
        if (QString reason = copy(source, place, content); !reason.isEmpty())
            return reason;
        files[key] = QJsonObject{{QStringLiteral("length"), content.length},
                                 {QStringLiteral("sha256"), content.sha256}};
        rows[QStringLiteral("files")] = files;
        return QString();
    });
}

QString get(const std::string& dbName, const std::string& fsName, const QString& target,
            const std::string& name)
{
    const FolderSite& site = FolderSite::current();
    const QString place = site.contentPath(dbName, fsName, name);
    const QJsonObject files = site.rows()[QStringLiteral("files")].toObject();
    const QString key = keyOf(dbName, fsName, name);
    if (place.isEmpty() || !files.contains(key))
        return QStringLiteral("there is no such file");
    // Read twice, so that nothing is written of what is not what was stored.
    Content content;
    if (QString reason = readThrough(place, nullptr, content); !reason.isEmpty())
        return reason;
    if (files[key].toObject()[QStringLiteral("sha256")] != content.sha256)
        return QStringLiteral("the content is not what was stored");
    return copy(place, target, content);
}

QString packAndStore(const QString& folder, const QString& stagingDir, const std::string& archiveId)
{
    QDir().mkpath(stagingDir);
    QTemporaryFile archive(stagingDir + QStringLiteral("/XXXXXX.zip"));
    if (!archive.open())
        return archive.errorString();
    ZipFile zip(archive);
    if (QString reason = zip.addFolder(folder); !reason.isEmpty())
        return reason;
    if (QString reason = zip.finish(); !reason.isEmpty())
        return reason;
    archive.close();
    const DataLib::Model::KOZAV_Config config = Common::commonInterface()->getConfig();
    return put(config.mongoDbName, config.mongoFsName, archive.fileName(), archiveId + ".zip");
}

/// What names are appended to.
std::string folderText(const QJsonValue& folder)
{
    return folder.toString().toStdString() + "/";
}

} // namespace

Common* Common::commonInterface()
{
    static Common common;
    return &common;
}

DataLib::Model::KOZAV_Config Common::getConfig()
{
    const QJsonObject read = FolderSite::current().configuration();
    DataLib::Model::KOZAV_Config config;
    if (read.isEmpty()) {
        qCritical("getConfig: the configuration cannot be read");
        return config;
    }
    config.mongoDbName = read[QStringLiteral("document_store/database")].toString().toStdString();
    config.mongoFsName = read[QStringLiteral("document_store/file_store")].toString().toStdString();
    config.uploadCacheDir = folderText(read[QStringLiteral("cache/upload")]);
    config.downloadCacheDir = folderText(read[QStringLiteral("cache/download")]);
    config.robotHost = read[QStringLiteral("robot/host")].toString().toStdString();
    config.robotPort = read[QStringLiteral("robot/port")].toInt();
    return config;
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
    const QString reason = put(dbName, fsName, fromLocal(localPath), storedName);
    return succeeded("MongodbPut", storedName, reason) ? 0 : 1;
}

int Common::MongodbGet(const std::string& dbName, const std::string& fsName, const std::string& localPath,
                       const std::string& storedName)
{
    const QString reason = get(dbName, fsName, fromLocal(localPath), storedName);
    return succeeded("MongodbGet", storedName, reason) ? 0 : 1;
}

int Common::FoldersCompressSave2MongoDb(const std::string& folder, const std::string& stagingDir,
                                        std::string& archiveId)
{
    archiveId = commonInterface()->getGUID();
    const QString reason = packAndStore(fromLocal(folder), fromLocal(stagingDir), archiveId);
    if (!succeeded("FoldersCompressSave2MongoDb", folder, reason)) {
        archiveId.clear();
        return 1;
    }
    return 0;
}

} // namespace KOZAV
