#include "robot_server/CommandLine.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <limits>
#include <vector>

namespace KOZAV::Robot {

namespace {

struct Option
{
    const char* name;
    const char* valueName; ///< empty: it takes no value
    const char* help;
    int* number = nullptr; ///< where its value goes, if that is a whole number; holds the default
    int lowest = 0;
    int highest = std::numeric_limits<int>::max();
};

/// Reads a command line step by step; the first failure stays.
class CommandLineReader final
{
public:
    CommandLineReader();
    CommandLine read(const QStringList& arguments);

private:
    void addToParser(const Option& option);
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
    m_options = {
        {"port", "N", "Port to listen on; 0 takes any free one. The port in use is the first line printed.",
         &m_port, 0, 65535},
        {"listen", "ADDRESS", "Numeric address to listen on, 0.0.0.0 or :: for all. Default: 127.0.0.1."},
        {"allow", "ADDRESS[/BITS]", "Take this peer only, or this network; can be given again."},
        {"log", "FILE", "Append a JSON line for each document to FILE."},
        {"log-size", "BYTES", "Size beyond which the log is put aside, as FILE.1.", &m_line.log.maxBytes,
         4096},
        {"log-files", "N", "Logs that were put aside and are kept.", &m_line.log.oldFiles, 1, 1000},
        {"reply", "TEXT", "Send TEXT as it stands after each document, in place of the robot's own answer."},
        {"silent", "", "Read and never answer."},
        {"delay", "MS", "Time from a document to its answer.", &server.replyDelayMs},
        {"refuse", "", "Hold the port and listen to nobody: connections are refused."},
        {"hang-up", "", "Accept each connection and close it at once."},
        {"never-accept", "", "Listen and accept nobody: connections stand, and nothing is read."},
        {"max-requests", "N", "End after so many documents have been taken and answered; 0: never.",
         &server.maxRequests},
        {"max-connections", "N", "Most connections at a time.", &server.maxConnections, 1, 10000},
        {"max-per-peer", "N", "Most connections at a time from one address; of IPv6, from one /64 network.",
         &server.maxPerPeer, 1, 10000},
        {"max-bytes", "N", "Most bytes of a document.", &server.json.maxBytes, 2, 1 << 30},
        {"max-depth", "N", "Most levels of objects and arrays.", &server.json.maxDepth, 1, 1000},
        {"idle-timeout", "MS", "Time without a byte of a document after which a connection is closed.",
         &server.idleTimeoutMs, 1},
        {"document-timeout", "MS", "Time from a document's first byte to its last.",
         &server.documentTimeoutMs, 1},
    };
    m_parser.setApplicationDescription(QStringLiteral("Stand-in for the CAM robot: takes job requests over "
                                                      "TCP, prints and logs them, processes no job. There is "
                                                      "no login: listen on a trusted network only."));
    m_parser.addOption({{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Print this help.")});
    m_parser.addVersionOption();
    for (const Option& option : m_options)
        addToParser(option);
}

void CommandLineReader::addToParser(const Option& option)
{
    QString help = QLatin1String(option.help);
    QString defaultValue;
    if (option.number) {
        defaultValue = QString::number(*option.number);
        help += QStringLiteral(" Default: %1.").arg(defaultValue);
    }
    m_parser.addOption({QLatin1String(option.name), help, QLatin1String(option.valueName), defaultValue});
}

CommandLine CommandLineReader::read(const QStringList& arguments)
{
    if (!m_parser.parse(arguments)) {
        m_line.failure = m_parser.errorText();
    } else if (isSet("help")) {
        m_line.information = m_parser.helpText();
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
    if (!option.number)
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

CommandLine parseCommandLine(const QStringList& arguments)
{
    return CommandLineReader().read(arguments);
}

} // namespace KOZAV::Robot
