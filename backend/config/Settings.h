#pragma once

#include "backend/Status.h"

#include <QString>

namespace KOZAV::Backend {

/// The configuration file as a value. Paths are absolute once loaded; cache paths end in a separator. What
/// the fields begin with is the default of their keys (SettingRules.h).
struct DatabaseSettings
{
    QString driver = QStringLiteral("QSQLITE"); ///< "QSQLITE" or "QMYSQL"
    QString file;                               ///< SQLite database file
    QString host;
    int port = 3306;
    QString name;
    QString user;
    QString passwordFile; ///< file whose first line is the password
    int connectTimeoutSeconds = 3;
    int readTimeoutSeconds = 30;
    int writeTimeoutSeconds = 30;
    int busyTimeoutMs = 2000; ///< SQLite: longest wait for another writer
    QString tlsCaFile;
    bool allowPlaintext = false;

    bool operator==(const DatabaseSettings& other) const;
};

struct DocumentStoreSettings
{
    QString kind = QStringLiteral("local"); ///< "local" or "mongodb"
    QString root;                           ///< local: directory of the store
    QString uri;                            ///< mongodb: connection URI
    QString passwordFile;                   ///< mongodb: file whose first line is the password
    QString database;                       ///< mongoDbName
    QString fileStore;                      ///< mongoFsName
    bool allowPlaintext = false;

    bool operator==(const DocumentStoreSettings& other) const;
};

struct Settings
{
    DatabaseSettings database;
    DocumentStoreSettings documentStore;
    QString uploadCache;   ///< uploadCacheDir, with its separator
    QString downloadCache; ///< downloadCacheDir, with its separator
    QString robotHost;
    int robotPort = 0;
    int userId = 0;
    QString userName;
    QString userLogin;
};

/// Where the configuration lies: explicitPath if not empty, then $ZAV_CONFIG, then the XDG configuration
/// folder.
QString configurationPath(const QString& explicitPath);

/// Reads and checks a configuration file. A failure names file, key and what is accepted.
Result<Settings> loadSettings(const QString& path);

/// Writes a configuration file with working defaults (mode 0600), data under the XDG data folder, or under
/// dataRoot where that is not empty. Refuses to replace an existing file.
Status createDefaultSettings(const QString& path, const QString& dataRoot = {});

/// Makes the folders that the settings speak of where they are missing, mode 0700: the two caches and, with a
/// local store, its root. (The database makes its own.)
Status makeFolders(const Settings& settings);

/// Reads, or checks and writes, a single key ("section/key") of a configuration file. Reading gives what is
/// in force: paths absolute, the default where the key is absent. A value that would make the file unusable
/// is refused (InvalidArgument), and the file stays as it was; comments and other lines are kept.
Result<QString> readSetting(const QString& path, const QString& key);
Status writeSetting(const QString& path, const QString& key, const QString& value);

} // namespace KOZAV::Backend
