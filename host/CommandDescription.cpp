// What zav_client says of its command line. The program that writes man pages and completions is compiled
// with this source alone, so nothing else of the client is used here.

#include "host/CommandLine.h"

namespace KOZAV::Host {

namespace {

using Terminal::CommandOption;
using Terminal::ValueKind;

CommandOption flag(const char* name, const char* help)
{
    return {QString::fromLatin1(name), {}, QString::fromLatin1(help)};
}

CommandOption valueOption(const char* name, const char* valueName, const char* help,
                          ValueKind kind = ValueKind::Text)
{
    CommandOption made = flag(name, help);
    made.valueName = QString::fromLatin1(valueName);
    made.kind = kind;
    return made;
}

std::vector<CommandOption> options()
{
    return {
        Terminal::helpOption(),
        Terminal::versionOption(),
        valueOption("config", "FILE",
                    "configuration file; otherwise $ZAV_CONFIG, otherwise the one in the user's folder",
                    ValueKind::File),
        valueOption("batch", "DIR",
                    "import a batch directory through the panel, print what became of every entry, and end",
                    ValueKind::Directory),
        valueOption("check", "DIR",
                    "print what --batch would make of a batch directory, change nothing, and end",
                    ValueKind::Directory),
        flag("json", "with --batch or --check: print the report as one JSON document; all else goes to the "
                     "standard error"),
        flag("skip-known", "with --batch: leave out what the site has whole, by its content, so that a batch "
                           "can be run again until all of it is imported"),
        flag("allow-links", "with --batch or --check: import what links that lead out of DIR lead to, too"),
        valueOption("report", "FILE",
                    "with --batch: write the report into FILE as well, whose suffix says its form: .csv for "
                    "spreadsheets, .json as --json prints it, or .html to print",
                    ValueKind::File),
        valueOption("import", "JOB",
                    "import a waiting job through the job list panel, send it to the robot, and end"),
        valueOption("mode", "N", "with --import: the panel's mode; otherwise -1"),
        valueOption("screenshots", "DIR", "with --batch or --import: write pictures of the window to DIR",
                    ValueKind::Directory),
        flag("robot", "start a stand-in of the CAM robot inside, where the configuration says that the "
                      "robot is"),
    };
}

std::vector<QStringList> usages()
{
    const auto pieces = [](const char* line) { return QString::fromLatin1(line).split(QLatin1Char('|')); };
    return {pieces("[--config FILE]|[--robot]"),
            pieces("--batch DIR|[--skip-known]|[--allow-links]|[--json]|[--report FILE]|[--screenshots DIR]"),
            pieces("--check DIR|[--allow-links]|[--json]"),
            pieces("--import JOB|[--mode N]|[--screenshots DIR]")};
}

std::vector<Terminal::ExitCodeMeaning> exitCodes()
{
    return {
        {0, QStringLiteral("the window was closed; with --batch or --check: every entry is or would be "
                           "imported, or was left out as asked for; with --import: the job was sent")},
        {1, QStringLiteral("of some entry that is not so, or not known; the job was not sent; or the report "
                           "could not be written")},
        {notStarted, QStringLiteral("not started: the command line, the configuration or the site is at "
                                    "fault, and the reason is told")},
        {129, QStringLiteral("--batch or --check was stopped by SIGHUP: the rest is told as stopped")},
        {130, QStringLiteral("the same by SIGINT (Ctrl-C)")},
        {143, QStringLiteral("the same by SIGTERM")},
    };
}

std::vector<Terminal::NamedText> environment()
{
    std::vector<Terminal::NamedText> all = Terminal::siteEnvironment();
    all.push_back({QStringLiteral("LC_ALL, LC_MESSAGES, LANG"),
                   QStringLiteral("the window's language, where none was chosen in it: Chinese or English. "
                                  "What --batch, --check and --import print is English")});
    all.push_back({QStringLiteral("QT_QPA_PLATFORM"),
                   QStringLiteral("where the window is shown; --batch, --check and --import show none where "
                                  "it is not set")});
    all.push_back({QStringLiteral("XDG_STATE_HOME"),
                   QStringLiteral("the folder of the window's log; otherwise ~/.local/state")});
    return all;
}

std::vector<Terminal::NamedText> files()
{
    std::vector<Terminal::NamedText> all = Terminal::siteFiles();
    all.push_back({QStringLiteral("~/.local/state/zav_client/zav_client.log"),
                   QStringLiteral("the log of the windows; older ones end in .1 to .5")});
    return all;
}

} // namespace

Terminal::CommandDescription commandDescription()
{
    Terminal::CommandDescription client;
    client.program = QStringLiteral("zav_client");
    client.summary = QStringLiteral("import PCB jobs into a site, list and open them");
    client.usages = usages();
    client.paragraphs = QStringList{
        QStringLiteral("The desktop client: imports jobs, lists and opens them."),
        QStringLiteral("--batch, --check and --import show no window and need no display, unless "
                       "QT_QPA_PLATFORM or -platform says where. Qt's own options, such as -style, are taken "
                       "too.")};
    client.options = options();
    client.exitCodes = exitCodes();
    client.environment = environment();
    client.files = files();
    client.examples = {
        {QStringLiteral("zav_client"), QStringLiteral("Opens the window.")},
        {QStringLiteral("zav_client --check /data/batch"),
         QStringLiteral("Tells what a batch directory would come to, and changes nothing.")},
        {QStringLiteral("zav_client --batch /data/batch --skip-known --report batch.csv"),
         QStringLiteral("Imports what the site does not have yet, and writes a report for a spreadsheet.")},
    };
    client.seeAlso = QStringList{QStringLiteral("zav_admin(1)"), QStringLiteral("zav_robot(1)"),
                                 QStringLiteral("zav.ini(5)"), QStringLiteral("zav_import(7)")};
    return client;
}

} // namespace KOZAV::Host
