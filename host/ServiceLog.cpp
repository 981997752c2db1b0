#include "host/ServiceLog.h"

#include "host/Theme.h"

#include <QColor>
#include <QMutex>
#include <QMutexLocker>

namespace KOZAV::Host {

namespace {

constexpr int mostLines = 5000;

QMutex currentMutex;
ServiceLog* current = nullptr;
QtMessageHandler previousHandler = nullptr;

} // namespace

ServiceLog::ServiceLog(QObject* parent)
    : QAbstractTableModel(parent)
{
    const QMutexLocker lock(&currentMutex);
    current = this;
    previousHandler = qInstallMessageHandler(&ServiceLog::handleMessage);
}

ServiceLog::~ServiceLog()
{
    const QMutexLocker lock(&currentMutex);
    qInstallMessageHandler(previousHandler);
    current = nullptr;
}

void ServiceLog::handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    const QMutexLocker lock(&currentMutex);
    if (previousHandler)
        previousHandler(type, context, text);
    if (current)
        current->add(type, QString::fromUtf8(context.category), text);
}

void ServiceLog::add(QtMsgType type, const QString& category, const QString& text)
{
    // Queued: messages come from any thread, and from within views that show this very model.
    const Line line{QDateTime::currentDateTime(), type, category, text};
    QMetaObject::invokeMethod(
        this, [this, line] { append(line); }, Qt::QueuedConnection);
}

void ServiceLog::append(const Line& line)
{
    if (m_lines.size() >= mostLines) {
        beginRemoveRows({}, 0, 0);
        m_lines.pop_front();
        endRemoveRows();
    }
    const int row = static_cast<int>(m_lines.size());
    beginInsertRows({}, row, row);
    m_lines.push_back(line);
    endInsertRows();
}

int ServiceLog::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_lines.size());
}

int ServiceLog::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant ServiceLog::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    const Line& line = m_lines[static_cast<std::size_t>(index.row())];
    if (role == Qt::ForegroundRole && line.type != QtInfoMsg && line.type != QtDebugMsg)
        return QColor(line.type == QtWarningMsg ? 0xffd479 : 0xff8a80);
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole)
        return {};
    switch (index.column()) {
    case Time:
        return line.time.toString(QStringLiteral("hh:mm:ss.zzz"));
    case Category:
        return role == Qt::ToolTipRole ? plainToolTip(line.category) : line.category;
    default:
        return role == Qt::ToolTipRole ? plainToolTip(line.text) : line.text;
    }
}

QVariant ServiceLog::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    if (section == Time)
        return tr("Time");
    return section == Category ? tr("Category") : tr("Text");
}

} // namespace KOZAV::Host
