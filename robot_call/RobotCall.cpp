// One deadline for all of it, asked before each wait. What is known of the request hangs on one step: from
// the moment that a byte of it has been handed to the system nobody can say that it did not arrive, and only
// an answer says that it did. So what goes wrong before is "not sent", and what goes wrong after is not.
//
// There is no framing: an answer is whole when it can be read as a JSON document. That is tried only where
// its last byte can end one, and the answer is short, so that a peer who sends it byte by byte costs little.

#include "robot_call/RobotCall.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QHostAddress>
#include <QHostInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpSocket>
#include <QTimer>

namespace KOZAV::Robot {

using Backend::RobotOutcome;

namespace {

enum class AnswerState { Partial, Whole, None };

struct ReadAnswer
{
    AnswerState state = AnswerState::Partial;
    QJsonDocument document;
};

ReadAnswer readAnswer(const QByteArray& bytes)
{
    const QByteArray text = bytes.trimmed();
    if (text.isEmpty())
        return {};
    if (!text.startsWith('{') && !text.startsWith('['))
        return {AnswerState::None, {}};
    if (!text.endsWith('}') && !text.endsWith(']'))
        return {};
    QJsonParseError error;
    QJsonDocument document = QJsonDocument::fromJson(text, &error);
    // A second document behind it changes nothing.
    if (error.error == QJsonParseError::GarbageAtEnd)
        document = QJsonDocument::fromJson(text.left(error.offset), &error);
    return error.error == QJsonParseError::NoError ? ReadAnswer{AnswerState::Whole, document} : ReadAnswer();
}

/// One request, step by step; each tells whether the next one may follow.
class Exchange final
{
public:
    explicit Exchange(const RobotCall& call)
        : m_call(call)
        , m_deadline(call.timeoutMs)
    {
        m_socket.setReadBufferSize(call.longestAnswer + 1);
    }

    RobotReply run(const QByteArray& request)
    {
        if (lookUp() && connectTo() && send(request))
            receive();
        m_socket.abort();
        return m_reply;
    }

private:
    [[nodiscard]] int timeLeft() const { return static_cast<int>(m_deadline.remainingTime()); }
    bool lookUp();
    bool connectTo();
    bool send(const QByteArray& request);
    void receive();
    bool takeAnswer();
    bool end(RobotOutcome outcome, const QString& reason);
    [[nodiscard]] QString place() const { return QStringLiteral("%1:%2").arg(m_call.host).arg(m_call.port); }
    [[nodiscard]] QString timeText() const { return QStringLiteral("%1 s").arg(m_call.timeoutMs / 1000.0); }

    const RobotCall& m_call;
    QDeadlineTimer m_deadline;
    QTcpSocket m_socket;
    QHostAddress m_address;
    RobotReply m_reply;
};

bool Exchange::end(RobotOutcome outcome, const QString& reason)
{
    m_reply.outcome = outcome;
    m_reply.reason = reason;
    return false;
}

bool Exchange::lookUp()
{
    if (m_address.setAddress(m_call.host))
        return true;
    QEventLoop loop;
    QHostInfo found;
    const int id = QHostInfo::lookupHost(m_call.host, &loop, [&](const QHostInfo& info) {
        found = info;
        loop.quit();
    });
    QTimer::singleShot(timeLeft(), &loop, &QEventLoop::quit);
    loop.exec();
    QHostInfo::abortHostLookup(id);
    if (found.addresses().isEmpty())
        return end(RobotOutcome::NotSent,
                   QStringLiteral("the name %1 leads to no address: %2")
                       .arg(m_call.host, found.lookupId() < 0 ? QStringLiteral("no answer in time")
                                                              : found.errorString()));
    m_address = found.addresses().constFirst();
    return true;
}

bool Exchange::connectTo()
{
    m_socket.connectToHost(m_address, m_call.port);
    if (m_socket.waitForConnected(timeLeft()))
        return true;
    const bool late = m_deadline.hasExpired();
    return end(RobotOutcome::NotSent,
               QStringLiteral("%1 cannot be connected to: %2")
                   .arg(place(), late ? QStringLiteral("no connection within %1").arg(timeText())
                                      : m_socket.errorString()));
}

bool Exchange::send(const QByteArray& request)
{
    m_socket.write(request);
    while (m_socket.bytesToWrite() > 0 && m_socket.waitForBytesWritten(timeLeft())) {
    }
    if (m_socket.bytesToWrite() == 0)
        return true;
    const bool begun = m_socket.bytesToWrite() < request.size();
    return end(begun ? RobotOutcome::Unknown : RobotOutcome::NotSent,
               QStringLiteral("%1 did not take the whole request: %2").arg(place(), m_socket.errorString()));
}

void Exchange::receive()
{
    while (!takeAnswer()) {
        const bool more = m_socket.waitForReadyRead(timeLeft());
        if (more || m_socket.bytesAvailable() > 0)
            continue;
        const bool late = m_deadline.hasExpired() && m_socket.state() == QAbstractSocket::ConnectedState;
        const QString how =
            late ? QStringLiteral("within %1").arg(timeText())
                 : QStringLiteral("before the connection ended: %1").arg(m_socket.errorString());
        if (m_reply.answer.isEmpty() && (late || m_socket.error() == QAbstractSocket::RemoteHostClosedError))
            end(RobotOutcome::NoAnswer, QStringLiteral("%1 sent no answer %2").arg(place(), how));
        else
            end(RobotOutcome::Unknown, QStringLiteral("%1 sent no whole answer %2").arg(place(), how));
        return;
    }
}

/// @return whether no more is to be read
bool Exchange::takeAnswer()
{
    m_reply.answer += m_socket.readAll();
    const ReadAnswer read = readAnswer(m_reply.answer);
    if (read.state == AnswerState::Whole) {
        const QString words = QString::fromUtf8(read.document.toJson(QJsonDocument::Compact));
        const bool refused = read.document.object().value(QLatin1String("accepted")) == QJsonValue(false);
        end(refused ? RobotOutcome::Refused : RobotOutcome::Answered,
            QStringLiteral("%1 answered %2").arg(place(), words.left(200)));
    } else if (read.state == AnswerState::None) {
        end(RobotOutcome::Unknown,
            QStringLiteral("%1 answered something that is no JSON document").arg(place()));
    } else if (m_reply.answer.size() > m_call.longestAnswer) {
        m_reply.answer.truncate(m_call.longestAnswer);
        end(RobotOutcome::Unknown, QStringLiteral("%1 sent more than %2 bytes, which is no answer")
                                       .arg(place())
                                       .arg(m_call.longestAnswer));
    } else {
        return false;
    }
    return true;
}

} // namespace

RobotReply callRobot(const RobotCall& call, const QByteArray& request)
{
    return Exchange(call).run(request);
}

QString robotHostWarning(const QString& host)
{
    if (!QHostAddress(host).isNull())
        return {};
    return QStringLiteral("robot/host is \"%1\", not a numeric address: saved jobs (.kos) will not reach the "
                          "robot, since their import looks no name up")
        .arg(host);
}

} // namespace KOZAV::Robot
