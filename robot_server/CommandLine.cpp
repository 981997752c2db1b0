#include "robot_server/CommandLine.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <limits>

namespace KOZAV::Robot {

namespace {

/// An option with a whole number for its value.
struct NumberOption
{
    QString name;
    QString valueName;
    QString help;
    int lowest;
    int highest;
    int* value; ///< holds the default
};

/// Reads a command line step by step; the first failure stays.
class CommandLineReader final
{
public:
    CommandLineReader();
    CommandLine read(const QStringList& arguments);

private:
    void addOptions();
    void readAll();
    void readNumber(const NumberOption& option);
    void readAddress();
    void readAllowedPeers();
    void readReception();
    void readReply();
    void fail(const QString& failure);

    CommandLine m_line;
    int m_port = 0;
    QCommandLineParser m_parser;
    std::vector<NumberOption> m_numbers;
};

CommandLineReader::CommandLineReader()
{
    constexpr int most = std::numeric_limits<int>::max();
    const QString ms = QStringLiteral("MS");
    const QString count = QStringLiteral("N");
    RobotServerOptions& server = m_line.server;
    m_numbers = {
        {QStringLiteral("port"), count,
         QStringLiteral(
             "Port to listen on; 0 takes any free one. The port in use is the first line printed."),
         0, 65535, &m_port},
        {QStringLiteral("delay"), ms, QStringLiteral("Time from a document to its answer."), 0, most,
         &server.replyDelayMs},
        {QStringLiteral("max-requests"), count,
         QStringLiteral("End after so many documents have been taken and answered; 0: never."), 0, most,
         &server.maxRequests},
        {QStringLiteral("max-connections"), count, QStringLiteral("Most connections at a time."), 1, 10000,
         &server.maxConnections},
        {QStringLiteral("max-bytes"), count, QStringLiteral("Most bytes of a document."), 2, 1 << 30,
         &server.json.maxBytes},
        {QStringLiteral("max-depth"), count, QStringLiteral("Most levels of objects and arrays."), 1, 1000,
         &server.json.maxDepth},
        {QStringLiteral("idle-timeout"), ms,
         QStringLiteral("Time without a byte of a document after which a connection is closed."), 1, most,
         &server.idleTimeoutMs},
        {QStringLiteral("document-timeout"), ms,
         QStringLiteral("Time from a document's first byte to its last."), 1, most,
         &server.documentTimeoutMs},
    };
    addOptions();
}

void CommandLineReader::addOptions()
{
    m_parser.setApplicationDescription(QStringLiteral("Stand-in for the CAM robot: takes job requests over "
                                                      "TCP, prints and logs them, processes no job. There is "
                                                      "no login: listen on a trusted network only."));
    m_parser.addHelpOption();
    m_parser.addVersionOption();
    for (const NumberOption& number : m_numbers) {
        const QString help = number.help + QStringLiteral(" Default: %1.").arg(*number.value);
        m_parser.addOption({number.name, help, number.valueName, QString::number(*number.value)});
    }
    const auto add = [this](const char* name, const char* help, const char* valueName = "") {
        m_parser.addOption({QLatin1String(name), QLatin1String(help), QLatin1String(valueName)});
    };
    add("listen", "Numeric address to listen on, 0.0.0.0 or :: for all. Default: 127.0.0.1.", "ADDRESS");
    add("allow", "Take this peer only, or this network; can be given again.", "ADDRESS[/BITS]");
    add("log", "Append a JSON line for each document to FILE.", "FILE");
    add("reply", "Send TEXT as it stands after each document, in place of the robot's own answer.", "TEXT");
    add("silent", "Read and never answer.");
    add("refuse", "Hold the port and listen to nobody: connections are refused.");
    add("hang-up", "Accept each connection and close it at once.");
    add("never-accept", "Listen and accept nobody: connections stand, and nothing is read.");
}

CommandLine CommandLineReader::read(const QStringList& arguments)
{
    if (!m_parser.parse(arguments))
        fail(m_parser.errorText());
    else if (m_parser.isSet(QStringLiteral("help")))
        m_line.information = m_parser.helpText();
    else if (m_parser.isSet(QStringLiteral("version")))
        m_line.information = QStringLiteral("zav_robot %1\n").arg(QCoreApplication::applicationVersion());
    else
        readAll();
    return m_line;
}

void CommandLineReader::readAll()
{
    if (!m_parser.positionalArguments().isEmpty())
        fail(QStringLiteral("unexpected argument '%1'").arg(m_parser.positionalArguments().first()));
    for (const NumberOption& number : m_numbers)
        readNumber(number);
    m_line.server.port = static_cast<quint16>(m_port);
    readAddress();
    readAllowedPeers();
    readReception();
    readReply();
    m_line.logFile = m_parser.value(QStringLiteral("log"));
    if (m_parser.isSet(QStringLiteral("log")) && m_line.logFile.isEmpty())
        fail(QStringLiteral("--log needs the name of a file"));
}

void CommandLineReader::readNumber(const NumberOption& option)
{
    bool isNumber = false;
    const int value = m_parser.value(option.name).toInt(&isNumber);
    if (isNumber && value >= option.lowest && value <= option.highest)
        *option.value = value;
    else
        fail(QStringLiteral("--%1 needs a number from %2 to %3, not '%4'")
                 .arg(option.name)
                 .arg(option.lowest)
                 .arg(option.highest)
                 .arg(m_parser.value(option.name)));
}

void CommandLineReader::readAddress()
{
    const QString name = QStringLiteral("listen");
    if (m_parser.isSet(name) && !m_line.server.address.setAddress(m_parser.value(name)))
        fail(QStringLiteral("--listen needs a numeric address, not '%1'").arg(m_parser.value(name)));
}

void CommandLineReader::readAllowedPeers()
{
    for (const QString& value : m_parser.values(QStringLiteral("allow"))) {
        const Subnet subnet = QHostAddress::parseSubnet(value);
        if (subnet.first.isNull())
            fail(QStringLiteral("--allow needs an address or a network, not '%1'").arg(value));
        m_line.server.allowedPeers.push_back(subnet);
    }
}

void CommandLineReader::readReception()
{
    int given = 0;
    const auto read = [&](const QString& name, Reception reception) {
        if (!m_parser.isSet(name))
            return;
        ++given;
        m_line.server.reception = reception;
    };
    read(QStringLiteral("refuse"), Reception::Refuse);
    read(QStringLiteral("hang-up"), Reception::HangUp);
    read(QStringLiteral("never-accept"), Reception::NeverAccept);
    if (given > 1)
        fail(QStringLiteral("--refuse, --hang-up and --never-accept exclude each other"));
}

void CommandLineReader::readReply()
{
    m_line.server.silent = m_parser.isSet(QStringLiteral("silent"));
    if (!m_parser.isSet(QStringLiteral("reply")))
        return;
    if (m_line.server.silent)
        fail(QStringLiteral("--reply and --silent exclude each other"));
    m_line.server.reply = m_parser.value(QStringLiteral("reply")).toUtf8();
}

void CommandLineReader::fail(const QString& failure)
{
    if (m_line.failure.isEmpty())
        m_line.failure = failure;
}

} // namespace

CommandLine parseCommandLine(const QStringList& arguments)
{
    return CommandLineReader().read(arguments);
}

} // namespace KOZAV::Robot
