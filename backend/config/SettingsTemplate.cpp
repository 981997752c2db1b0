#include "backend/config/SettingsTemplate.h"

#include "backend/config/IniValue.h"

namespace KOZAV::Backend {

namespace {

const char* const pattern = R"(; Configuration of the job import: rows, stored files, robot and operator.
; Relative paths are relative to the folder of this file. A text with a comma, a semicolon or a double quote stands
; in double quotes; a backslash is written twice. Changes are seen at once, without a new start.

[database]
; QSQLITE: a file on this machine. QMYSQL: a MariaDB or MySQL server.
driver = QSQLITE
file = %1
; Longest wait for another writer of the file, in milliseconds.
;busy_timeout = 2000
; With QMYSQL. The password is the first line of a file of its own, never in this one.
;host = 127.0.0.1
;port = 3306
;name = zav_import
;user = zav_import
;password_file = database.password
;connect_timeout = 3
;read_timeout = 30
;write_timeout = 30
; A server that is not on this machine needs the certificate of its authority, or the explicit permission.
;tls_ca = ca.pem
;allow_plaintext = false

[document_store]
; local: a folder. mongodb: GridFS.
kind = local
root = %2
; The two texts that say where stored files lie, in either kind.
database = zav_import
file_store = odbpp
; With mongodb.
;uri = mongodb://127.0.0.1:27017/
;password_file = document-store.password
;allow_plaintext = false

[cache]
; Archives pass through the first on their way into the store; fetched files arrive in the second.
upload = %3
download = %4

[robot]
; The CAM robot server.
host = 127.0.0.1
port = 9098

[user]
; The operator whom rows are written for.
id = 1
name = %5
login = %5
)";

QString under(const QString& root, const char* name)
{
    return encodeIniValue(root + QLatin1Char('/') + QLatin1String(name));
}

} // namespace

QByteArray defaultSettingsText(const QString& dataRoot, const QString& userName)
{
    return QString::fromUtf8(pattern)
        .arg(under(dataRoot, "site.db"), under(dataRoot, "store"), under(dataRoot, "upload"),
             under(dataRoot, "download"), encodeIniValue(userName))
        .toUtf8();
}

} // namespace KOZAV::Backend
