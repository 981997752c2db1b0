// The command line is read before there is a QApplication, which needs a display and would end the program
// without one: help, versions and refusals work everywhere. QApplication takes its own options off the line
// later on; they are declared here so that they pass, and are not described.

#include "host/CommandLine.h"

#include "host/core/RunReportFile.h"
#include "terminal/HelpText.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QTextStream>

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace KOZAV::Host {

using Terminal::CommandOption;
using Terminal::ValueKind;

namespace {

/// Options that QApplication takes off the command line for itself, with a value ...
constexpr const char* qtOptions[] = {"platform",
                                     "platformpluginpath",
                                     "platformtheme",
                                     "plugin",
                                     "qwindowgeometry",
                                     "geometry",
                                     "qwindowicon",
                                     "icon",
                                     "qwindowtitle",
                                     "title",
                                     "session",
                                     "style",
                                     "stylesheet",
                                     "display",
                                     "name"};
/// ... and without one.
constexpr const char* qtFlags[] = {"reverse", "testability", "widgetcount", "nograb", "dograb"};

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

QString absolute(const QString& path)
{
    return path.isEmpty() ? path : QFileInfo(path).absoluteFilePath();
}

class Reader final
{
public:
    Reader();
    CommandLine read(const QStringList& arguments);

private:
    /// Why the parsed line cannot be followed; empty where it can.
    [[nodiscard]] QString refusal() const;
    [[noreturn]] static void refuse(const QString& reason);
    /// Ends the program with what was asked for.
    [[noreturn]] static void end(const QString& text);

    [[nodiscard]] bool isSet(const char* name) const { return m_parser.isSet(QLatin1String(name)); }
    [[nodiscard]] QString value(const char* name) const { return m_parser.value(QLatin1String(name)); }

    QCommandLineParser m_parser;
};

Reader::Reader()
{
    // Qt's own options have one dash and many letters.
    m_parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    for (const CommandOption& option : options())
        m_parser.addOption(Terminal::parserOption(option));
    for (const char* const name : qtOptions)
        m_parser.addOption(Terminal::parserOption(valueOption(name, "VALUE", "")));
    for (const char* const name : qtFlags)
        m_parser.addOption(Terminal::parserOption(flag(name, "")));
}

CommandLine Reader::read(const QStringList& arguments)
{
    if (!m_parser.parse(arguments))
        refuse(m_parser.errorText());
    if (isSet("help"))
        end(Terminal::programHelp(commandDescription()));
    if (isSet("version"))
        end(QStringLiteral("zav_client %1\n").arg(QCoreApplication::applicationVersion()));
    if (const QString reason = refusal(); !reason.isEmpty())
        refuse(reason);

    CommandLine line;
    if (isSet("batch"))
        line.task = CommandLine::Task::ImportBatch;
    else if (isSet("check"))
        line.task = CommandLine::Task::CheckBatch;
    else if (isSet("import"))
        line.task = CommandLine::Task::ImportJob;
    line.configuration = absolute(value("config"));
    line.batchDirectory = absolute(value(isSet("check") ? "check" : "batch"));
    line.json = isSet("json");
    line.skipKnown = isSet("skip-known");
    line.allowLinks = isSet("allow-links");
    line.report = absolute(value("report"));
    line.importJob = value("import");
    if (isSet("mode"))
        line.mode = value("mode").toInt();
    line.screenshots = absolute(value("screenshots"));
    line.robot = isSet("robot");
    line.platformChosen = isSet("platform");
    return line;
}

QString Reader::refusal() const
{
    if (const QStringList stray = m_parser.positionalArguments(); !stray.isEmpty())
        return QStringLiteral("\"%1\" is not an option").arg(stray.first());
    QStringList tasks;
    for (const char* const task : {"batch", "check", "import"}) {
        if (isSet(task))
            tasks << QStringLiteral("--%1").arg(QLatin1String(task));
    }
    if (tasks.size() > 1)
        return QStringLiteral("%1 and %2 exclude each other").arg(tasks.first(), tasks.last());
    for (const char* const option : {"json", "allow-links"}) {
        if (isSet(option) && !isSet("batch") && !isSet("check"))
            return QStringLiteral("--%1 goes with --batch or --check").arg(QLatin1String(option));
    }
    for (const char* const option : {"skip-known", "report"}) {
        if (isSet(option) && !isSet("batch"))
            return QStringLiteral("--%1 goes with --batch").arg(QLatin1String(option));
    }
    if (isSet("report") && !reportFormOf(value("report")))
        return QStringLiteral("--report takes a file whose name ends in .%1")
            .arg(reportSuffixes().join(QStringLiteral(", .")));
    if (isSet("mode") && !isSet("import"))
        return QStringLiteral("--mode goes with --import");
    bool isNumber = true;
    if (isSet("mode"))
        (void)value("mode").toInt(&isNumber);
    return isNumber ? QString() : QStringLiteral("--mode takes a whole number");
}

void Reader::refuse(const QString& reason)
{
    QTextStream(stderr) << "zav_client: " << reason << '\n';
    std::exit(notStarted);
}

void Reader::end(const QString& text)
{
    QTextStream out(stdout);
    out << text << Qt::flush;
    if (out.status() == QTextStream::Ok)
        std::exit(0);
    QTextStream(stderr) << "zav_client: the standard output cannot be written\n";
    std::exit(1);
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

CommandLine readCommandLine(int argc, char** argv)
{
    // Decodes the arguments, and gives the parser the program's name. It may change what it is given.
    std::vector<char*> arguments(argv, argv + argc + 1);
    const QCoreApplication reading(argc, arguments.data());
    return Reader().read(QCoreApplication::arguments());
}

} // namespace KOZAV::Host
