#include "robot_server/CommandLine.h"

#include "terminal/HelpText.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <limits>
#include <vector>

namespace KOZAV::Robot {

namespace {

using Terminal::CommandOption;

struct Option
{
    const char* name;
    const char* valueName; ///< empty: it takes no value
    const char* help;
    int* number = nullptr; ///< where its value goes, if that is a whole number; holds the default
    int lowest = 0;
    int highest = std::numeric_limits<int>::max();
    Terminal::ValueKind kind = Terminal::ValueKind::Text;
    bool repeated = false;
};

CommandOption described(const Option& option)
{
    CommandOption made{QLatin1String(option.name), QLatin1String(option.valueName),
                       QLatin1String(option.help)};
    if (option.number)
        made.help += QStringLiteral("; otherwise %1").arg(*option.number);
    made.kind = option.kind;
    made.repeated = option.repeated;
    return made;
}

/// Reads a command line step by step; the first failure stays.
class CommandLineReader final
{
public:
    CommandLineReader();
    CommandLine read(const QStringList& arguments);
    /// All options with their defaults, before anything is read.
    [[nodiscard]] std::vector<CommandOption> options() const;

private:
    void readNumber(const Option& option);
    void readAddresses();
    void readReception();
    void readReplyAndLog();
    [[nodiscard]] bool isSet(const char* name) const { return m_parser.isSet(QLatin1String(name)); }
    [[nodiscard]] QString value(const char* name) const { return m_parser.value(QLatin1String(name)); }
    void failIf(bool failed, const QString& failure);

