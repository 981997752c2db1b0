// Neither panel hands over what became of its request; it is known from what frames it.
//
// A saved job: of an import's calls UpdateState is made for a saved job alone, and the request follows at
// once whatever came of that call. It leaves no trace, so after the run the client tries the address itself,
// once. What that finds is no proof of the request: it is "unknown", but where there can have been nobody to
// take it. The file import panel makes the address of the configured text, which must be numeric for that.
//
// A confirmed job: the job list panel calls UpdateState, connects, and either says that it has sent the
// request or opens a box. No other box of that panel comes after that call. What it has sent lies in its
// socket, so the event loop must run before anything blocks; then the client looks once whether the robot
// takes connections at all. One that has no place for another takes the panel's too, and closes it unread. In
// the box an event loop runs as well, so that the event is written while it is open.

#include "host/RobotLedger.h"

#include "host/PanelReport.h"
#include "host/PanelRun.h"
#include "robot/RobotRequest.h"
#include "services/common/Common.h"
#include "ui/import_list/ZAV_Import_Widget.h"

#include <QChildEvent>
#include <QHostAddress>
#include <QMessageBox>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <map>

namespace KOZAV::Host {

using Backend::OperationEvent;
using Backend::OperationOutcome;
using Backend::ServiceOperation;

namespace {

constexpr int connectMs = 1000;
constexpr int closeMs = 150;        ///< a robot that has no place for a peer closes within that
constexpr int requestFlushMs = 250; ///< the event loop has brought out what lies in a socket by then

/// What one connection attempt found.
struct Probe
{
    QString word;
    QString text;
    bool refused = false;
    bool takesRequests = true; ///< as far as can be seen: a connection stands and stays
};

QString robotPlace(const RobotRequest& request)
{
    return QStringLiteral("%1:%2").arg(request.host).arg(request.port);
}

Probe probe(const RobotRequest& request)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(request.host), static_cast<quint16>(request.port));
    if (socket.waitForConnected(connectMs)) {
        if (socket.waitForDisconnected(closeMs))
            return {QStringLiteral("closed"), QStringLiteral("took a connection and closed it at once"),
                    false, false};
        return {QStringLiteral("connected"), QStringLiteral("took a connection")};
    }
    if (socket.error() == QAbstractSocket::ConnectionRefusedError)
        return {QStringLiteral("refused"), QStringLiteral("refused a connection"), true, false};
    if (socket.error() == QAbstractSocket::SocketTimeoutError)
        return {QStringLiteral("no-answer"), QStringLiteral("took no connection within 1 s")};
    return {QStringLiteral("failed"), QStringLiteral("took no connection: ") + socket.errorString()};
}

/// Tries each address of a run once.
class Probes final
{
public:
    void judge(RobotRequest& request)
    {
        if (QHostAddress(request.host).isNull()) {
            request.outcome = RobotRequest::Outcome::NotSent;
            request.reason = QStringLiteral("robot/host \"%1\" is not a numeric address").arg(request.host);
            return;
        }
        const QString place = robotPlace(request);
        auto known = m_known.find(place);
        if (known == m_known.end())
            known = m_known.emplace(place, probe(request)).first;
        const Probe& found = known->second;
        request.outcome = found.refused ? RobotRequest::Outcome::NotSent : RobotRequest::Outcome::Unknown;
        request.probe = found.word;
        request.reason = QStringLiteral("after the import %1 %2").arg(place, found.text);
    }

private:
    std::map<QString, Probe> m_known;
};

/// Whether what was written to the robot can have been read. A name is not looked up: that may take long.
void doubtSent(RobotRequest& request)
{
    if (request.outcome != RobotRequest::Outcome::Sent || QHostAddress(request.host).isNull())
        return;
    const Probe found = probe(request);
    request.probe = found.word;
    if (found.takesRequests)
        return;
    request.outcome = RobotRequest::Outcome::Unknown;
    request.reason += QStringLiteral(", which then %1").arg(found.text);
}

/// Each accepted entry of a run begins with the call that stores it.
bool beginsEntry(ServiceOperation operation)
{
    return operation == ServiceOperation::MongodbPut ||
           operation == ServiceOperation::FoldersCompressSave2MongoDb;
}

Remark robotRemark(const RobotRequest& request)
{
    const bool notSent = request.outcome == RobotRequest::Outcome::NotSent;
    const QString text = notSent ? QStringLiteral("its request did not reach the robot: %1")
                                 : QStringLiteral("whether its request reached the robot is not known: %1");
    return {notSent ? QStringLiteral("robot-not-sent") : QStringLiteral("robot-unknown"),
            text.arg(request.reason)};
}

} // namespace

RobotLedger::RobotLedger(SiteAccess& site, const PanelRun& run, const PanelReport& report, QObject* parent)
    : QObject(parent)
    , m_site(site)
    , m_run(run)
    , m_report(report)
{
    connect(&run, &PanelRun::begins, this, [this] { m_entries.clear(); });
    connect(&site, &SiteAccess::serviceCalled, this, &RobotLedger::noteCall);
    connect(&run, &PanelRun::ended, this, &RobotLedger::tellRun);
    m_conclusion.setSingleShot(true);
    connect(&m_conclusion, &QTimer::timeout, this, &RobotLedger::conclude);
}

RobotLedger::~RobotLedger()
{
    writeConfirmed();
}

void RobotLedger::follow(UI::ZAV_Import_Widget* panel, const ImportedJob& job)
{
    m_job = job;
    m_confirming = false;
    panel->installEventFilter(this);
    connect(panel, &UI::ZAV_Import_Widget::webJobHaveSent, this,
            [this] { settle(RobotRequest::Outcome::Sent); });
}

