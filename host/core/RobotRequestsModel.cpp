// A page is read from the number of the last request that is shown, not from a position: requests that come
// meanwhile move nothing. Only the answer of the newest reading counts, so that one of another filter that
// comes late is dropped.

#include "host/core/RobotRequestsModel.h"

#include "host/core/BehindWindow.h"

#include <algorithm>

namespace KOZAV::Host {

using RequestOutcome = RobotRequest::Outcome;
using Origin = RobotRequest::Origin;

namespace {

constexpr int pageSize = 200;

} // namespace

RobotRequestsModel::RobotRequestsModel(QObject* parent)
    : QAbstractTableModel(parent)
{
}

void RobotRequestsModel::reload()
{
    read(0, std::max(pageSize, rowCount()));
}

void RobotRequestsModel::setFilter(RobotFilter filter)
{
    if (filter == m_filter)
        return;
    m_filter = filter;
    read(0, pageSize);
}

void RobotRequestsModel::read(qint64 before, int limit)
{
    const int reading = m_reading = ++m_readings;
    const RobotFilter filter = m_filter;
    workBehindWindow(
        this,
        [filter, before, limit] {
            Answer answer;
            answer.page = robotRequests(filter, before, limit, answer.failure);
            return answer;
        },
        [this, reading, before](const Answer& answer) {
            if (reading != m_reading)
                return;
            m_reading = 0;
            take(answer, before);
        });
}

void RobotRequestsModel::take(const Answer& answer, qint64 before)
{
    m_failure = answer.failure;
    if (answer.page && before == 0) {
        beginResetModel();
        m_rows = answer.page->rows;
        endResetModel();
    } else if (answer.page && !answer.page->rows.empty()) {
        const auto& more = answer.page->rows;
        beginInsertRows({}, rowCount(), rowCount() + static_cast<int>(more.size()) - 1);
        m_rows.insert(m_rows.end(), more.begin(), more.end());
        endInsertRows();
    }
    if (answer.page)
        m_hasMore = answer.page->hasMore;
    m_loaded = true;
    Q_EMIT loaded();
}

const RobotRequestRow& RobotRequestsModel::request(int row) const
{
    return m_rows[static_cast<std::size_t>(row)];
}

namespace {

using Model = RobotRequestsModel;

QString outcomeText(RequestOutcome outcome)
{
    switch (outcome) {
    case RequestOutcome::Sent:
        return RobotRequestsModel::tr("Sent");
    case RequestOutcome::NotSent:
        return RobotRequestsModel::tr("Not sent");
    case RequestOutcome::Answered:
        return RobotRequestsModel::tr("Answered");
    case RequestOutcome::Refused:
        return RobotRequestsModel::tr("Refused");
    case RequestOutcome::NoAnswer:
        return RobotRequestsModel::tr("No answer");
    case RequestOutcome::Unknown:
        break;
    }
    return RobotRequestsModel::tr("Unknown");
}

QString originText(Origin origin)
{
    switch (origin) {
    case Origin::Saved:
        return RobotRequestsModel::tr("Saved job");
    case Origin::Confirmed:
        return RobotRequestsModel::tr("Confirmed");
    case Origin::Resent:
        break;
    }
    return RobotRequestsModel::tr("Sent again");
}

QString standingText(RobotJobPlace place)
{
    switch (place) {
    case RobotJobPlace::Gone:
        return RobotRequestsModel::tr("No such job");
    case RobotJobPlace::AtRobot:
        return RobotRequestsModel::tr("With the robot");
    case RobotJobPlace::Waiting:
        return RobotRequestsModel::tr("Waiting");
    case RobotJobPlace::Voided:
        return RobotRequestsModel::tr("Taken back");
    case RobotJobPlace::Failed:
        return RobotRequestsModel::tr("Import failed");
    case RobotJobPlace::Beyond:
        break;
    }
    return RobotRequestsModel::tr("Processed further");
}

QString outcomeSentence(RequestOutcome outcome)
{
    switch (outcome) {
    case RequestOutcome::Sent:
        return RobotRequestsModel::tr(
            "The request was written to a connection with the robot, which does not confirm it.");
    case RequestOutcome::NotSent:
        return RobotRequestsModel::tr("The request did not reach the robot.");
    case RequestOutcome::Answered:
        return RobotRequestsModel::tr("The robot has answered the request.");
    case RequestOutcome::Refused:
        return RobotRequestsModel::tr("The robot has refused the request.");
    case RequestOutcome::NoAnswer:
        return RobotRequestsModel::tr("The request was sent, and the robot did not answer.");
    case RequestOutcome::Unknown:
        break;
    }
    return RobotRequestsModel::tr("Whether the request reached the robot is not known.");
}

QString adviceSentence(const RobotRequestRow& row)
{
    if (!row.isNewest)
        return RobotRequestsModel::tr("The job has a later request.");
    if (row.isOpen())
        return RobotRequestsModel::tr("Send it again, or put the job back on the waiting list.");
    switch (row.job) {
    case RobotJobPlace::Gone:
        return RobotRequestsModel::tr("The job has no row at the site.");
    case RobotJobPlace::Waiting:
        return RobotRequestsModel::tr("The job is on the waiting list again.");
    case RobotJobPlace::Voided:
        return RobotRequestsModel::tr("The job was taken back.");
    case RobotJobPlace::Failed:
        return RobotRequestsModel::tr("The import of the job has failed.");
    default:
        return {};
    }
}

QString cellText(const RobotRequestRow& row, int column)
{
    switch (column) {
    case Model::JobColumn:
        return row.request.generatedName;
    case Model::NameColumn:
        return row.jobName;
    case Model::OutcomeColumn:
        return outcomeText(row.request.outcome);
    case Model::StandingColumn:
        return standingText(row.job);
    case Model::TimeColumn:
        return row.request.requested.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    case Model::AddressColumn:
        return QStringLiteral("%1:%2").arg(row.request.host).arg(row.request.port);
    case Model::OriginColumn:
        return originText(row.request.origin);
    default:
        return row.userName;
    }
}

} // namespace

QString RobotRequestsModel::sentence(const RobotRequestRow& row)
{
    const QString advice = adviceSentence(row);
    return advice.isEmpty() ? outcomeSentence(row.request.outcome)
                            : tr("%1 %2", "two sentences").arg(outcomeSentence(row.request.outcome), advice);
}

int RobotRequestsModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

int RobotRequestsModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : UserColumn + 1;
}

QVariant RobotRequestsModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    const RobotRequestRow& row = request(index.row());
    if (role == Qt::DisplayRole)
        return cellText(row, index.column());
    if (role == Qt::AccessibleTextRole)
        return index.column() == OutcomeColumn ? sentence(row) : cellText(row, index.column());
    return {};
}

QVariant RobotRequestsModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    const QString titles[] = {tr("System job"), tr("Job"),     tr("Request"), tr("Job is now"),
                              tr("Time"),       tr("Address"), tr("Reason"),  tr("By")};
    return titles[section];
}

bool RobotRequestsModel::canFetchMore(const QModelIndex& parent) const
{
    return !parent.isValid() && m_hasMore && m_reading == 0;
}

void RobotRequestsModel::fetchMore(const QModelIndex& parent)
{
    if (canFetchMore(parent))
        read(m_rows.back().number, pageSize);
}

} // namespace KOZAV::Host