    CommandLine m_line;
    int m_port = 0;
    std::vector<Option> m_options;
    QCommandLineParser m_parser;
};

CommandLineReader::CommandLineReader()
{
    RobotServerOptions& server = m_line.server;
    constexpr int anyNumber = std::numeric_limits<int>::max();
    m_options = {
        {"port", "N", "port to listen on, told by the first line printed, or 0 for any free one", &m_port, 0,
         65535},
        {"listen", "ADDRESS", "numeric address to listen on, 0.0.0.0 or :: for all; otherwise 127.0.0.1"},
        {"allow", "ADDRESS[/BITS]", "take this peer only, or this network; can be given again", nullptr, 0,
         anyNumber, Terminal::ValueKind::Text, true},
        {"log", "FILE", "append a JSON line for each document to FILE", nullptr, 0, anyNumber,
         Terminal::ValueKind::File},
        {"log-size", "BYTES", "size beyond which the log is put aside, as FILE.1", &m_line.log.maxBytes,
         4096},
        {"log-files", "N", "logs that were put aside and are kept", &m_line.log.oldFiles, 1, 1000},
        {"reply", "TEXT", "send TEXT as it stands after each document, in place of the robot's own answer"},
        {"silent", "", "read and never answer"},
        {"delay", "MS", "time from a document to its answer", &server.replyDelayMs},
        {"refuse", "", "hold the port and listen to nobody: connections are refused"},
        {"hang-up", "", "accept each connection and close it at once"},
        {"never-accept", "", "listen and accept nobody: connections stand, and nothing is read"},
        {"max-requests", "N", "end after so many documents have been taken and answered, 0 for never",
         &server.maxRequests},
        {"max-connections", "N", "most connections at a time", &server.maxConnections, 1, 10000},
        {"max-per-peer", "N", "most connections at a time from one address; of IPv6, from one /64 network",
         &server.maxPerPeer, 1, 10000},
        {"max-bytes", "N", "most bytes of a document", &server.json.maxBytes, 2, 1 << 30},
        {"max-depth", "N", "most levels of objects and arrays", &server.json.maxDepth, 1, 1000},
        {"idle-timeout", "MS", "time without a byte of a document after which a connection is closed",
         &server.idleTimeoutMs, 1},
        {"document-timeout", "MS", "time from a document's first byte to its last", &server.documentTimeoutMs,
         1},
    };
    for (const CommandOption& option : options())
        m_parser.addOption(Terminal::parserOption(option));
}

std::vector<CommandOption> CommandLineReader::options() const
{
    std::vector<CommandOption> all = {Terminal::helpOption(), Terminal::versionOption()};
    for (const Option& option : m_options)
        all.push_back(described(option));
    return all;
}

CommandLine CommandLineReader::read(const QStringList& arguments)
{
    if (!m_parser.parse(arguments)) {
        m_line.failure = m_parser.errorText();
    } else if (isSet("help")) {
        m_line.information = Terminal::programHelp(commandDescription());
    } else if (isSet("version")) {
        m_line.information = QStringLiteral("zav_robot %1\n").arg(QCoreApplication::applicationVersion());
    } else {
        const QString stray = m_parser.positionalArguments().value(0);
        failIf(!m_parser.positionalArguments().isEmpty(),
               QStringLiteral("unexpected argument '%1'").arg(stray));
        for (const Option& option : m_options)
            readNumber(option);
        m_line.server.port = static_cast<quint16>(m_port);
        readAddresses();
        readReception();
        readReplyAndLog();
    }
    return m_line;
}

void CommandLineReader::readNumber(const Option& option)
{
    if (!option.number || !isSet(option.name))
        return;
    const QString text = value(option.name);
    bool isNumber = false;
    *option.number = text.toInt(&isNumber);
    failIf(!isNumber || *option.number < option.lowest || *option.number > option.highest,
           QStringLiteral("--%1 needs a number from %2 to %3, not '%4'")
               .arg(QLatin1String(option.name), QString::number(option.lowest),
                    QString::number(option.highest), text));
}

void CommandLineReader::readAddresses()
{
    failIf(isSet("listen") && !m_line.server.address.setAddress(value("listen")),
           QStringLiteral("--listen needs a numeric address, not '%1'").arg(value("listen")));
    for (const QString& peer : m_parser.values(QStringLiteral("allow"))) {
        const Subnet subnet = QHostAddress::parseSubnet(peer);
        failIf(subnet.first.isNull(),
               QStringLiteral("--allow needs an address or a network, not '%1'").arg(peer));
        m_line.server.allowedPeers.push_back(subnet);
    }
}

void CommandLineReader::readReception()
{
    int given = 0;
    const auto read = [&](const char* name, Reception reception) {
        if (!isSet(name))
            return;
        ++given;
        m_line.server.reception = reception;
    };
    read("refuse", Reception::Refuse);
    read("hang-up", Reception::HangUp);
    read("never-accept", Reception::NeverAccept);
    failIf(given > 1, QStringLiteral("--refuse, --hang-up and --never-accept exclude each other"));
}

void CommandLineReader::readReplyAndLog()
{
    m_line.server.silent = isSet("silent");
    if (isSet("reply"))
        m_line.server.reply = value("reply").toUtf8();
    failIf(isSet("reply") && isSet("silent"), QStringLiteral("--reply and --silent exclude each other"));
    m_line.logFile = value("log");
    failIf(isSet("log") && m_line.logFile.isEmpty(), QStringLiteral("--log needs the name of a file"));
}

void CommandLineReader::failIf(bool failed, const QString& failure)
{
    if (failed && m_line.failure.isEmpty())
        m_line.failure = failure;
}

} // namespace

Terminal::CommandDescription commandDescription()
{
    Terminal::CommandDescription robot;
    robot.program = QStringLiteral("zav_robot");
    robot.summary = QStringLiteral("stand-in for the CAM robot");
    robot.usages.push_back({QStringLiteral("[OPTION...]")});
    robot.paragraphs = QStringList{
        QStringLiteral("Takes job requests over TCP as the CAM robot does, prints and logs them, and "
                       "processes no job. There is no login: listen on a trusted network only."),
        QStringLiteral("The first line that is printed is the port in use, each one that follows tells of "
                       "a document. SIGINT, SIGTERM and SIGHUP end it, the second one at once.")};
    robot.options = CommandLineReader().options();
    robot.exitCodes = {
        {EndedAsAskedFor, QStringLiteral("ended as asked for: by a signal or --max-requests")},
        {WriteFailure, QStringLiteral("a line could not be printed or logged")},
        {StartFailure, QStringLiteral("not started: wrong option, port taken, log not to be opened, or too "
                                      "few files may be open")},
    };
    robot.environment = {Terminal::colourVariable()};
    robot.examples = {
        {QStringLiteral("zav_robot --port 9098 --log requests.log"),
         QStringLiteral("Takes requests where a new site looks for the robot, and logs them.")},
        {QStringLiteral("zav_robot --port 9098 --silent"),
         QStringLiteral("Never answers, for a trial of what the clients do then.")},
    };
    robot.seeAlso = QStringList{QStringLiteral("zav_client(1)"), QStringLiteral("zav_admin(1)"),
                                QStringLiteral("zav_import(7)")};
    return robot;
}

CommandLine parseCommandLine(const QStringList& arguments)
{
    return CommandLineReader().read(arguments);
}

} // namespace KOZAV::Robot