QString RobotLedger::addressWarning()
{
    const QString host = QString::fromStdString(Common::commonInterface()->getConfig().robotHost);
    if (!QHostAddress(host).isNull())
        return {};
    return tr("The robot's address robot/host = %1 is not a numeric one: requests of archived jobs (.kos) "
              "will not reach the robot")
        .arg(host);
}

bool RobotLedger::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::ChildPolished &&
        qobject_cast<QMessageBox*>(static_cast<QChildEvent*>(event)->child()))
        settle(RobotRequest::Outcome::NotSent);
    return QObject::eventFilter(watched, event);
}

void RobotLedger::noteCall(const OperationEvent& event)
{
    if (m_run.isRunning()) {
        noteImportCall(event);
    } else if (event.operation == ServiceOperation::UpdateState && event.flowKey == m_job.flowKey) {
        m_confirming = true;
        m_confirmed = requestNow(RobotRequest::Origin::Confirmed);
        m_confirmed.flowKey = m_job.flowKey;
        m_confirmed.generatedName = m_job.generatedName;
        m_confirmed.document = Robot::robotRequest(m_job.generatedName, false);
    }
}

void RobotLedger::noteImportCall(const OperationEvent& event)
{
    if (beginsEntry(event.operation))
        m_entries.emplace_back();
    if (m_entries.empty())
        return;
    Entry& entry = m_entries.back();
    switch (event.operation) {
    case ServiceOperation::InsertFlowBeforeOrigFile:
        entry.generatedName = event.generatedName;
        if (event.outcome != OperationOutcome::Failed)
            entry.flowKey = event.flowKey;
        break;
    case ServiceOperation::UpdateState:
        entry.requested = true;
        entry.request = requestNow(RobotRequest::Origin::Saved);
        break;
    case ServiceOperation::InputJobCompress:
        entry.complete = event.outcome != OperationOutcome::Failed;
        break;
    default:
        break;
    }
}

void RobotLedger::tellRun()
{
    Probes probes;
    std::vector<RobotRequest> requests;
    for (Entry& entry : m_entries) {
        if (!entry.requested)
            continue;
        RobotRequest& request = entry.request;
        request.flowKey = entry.flowKey;
        request.generatedName = entry.generatedName;
        request.document = Robot::robotRequest(entry.generatedName.toLower(), false);
        probes.judge(request);
        if (!entry.complete)
            request.reason += QStringLiteral("; the import failed");
        warn(request);
        requests.push_back(request);
    }
    m_entries.clear();
    if (const QString failure = write(requests); !failure.isEmpty())
        m_report.current()->remark({QStringLiteral("robot-not-recorded"), failure});
}

/// In the row of the job; a request of which there is no row is a remark of the run.
void RobotLedger::warn(const RobotRequest& request)
{
    BatchReport& report = *m_report.current();
    const auto& rows = report.rows();
    const auto row = std::find_if(rows.begin(), rows.end(), [&request](const BatchReportRow& each) {
        return each.generatedName == request.generatedName && !each.sourcePath.isEmpty();
    });
    Remark remark = robotRemark(request);
    if (row != rows.end()) {
        report.warn(row->sourcePath, remark);
        return;
    }
    remark.text.prepend(request.generatedName + QStringLiteral(": "));
    report.remark(remark);
}

void RobotLedger::settle(RobotRequest::Outcome outcome)
{
    if (!m_confirming)
        return;
    m_confirming = false;
    m_confirmed.outcome = outcome;
    m_confirmed.reason =
        (outcome == RobotRequest::Outcome::Sent ? QStringLiteral("written to a connection with %1")
                                                : QStringLiteral("%1 could not be connected to"))
            .arg(robotPlace(m_confirmed));
    m_unwritten.push_back(m_confirmed);
    m_conclusion.start(outcome == RobotRequest::Outcome::Sent ? requestFlushMs : 0);
}

void RobotLedger::conclude()
{
    m_conclusion.stop();
    for (RobotRequest& request : m_unwritten)
        doubtSent(request);
    writeConfirmed();
}

void RobotLedger::writeConfirmed()
{
    const std::vector<RobotRequest> requests = std::exchange(m_unwritten, {});
    const QString failure = write(requests);
    for (const RobotRequest& request : requests) {
        Q_EMIT concluded(request);
        if (request.outcome == RobotRequest::Outcome::Unknown)
            Q_EMIT told(tr("whether the request of %1 reached the robot is not known (%2); "
                           "\"zav_admin job resend %1\" sends it again")
                            .arg(request.generatedName, request.reason));
        if (request.outcome == RobotRequest::Outcome::NotSent)
            Q_EMIT told(tr("the request of %1 was not sent (%2); the job is off the waiting list, "
                           "\"zav_admin job requeue %1\" puts it back")
                            .arg(request.generatedName, request.reason));
    }
    if (!failure.isEmpty())
        Q_EMIT told(failure);
}

/// @return why that was not possible; empty on success
QString RobotLedger::write(const std::vector<RobotRequest>& requests)
{
    const QString failure = requests.empty() ? QString() : recordRobotRequests(requests);
    if (failure.isEmpty())
        return {};
    return QStringLiteral("the history of the jobs does not tell of %1 requests to the robot: %2")
        .arg(requests.size())
        .arg(failure);
}

RobotRequest RobotLedger::requestNow(RobotRequest::Origin origin)
{
    RobotRequest request;
    request.origin = origin;
    const auto config = Common::commonInterface()->getConfig();
    request.host = QString::fromStdString(config.robotHost);
    request.port = config.robotPort;
    request.requested = QDateTime::currentDateTimeUtc();
    return request;
}

} // namespace KOZAV::Host
