// The command line is read before there is a QApplication, which needs a display and would end the program
// without one: help, versions and refusals work everywhere. QApplication takes its own options off the line
// later on; they are declared here so that they pass, and are not shown.

#include "host/CommandLine.h"

#include "host/core/RunReportFile.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QTextStream>

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace KOZAV::Host {

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

QCommandLineOption flag(const char* name, const char* description)
{
    return {QString::fromLatin1(name), QString::fromLatin1(description)};
}

QCommandLineOption valueOption(const char* name, const char* description, const char* valueName)
{
    return {QString::fromLatin1(name), QString::fromLatin1(description), QString::fromLatin1(valueName)};
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
    void addQtOptions();
    /// Why the parsed line cannot be followed; empty where it can.
    [[nodiscard]] QString refusal() const;
    [[noreturn]] static void refuse(const QString& reason);

    QCommandLineParser m_parser;
    QCommandLineOption m_help = {{QStringLiteral("h"), QStringLiteral("help")},
                                 QStringLiteral("Displays help on commandline options.")};
    QCommandLineOption m_version = {{QStringLiteral("v"), QStringLiteral("version")},
                                    QStringLiteral("Displays version information.")};
    QCommandLineOption m_configuration = valueOption("config", "Configuration file.", "FILE");
    QCommandLineOption m_batch =
        valueOption("batch",
                    "Import a batch directory through the panel, print what became of every entry, and "
                    "end. Exit code: 0 all imported, 1 not all, or unknown of some, or the report could "
                    "not be written, 2 not started.",
                    "DIR");
    QCommandLineOption m_check = valueOption(
        "check",
        "Print what --batch would make of a batch directory, and change nothing. Exit code: 0 all "
        "would be imported, 1 not all, or that is not known, 2 not started.",
        "DIR");
    QCommandLineOption m_json =
        flag("json", "With --batch or --check: print the report as one JSON document; "
                     "all else goes to the standard error.");
    QCommandLineOption m_skipKnown =
        flag("skip-known", "With --batch: leave out what the site has whole, by its content, so that a batch "
                           "can be run again until all of it is imported.");
    QCommandLineOption m_allowLinks =
        flag("allow-links", "With --batch or --check: import what links that lead out of DIR lead to, too.");
    QCommandLineOption m_report =
        valueOption("report",
                    "With --batch: write the report into FILE as well, whose suffix says its form: .csv for "
                    "spreadsheets, .json as --json prints it, or .html to print.",
                    "FILE");
    QCommandLineOption m_importJob =
        valueOption("import",
                    "Import a waiting job through the job list panel and send it to the robot, and "
                    "end. Exit code: 0 sent, 1 not sent, 2 not started.",
                    "JOB");
    QCommandLineOption m_mode = valueOption("mode", "With --import: the panel's mode (default -1).", "N");
    QCommandLineOption m_screenshots =
        valueOption("screenshots", "With --batch or --import: write pictures of the window to DIR.", "DIR");
    QCommandLineOption m_robot = flag("robot", "Start a stand-in of the CAM robot inside, where the "
                                               "configuration says that the robot is.");
};

Reader::Reader()
{
    m_parser.setApplicationDescription(QStringLiteral(
        "Desktop client: imports jobs, lists and opens them.\n"
        "--batch, --check and --import show no window and need no display, unless QT_QPA_PLATFORM or\n"
        "-platform says where. Qt's own options, such as -style, are taken too."));
    // Qt's own options have one dash and many letters.
    m_parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    m_parser.addOptions({m_help, m_version, m_configuration, m_batch, m_check, m_json, m_skipKnown,
                         m_allowLinks, m_report, m_importJob, m_mode, m_screenshots, m_robot});
    addQtOptions();
}

void Reader::addQtOptions()
{
    const auto add = [this](QCommandLineOption option) {
        option.setFlags(QCommandLineOption::HiddenFromHelp);
        m_parser.addOption(option);
    };
    for (const char* const name : qtOptions)
        add(valueOption(name, "", "VALUE"));
    for (const char* const name : qtFlags)
        add(flag(name, ""));
}

CommandLine Reader::read(const QStringList& arguments)
{
    if (!m_parser.parse(arguments))
        refuse(m_parser.errorText());
    if (m_parser.isSet(m_help))
        m_parser.showHelp();
    if (m_parser.isSet(m_version))
        m_parser.showVersion();
    if (const QString reason = refusal(); !reason.isEmpty())
        refuse(reason);

    CommandLine line;
    if (m_parser.isSet(m_batch))
        line.task = CommandLine::Task::ImportBatch;
    else if (m_parser.isSet(m_check))
        line.task = CommandLine::Task::CheckBatch;
    else if (m_parser.isSet(m_importJob))
        line.task = CommandLine::Task::ImportJob;
    line.configuration = absolute(m_parser.value(m_configuration));
    line.batchDirectory = absolute(m_parser.value(m_parser.isSet(m_check) ? m_check : m_batch));
    line.json = m_parser.isSet(m_json);
    line.skipKnown = m_parser.isSet(m_skipKnown);
    line.allowLinks = m_parser.isSet(m_allowLinks);
    line.report = absolute(m_parser.value(m_report));
    line.importJob = m_parser.value(m_importJob);
    if (m_parser.isSet(m_mode))
        line.mode = m_parser.value(m_mode).toInt();
    line.screenshots = absolute(m_parser.value(m_screenshots));
    line.robot = m_parser.isSet(m_robot);
    line.platformChosen = m_parser.isSet(QStringLiteral("platform"));
    return line;
}

QString Reader::refusal() const
{
    if (const QStringList stray = m_parser.positionalArguments(); !stray.isEmpty())
        return QStringLiteral("\"%1\" is not an option").arg(stray.first());
    QStringList tasks;
    for (const QCommandLineOption& option : {m_batch, m_check, m_importJob}) {
        if (m_parser.isSet(option))
            tasks << QStringLiteral("--%1").arg(option.names().constFirst());
    }
    if (tasks.size() > 1)
        return QStringLiteral("%1 and %2 exclude each other").arg(tasks.first(), tasks.last());
    for (const QCommandLineOption& option : {m_json, m_allowLinks}) {
        if (m_parser.isSet(option) && !m_parser.isSet(m_batch) && !m_parser.isSet(m_check))
            return QStringLiteral("--%1 goes with --batch or --check").arg(option.names().constFirst());
    }
    for (const QCommandLineOption& option : {m_skipKnown, m_report}) {
        if (m_parser.isSet(option) && !m_parser.isSet(m_batch))
            return QStringLiteral("--%1 goes with --batch").arg(option.names().constFirst());
    }
    if (m_parser.isSet(m_report) && !reportFormOf(m_parser.value(m_report)))
        return QStringLiteral("--report takes a file whose name ends in .%1")
            .arg(reportSuffixes().join(QStringLiteral(", .")));
    if (m_parser.isSet(m_mode) && !m_parser.isSet(m_importJob))
        return QStringLiteral("--mode goes with --import");
    bool isNumber = true;
    if (m_parser.isSet(m_mode))
        (void)m_parser.value(m_mode).toInt(&isNumber);
    return isNumber ? QString() : QStringLiteral("--mode takes a whole number");
}

void Reader::refuse(const QString& reason)
{
    QTextStream(stderr) << "zav_client: " << reason << '\n';
    std::exit(notStarted);
}

} // namespace

CommandLine readCommandLine(int argc, char** argv)
{
    // Decodes the arguments, and gives the parser the program's name. It may change what it is given.
    std::vector<char*> arguments(argv, argv + argc + 1);
    const QCoreApplication reading(argc, arguments.data());
    return Reader().read(QCoreApplication::arguments());
}

} // namespace KOZAV::Host
