#pragma once

#include "backend/Status.h"

#include <QString>
#include <QStringList>

#include <utility>
#include <vector>

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
    bool readOnly = false; ///< the rows are those of a backup; no key of its own
    /// Whoever opens the rows means to read them, and asks for no more right than that; no key of its own.
    bool onlyToRead = false;

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
    bool onlyToRead = false; ///< as that of the database

    bool operator==(const DocumentStoreSettings& other) const;
};

struct Settings
{
    DatabaseSettings database;
    DocumentStoreSettings documentStore;
    QString uploadCache;            ///< uploadCacheDir, with its separator
    QString downloadCache;          ///< downloadCacheDir, with its separator
    int importPatienceSeconds = 60; ///< how long a batch waits for a server that does not answer
    int companyWaitSeconds = 600;   ///< how long a batch waits for a company that another import holds
    int historyKeepDays = 365;      ///< how long the results of imports are kept; 0: for ever
    QString robotHost;
    int robotPort = 0;
    int userId = 0;
    QString userName;
    QString userLogin;
    QString siteId; ///< identity of the site, which its database and its store have too; empty: not given yet
    QString backupMoment; ///< of a backup: what moment its rows are of; empty: a site that is worked with
};

/// Where the configuration lies: explicitPath if not empty, then $ZAV_CONFIG; without both, the first of
/// defaultConfigurationPaths() where there is a file, or the first of them.
QString configurationPath(const QString& explicitPath);

/// The places that are looked at where none is named: the user's, in the XDG configuration folder, and the
/// machine's, /etc/zav_import/zav.ini.
QStringList defaultConfigurationPaths();

/// The folder of a new site's data where none is named: in the XDG data folder.
QString defaultDataRoot();

/// Reads and checks a configuration file. A failure names file, key and what is accepted.
Result<Settings> loadSettings(const QString& path);

/// Writes a configuration file with working defaults (mode 0600), data under the XDG data folder, or under
/// dataRoot where that is not empty. Refuses to replace an existing file.
Status createDefaultSettings(const QString& path, const QString& dataRoot = {});

/// Makes the folders of the two caches where they are missing, mode 0700.
Status makeFolders(const Settings& settings);

/// Reads, or checks and writes, a single key ("section/key") of a configuration file. Reading gives what is
/// in force: paths absolute, the default where the key is absent. A value that would make the file unusable
/// is refused (InvalidArgument), and the file stays as it was; comments and other lines are kept.
Result<QString> readSetting(const QString& path, const QString& key);
Status writeSetting(const QString& path, const QString& key, const QString& value);

/// Keys ("section/key") and values of a configuration, in an order in which they can be written one by one.
using SettingValues = std::vector<std::pair<QString, QString>>;

/// The same of several keys at once, all of them or none: the file must be usable with all of them.
Status writeSettings(const QString& path, const SettingValues& values);
/// The settings that the file would then make; it stays as it is.
Result<Settings> settingsWith(const QString& path, const SettingValues& values);
/// Whether a value is accepted for a key, whatever else the file says; InvalidArgument.
Status checkSetting(const QString& key, const QString& value);

/// Writes the identity of the site into a configuration file without one. The file keeps its permissions;
/// NotPermitted where it belongs to another user.
Status writeSiteId(const QString& path, const QString& identity);

} // namespace KOZAV::Backend
