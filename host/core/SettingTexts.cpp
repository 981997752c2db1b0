#include "host/core/SettingTexts.h"

#include <QCoreApplication>

#include <algorithm>
#include <iterator>

namespace KOZAV::Host {

namespace {

constexpr const char* context = "KOZAV::Host::SettingTexts";

// As the rules of the keys have them: lupdate reads them here. Some are broken by the length of a line.
// NOLINTBEGIN(bugprone-suspicious-missing-comma)
constexpr const char* meanings[] = {
    QT_TRANSLATE_NOOP(
        "KOZAV::Host::SettingTexts",
        "the engine of the rows: QSQLITE, a file on this machine, or QMYSQL, a MariaDB or MySQL server"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the path of the SQLite database"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts",
                      "the name or address of the MariaDB or MySQL server, without blanks"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the port of the server"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the name of the database on the server"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the account on the server"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the path of a file whose first line is the password"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the longest wait for a connection to the server"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the longest wait for an answer of the server"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the longest wait for the server to take what is sent"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts",
                      "the longest wait for another writer of the SQLite database"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts",
                      "the path of the certificate of the authority that signed the server's"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "whether a server on another machine, which otherwise "
                                                   "needs tls_ca, may be spoken to without encryption"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts",
                      "the kind of the store: local, a folder, or mongodb, GridFS on a MongoDB server"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the path of the store's folder"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the connection to the MongoDB server"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts",
                      "the path of a file whose first line is the password of the URI's user"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts",
                      "the first of the two names of where stored files lie, with either kind: mongoDbName"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the second of these names: mongoFsName"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "whether a server on another machine, which otherwise "
                                                   "needs TLS, may be spoken to without encryption"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the path of the folder that imports are staged in"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the path of the folder that receives fetched files"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts",
                      "how long a batch import waits for a server that does not answer, before it gives up"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts",
                      "how long a batch import waits for a company that another import holds"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts",
                      "how long the results of imports are kept with the site, or 0 for ever"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts",
                      "the address or name of the CAM robot server, without blanks"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the port of the CAM robot server"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the number of the operator, which rows carry"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the operator's name as it is shown"),
    QT_TRANSLATE_NOOP("KOZAV::Host::SettingTexts", "the name that the operator logs in with"),
    QT_TRANSLATE_NOOP(
        "KOZAV::Host::SettingTexts",
        "the identity of the site, written by zav_admin init; its database and its store have the same"),
    QT_TRANSLATE_NOOP(
        "KOZAV::Host::SettingTexts",
        "the moment of the rows, written by zav_admin backup: nothing is imported into a backup"),
};
// NOLINTEND(bugprone-suspicious-missing-comma)

} // namespace

QString settingMeaning(const QString& meaning)
{
    QString text = QCoreApplication::translate(context, meaning.toUtf8().constData());
    if (!text.isEmpty())
        text[0] = text.at(0).toUpper();
    return text;
}

bool isTranslatable(const QString& meaning)
{
    return std::any_of(std::begin(meanings), std::end(meanings),
                       [&meaning](const char* known) { return meaning == QLatin1String(known); });
}

QString settingUnit(const QString& unit)
{
    if (unit == QLatin1String("seconds"))
        return QCoreApplication::translate("KOZAV::Host::SettingTexts", "seconds");
    if (unit == QLatin1String("milliseconds"))
        return QCoreApplication::translate("KOZAV::Host::SettingTexts", "milliseconds");
    if (unit == QLatin1String("days"))
        return QCoreApplication::translate("KOZAV::Host::SettingTexts", "days");
    return unit;
}

} // namespace KOZAV::Host
