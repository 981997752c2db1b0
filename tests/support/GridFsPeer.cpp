#include "tests/support/GridFsPeer.h"

#include <QJsonDocument>
#include <QTcpSocket>

namespace KOZAV::Test {

namespace {

constexpr int waitMs = 20'000;

QStringList arguments(const PeerOptions& options, quint16 port)
{
    QStringList list{QStringLiteral("-B"), QStringLiteral(ZAV_GRIDFS_PEER), QStringLiteral("--port"),
                     QString::number(port)};
    const auto add = [&list](const QString& flag, const QString& value) {
        if (!value.isEmpty())
            list << flag << value;
    };
    add(QStringLiteral("--replica-set"), options.replicaSet);
    add(QStringLiteral("--tls-certificate"), options.certificate);
    add(QStringLiteral("--tls-key"), options.key);
    add(QStringLiteral("--user"), options.user);
    return list;
}

QJsonObject planOf(const PeerFault& fault)
{
    return {{QStringLiteral("action"), fault.action},
            {QStringLiteral("at"), fault.at},
            {QStringLiteral("n"), fault.n},
            {QStringLiteral("times"), fault.times},
            {QStringLiteral("after"), fault.after}};
}

/// Sends one line and waits for the line that answers it; null where none comes.
QByteArray answerOf(quint16 port, const QByteArray& line)
{
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), port);
    if (!socket.waitForConnected(waitMs))
        return {};
    socket.write(line + '\n');
    while (!socket.canReadLine() && socket.waitForReadyRead(waitMs)) {
    }
    return socket.readLine();
}

QString withOptions(const QString& uri, const QString& options)
{
    if (options.isEmpty())
        return uri;
    if (uri.contains(QLatin1Char('?')))
        return uri + QLatin1Char('&') + options;
    const bool hasPath = uri.indexOf(QLatin1Char('/'), uri.indexOf(QLatin1String("://")) + 3) >= 0;
    return uri + (hasPath ? QStringLiteral("?") : QStringLiteral("/?")) + options;
}

} // namespace

GridFsPeer::GridFsPeer(PeerOptions options)
    : m_options(std::move(options))
    , m_givenUri(qEnvironmentVariable("ZAV_TEST_MONGODB_URI"))
{
    if (m_givenUri.isEmpty())
        start();
}

GridFsPeer::~GridFsPeer()
{
    stop();
}

QString GridFsPeer::refusal() const
{
    if (m_givenUri.isEmpty())
        return m_problem;
    return QStringLiteral("faults cannot be ordered from the server of ZAV_TEST_MONGODB_URI");
}

QString GridFsPeer::uri(const QString& options, const QString& login) const
{
    if (!m_givenUri.isEmpty())
        return withOptions(m_givenUri, options);
    const QString at = login.isEmpty() ? QString() : login + QLatin1Char('@');
    const QString plain = QStringLiteral("mongodb://") + at + QStringLiteral("127.0.0.1:%1/").arg(m_port);
    const QString set = m_options.replicaSet;
    return withOptions(set.isEmpty() ? plain : withOptions(plain, QStringLiteral("replicaSet=") + set),
                       options);
}

void GridFsPeer::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished(waitMs);
}

void GridFsPeer::start()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("ZAV_PEER_PASSWORD"), m_options.password);
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::SeparateChannels);
    m_process.start(QStringLiteral(ZAV_TEST_PYTHON), arguments(m_options, m_port));
    m_port = readPort("port ");
    m_control = readPort("control ");
    if (m_port == 0 || m_control == 0)
        m_problem = QStringLiteral("the GridFS peer does not start: ") +
                    QString::fromUtf8(m_process.readAllStandardError()) + m_process.errorString();
}

quint16 GridFsPeer::readPort(const QByteArray& label)
{
    while (!m_process.canReadLine() && m_process.waitForReadyRead(waitMs)) {
    }
    const QByteArray line = m_process.readLine();
    return line.startsWith(label) ? line.mid(label.size()).trimmed().toUShort() : quint16(0);
}

void GridFsPeer::order(const QList<PeerFault>& faults)
{
    QJsonArray plans;
    for (const PeerFault& fault : faults)
        plans.append(planOf(fault));
    ask(QStringLiteral("plan"), {{QStringLiteral("plans"), plans}});
}

int GridFsPeer::received(const QString& command)
{
    return counters()[QStringLiteral("commands")].toObject()[command].toInt();
}

QStringList GridFsPeer::incompleteFiles()
{
    QStringList names;
    const QJsonArray found = check()[QStringLiteral("incomplete")].toArray();
    for (const QJsonValue& name : found)
        names.append(name.toString());
    return names;
}

void GridFsPeer::alterChunk(const QString& name, int n, const QString& how)
{
    ask(QStringLiteral("damage"),
        {{QStringLiteral("filename"), name}, {QStringLiteral("n"), n}, {QStringLiteral("how"), how}});
}

void GridFsPeer::setFile(const QString& name, const QJsonObject& values)
{
    ask(QStringLiteral("setFile"), {{QStringLiteral("filename"), name}, {QStringLiteral("values"), values}});
}

QJsonObject GridFsPeer::ask(const QString& what, QJsonObject order)
{
    order.insert(QStringLiteral("do"), what);
    const QByteArray answer = answerOf(m_control, QJsonDocument(order).toJson(QJsonDocument::Compact));
    const QJsonDocument document = QJsonDocument::fromJson(answer);
    if (!document.isObject() || document.object().contains(QStringLiteral("error")))
        qFatal("The GridFS peer does not carry out '%s': %s", qPrintable(what), answer.constData());
    return document.object();
}

} // namespace KOZAV::Test
