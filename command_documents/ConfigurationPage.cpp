#include "command_documents/ConfigurationPage.h"

#include "backend/config/SettingRules.h"

namespace KOZAV::CommandDocuments {

namespace {

using Backend::SettingRule;
using Terminal::ManPage;

/// "Database" of "database/host".
QString sectionOf(const SettingRule& rule)
{
    return QString::fromLatin1(rule.key).section(QLatin1Char('/'), 0, 0);
}

QString whereAbsent(const SettingRule& rule)
{
    if (rule.need.always)
        return QStringLiteral("Required.");
    if (rule.need.choice != nullptr)
        return QStringLiteral("Required with %1 = %2.")
            .arg(QLatin1String(rule.need.choice), QLatin1String(rule.need.value));
    return rule.defaultValue().isEmpty() ? QStringLiteral("Optional.")
                                         : QStringLiteral("Otherwise %1.").arg(rule.defaultValue());
}

void addKeys(ManPage& page)
{
    page.section(QStringLiteral("KEYS"));
    QString section;
    for (const SettingRule& rule : Backend::settingRules()) {
        if (sectionOf(rule) != section) {
            section = sectionOf(rule);
            page.subsection(QLatin1Char('[') + section + QLatin1Char(']'));
        }
        page.term(QString::fromLatin1(rule.key).section(QLatin1Char('/'), 1),
                  QStringLiteral("%1 Accepted: %2. %3").arg(rule.sentence(), rule.form(), whereAbsent(rule)));
    }
}

void addFormat(ManPage& page)
{
    page.section(QStringLiteral("FORMAT"));
    page.paragraph(QStringLiteral(
        "An INI file in UTF-8, with or without a byte order mark, of at most 1 MiB. A line is a section in "
        "square brackets, a key with its value, or a comment that begins with a semicolon; behind a blank a "
        "semicolon begins a comment as well. Each section and each key stands once."));
    page.paragraph(QStringLiteral(
        "A text with a comma, a semicolon, a double quote or \" #\" stands in double quotes. A backslash is "
        "written twice. Relative paths are relative to the folder of the file. A flag may be 1 or 0 as "
        "well."));
    page.paragraph(QStringLiteral(
        "Whatever is not understood is refused, with file, line, key, what was found and what is accepted. "
        "Nothing is replaced silently. A change is seen at the next operation, without a new start; "
        "zav_admin config set changes one key and refuses what would make the file unusable."));
}

void addPasswords(ManPage& page)
{
    page.section(QStringLiteral("PASSWORDS"));
    page.paragraph(QStringLiteral(
        "The password of a server is the first line of the file that its password_file names; where none is "
        "named it is in the environment variable ZAV_DATABASE_PASSWORD or ZAV_DOCUMENT_STORE_PASSWORD. A URI "
        "may hold its password itself. A password file, and a configuration that holds a password, must be "
        "readable for its owner alone (mode 0600): any other is refused. No password is taken from a command "
        "line, and none is shown."));
}

} // namespace

QByteArray configurationPage(const Terminal::ManEdition& edition)
{
    ManPage page(QStringLiteral("zav.ini"), 5, QStringLiteral("File Formats"),
                 QStringLiteral("configuration of a site of imported PCB jobs"), edition);
    page.section(QStringLiteral("DESCRIPTION"));
    page.paragraph(QStringLiteral(
        "Says where the rows and the stored files of a site lie, where the CAM robot is, and who the "
        "operator is. All programs of a site read it. The first of these that is given:"));
    const std::vector<Terminal::NamedText> places = {
        {QStringLiteral("--config FILE"), QStringLiteral("The option of zav_client and zav_admin.")},
        {QStringLiteral("ZAV_CONFIG"), QStringLiteral("The environment variable.")},
        {QStringLiteral("~/.config/zav_import/zav.ini"),
         QStringLiteral("Where it is there; XDG_CONFIG_HOME stands for ~/.config.")},
        {QStringLiteral("/etc/zav_import/zav.ini"), QStringLiteral("One for all users of the machine.")}};
    for (const Terminal::NamedText& place : places)
        page.term(place.name, place.text);
    page.paragraph(QStringLiteral("zav_admin init makes the file, and the site with it. Where there is none, "
                                  "every program refuses to work."));
    addFormat(page);
    addKeys(page);
    addPasswords(page);
    page.section(QStringLiteral("EXAMPLES"));
    page.paragraph(QStringLiteral("A site on this machine:"));
    page.literal(QStringLiteral("[database]\n"
                                "driver = QSQLITE\n"
                                "file = /srv/zav/site.db\n"
                                "[document_store]\n"
                                "kind = local\n"
                                "root = /srv/zav/store\n"
                                "database = zav_import\n"
                                "file_store = odbpp\n"
                                "[cache]\n"
                                "upload = /srv/zav/upload\n"
                                "download = /srv/zav/download\n"
                                "[robot]\n"
                                "host = 192.0.2.7\n"
                                "port = 9098\n"
                                "[user]\n"
                                "id = 1\n"
                                "name = \"Byron, Ada\""));
    page.seeAlso(
        {QStringLiteral("zav_admin(1)"), QStringLiteral("zav_client(1)"), QStringLiteral("zav_import(7)")});
    return page.source();
}

} // namespace KOZAV::CommandDocuments
