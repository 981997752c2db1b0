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
    for (const Terminal::CommandOption& option : commandDescription().options)
        m_parser.addOption(Terminal::parserOption(option));
    for (const char* const name : qtOptions)
        m_parser.addOption({QString::fromLatin1(name), {}, QStringLiteral("VALUE")});
    for (const char* const name : qtFlags)
        m_parser.addOption(QCommandLineOption(QString::fromLatin1(name)));
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

CommandLine readCommandLine(int argc, char** argv)
{
    // Decodes the arguments, and gives the parser the program's name. It may change what it is given.
    std::vector<char*> arguments(argv, argv + argc + 1);
    const QCoreApplication reading(argc, arguments.data());
    return Reader().read(QCoreApplication::arguments());
}

} // namespace KOZAV::Host
