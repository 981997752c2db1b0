// Two things bound what a peer can make a connection hold. What it writes: no more is read ahead than a
// packet, and of a document no more than the splitter keeps. What it does not read: while many answers wait
// for their time or for the peer, the documents of the last packet wait too and nothing is read; each answer
// that goes out takes the next of them up. Time is bounded by two clocks: one for documents, which stands
// still while nothing is read, and one for silence of any kind, which white space does not wind up.
//
// A connection ends once: finish() answers what was taken, drop() says why and closes, and closing leaves the
// socket a short time to write what it still has.

#include "robot_server/RobotConnection.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTcpSocket>

#include <utility>

namespace KOZAV::Robot {

namespace {

constexpr int packetBytes = 64 * 1024;
constexpr std::size_t maxWaitingReplies = 256;
constexpr qint64 maxUnsentBytes = 256LL * 1024;
constexpr int closingMs = 2000;

CheckedRequest check(const QJsonDocument& document)
{
    if (document.isObject())
        return checkRobotRequest(document.object());
    return {{}, false, QStringLiteral("the document is an array, not an object")};
}

QByteArray ownAnswer(const CheckedRequest& check)
{
    QJsonObject answer{{QStringLiteral("accepted"), check.valid()}};
    if (!check.valid())
        answer.insert(QStringLiteral("reason"), check.whyNot);
    return QJsonDocument(answer).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

RobotConnection::RobotConnection(QTcpSocket* socket, const RobotPeerName& peer,
                                 const RobotServerOptions& options, QObject* parent)
    : QObject(parent)
    , m_options(options)
    , m_socket(socket)
    , m_peerAddress(peer.address)
    , m_peer(peer.name)
    , m_splitter(options.json)
{
    m_socket->setParent(this);
    m_socket->setReadBufferSize(packetBytes);
    m_idleTimer.setSingleShot(true);
    m_documentTimer.setSingleShot(true);
    connect(m_socket, &QTcpSocket::readyRead, this, &RobotConnection::readPacket);
    connect(m_socket, &QTcpSocket::bytesWritten, this, &RobotConnection::onBytesWritten);
    connect(m_socket, &QTcpSocket::disconnected, this, &RobotConnection::onDisconnected);
    connect(&m_idleTimer, &QTimer::timeout, this, &RobotConnection::idleTimeOut);
    connect(&m_documentTimer, &QTimer::timeout, this, &RobotConnection::documentTimeOut);
    m_idleTimer.start(m_options.idleTimeoutMs);
}

void RobotConnection::readPacket()
{
    if (m_state != State::Open)
        m_socket->readAll();
    else if (!isHeldUp())
        takePacket(m_socket->read(packetBytes));
}

void RobotConnection::takePacket(const QByteArray& packet)
{
    const std::vector<SplitDocument> documents = m_splitter.feed(packet);
    m_documents.insert(m_documents.end(), documents.begin(), documents.end());
    restartTimers(!documents.empty());
    takeDocuments();
}

// Where many answers are still to go out, documents wait, nothing more is read, and the peer's writing comes
// to a stand.
bool RobotConnection::isHeldUp() const
{
    return !m_documents.empty() || isCongested();
}

bool RobotConnection::isCongested() const
{
    const bool manyAnswers =
        m_replies.size() >= maxWaitingReplies || m_socket->bytesToWrite() >= maxUnsentBytes;
    return manyAnswers && m_socket->state() == QAbstractSocket::ConnectedState;
}

void RobotConnection::takeDocuments()
{
    while (m_state == State::Open && !m_documents.empty() && !isCongested()) {
        const SplitDocument document = std::move(m_documents.front());
        m_documents.pop_front();
        takeDocument(document);
    }
    if (m_state == State::Finishing)
        closeWhenAnswered();
    else if (m_documents.empty() && m_splitter.fault() != JsonFault::None)
        drop(m_splitter.faultMessage());
}

void RobotConnection::proceed()
{
    takeDocuments();
    if (m_socket->bytesAvailable() > 0)
        readPacket();
}

void RobotConnection::takeDocument(const SplitDocument& document)
{
    const CheckedRequest checked = check(document.json);
    Q_EMIT requestReceived({QDateTime::currentDateTimeUtc(), m_peer, document.bytes, document.json, checked});
    answer(checked);
}

// White space between documents keeps no connection open.
void RobotConnection::restartTimers(bool documentsCame)
{
    if (m_state != State::Open)
        return;
    if (documentsCame || m_splitter.insideDocument())
        m_idleTimer.start(m_options.idleTimeoutMs);
    if (!m_splitter.insideDocument())
        m_documentTimer.stop();
    else if (documentsCame || !m_documentTimer.isActive())
        m_documentTimer.start(m_options.documentTimeoutMs);
}

void RobotConnection::idleTimeOut()
{
    if (m_state == State::Closing)
        m_socket->abort();
    else if (m_socket->bytesToWrite() > 0)
        drop(QStringLiteral("no answer was read for %1 ms").arg(m_options.idleTimeoutMs));
    else if (!m_replies.empty())
        m_idleTimer.start(m_options.idleTimeoutMs);
    else
        drop(QStringLiteral("nothing came for %1 ms").arg(m_options.idleTimeoutMs));
}

// What is not read cannot come.
void RobotConnection::documentTimeOut()
{
    if (isHeldUp())
        m_documentTimer.start(m_options.documentTimeoutMs);
    else
        drop(QStringLiteral("a document was not whole after %1 ms").arg(m_options.documentTimeoutMs));
}

void RobotConnection::onBytesWritten()
{
    if (m_state != State::Open)
        return;
    m_idleTimer.start(m_options.idleTimeoutMs);
    proceed();
}

void RobotConnection::answer(const CheckedRequest& check)
{
    if (m_options.silent || m_socket->state() != QAbstractSocket::ConnectedState)
        return;
    const QByteArray text = m_options.reply.value_or(ownAnswer(check));
    if (m_options.replyDelayMs == 0) {
        m_socket->write(text);
        return;
    }
    m_replies.push_back(text);
    QTimer::singleShot(m_options.replyDelayMs, Qt::PreciseTimer, this, &RobotConnection::sendNextReply);
}

// Whichever of the timers it is, the reply in front is the one whose time has come.
void RobotConnection::sendNextReply()
{
    if (m_replies.empty())
        return;
    m_socket->write(m_replies.front());
    m_replies.pop_front();
    // The peer's time to read it begins now.
    m_idleTimer.start(m_options.idleTimeoutMs);
    proceed();
}

void RobotConnection::finish()
{
    if (m_state != State::Open)
        return;
    m_state = State::Finishing;
    m_documentTimer.stop();
    // Later, since the document that is just being taken is still to be answered.
    QMetaObject::invokeMethod(this, &RobotConnection::closeWhenAnswered, Qt::QueuedConnection);
}

// Of one that is finishing already they are what it still waits for.
void RobotConnection::dropReplies()
{
    m_replies.clear();
    closeWhenAnswered();
}

void RobotConnection::closeWhenAnswered()
{
    if (m_state == State::Finishing && m_replies.empty())
        close();
}

void RobotConnection::drop(const QString& reason)
{
    if (m_state == State::Closing)
        return;
    m_state = State::Closing;
    Q_EMIT dropped({QDateTime::currentDateTimeUtc(), m_peer, reason});
    close();
}

// What has been written still goes out, for a limited time.
void RobotConnection::close()
{
    m_state = State::Closing;
    m_replies.clear();
    m_documentTimer.stop();
    m_idleTimer.start(closingMs);
    m_socket->disconnectFromHost();
}

// What came before the end still counts; nobody is there to be answered.
void RobotConnection::onDisconnected()
{
    m_replies.clear();
    if (m_state == State::Open) {
        takePacket(m_socket->readAll());
        if (m_splitter.insideDocument())
            drop(QStringLiteral("the peer ended the connection inside a document"));
    }
    m_state = State::Closing;
    m_idleTimer.stop();
    m_documentTimer.stop();
    Q_EMIT closed();
}

} // namespace KOZAV::Robot
