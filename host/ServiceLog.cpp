#include "host/ServiceLog.h"

#include "host/Theme.h"
#include "terminal/PrintableText.h"

#include <QColor>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QMutexLocker>
#include <QStandardPaths>

#include <utility>

namespace KOZAV::Host {

namespace {

constexpr int mostLines = 5000;

QMutex handlingMutex;
ServiceLog* handlingLog = nullptr;
QtMessageHandler previousHandler = nullptr;

bool isOfThePlatform(const QString& category)
{
    return category == QLatin1String("qt.qpa") || category.startsWith(QLatin1String("qt.qpa."));
}

/// What the platform says at any start without a display: nobody can do anything about it, or wants to.
bool isNoise(const QString& text)
{
    return text == QLatin1String("This plugin does not support propagateSizeHints()") ||
           text.startsWith(QLatin1String("QStandardPaths: XDG_RUNTIME_DIR not set"));
}

const char* typeName(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return "debug";
    case QtInfoMsg:
        return "info";
    case QtWarningMsg:
        return "warning";
    case QtCriticalMsg:
        return "critical";
    default:
        return "fatal";
    }
}

} // namespace

ServiceLog::ServiceLog(QObject* parent)
    : QAbstractTableModel(parent)
{
    beginHandling();
    const QMutexLocker lock(&handlingMutex);
    handlingLog = this;
}

ServiceLog::~ServiceLog()
{
    const QMutexLocker lock(&handlingMutex);
    qInstallMessageHandler(std::exchange(previousHandler, nullptr));
    handlingLog = nullptr;
}

void ServiceLog::beginHandling()
{
    const QMutexLocker lock(&handlingMutex);
    if (!previousHandler)
        previousHandler = qInstallMessageHandler(&ServiceLog::handleMessage);
}

void ServiceLog::handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    const QMutexLocker lock(&handlingMutex);
    const QString category = QString::fromUtf8(context.category);
    const bool isKept = handlingLog && handlingLog->m_file.isOpen();
    if (isNoise(text) || (isKept && isOfThePlatform(category))) {
        if (isKept)
            handlingLog->keep(type, category, text);
        return;
    }
    if (previousHandler)
        previousHandler(type, context, text);
    if (handlingLog)
        handlingLog->add(type, category, text);
}

QString ServiceLog::usualFile()
{
#ifdef Q_OS_UNIX
    QString folder = QFile::decodeName(qgetenv("XDG_STATE_HOME"));
    if (!QDir::isAbsolutePath(folder))
        folder = QDir::homePath() + QStringLiteral("/.local/state");
#else
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
#endif
    return folder + QStringLiteral("/zav_client/zav_client.log");
}

QString ServiceLog::keepIn(const QString& file)
{
    Terminal::LogLimits limits;
    limits.isShared = true;
    const QMutexLocker lock(&m_fileMutex);
    const QString folder = QFileInfo(file).absolutePath();
    if (!QDir(folder).exists() && QDir().mkpath(folder))
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QString failure = m_file.open(file, limits);
    if (failure.isEmpty())
        m_keptFile = QFileInfo(file).absoluteFilePath();
    return failure;
}

void ServiceLog::add(QtMsgType type, const QString& category, const QString& text)
{
    keep(type, category, text);
    show({QDateTime::currentDateTime(), type, category, text});
}

/// A failure is shown once, and is no reason for anything else to fail.
void ServiceLog::keep(QtMsgType type, const QString& category, const QString& text)
{
    const QMutexLocker lock(&m_fileMutex);
    if (!m_file.isOpen())
        return;
    const QString line = QStringLiteral("%1 %2 %3 %4: %5\n")
                             .arg(QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs))
                             .arg(QCoreApplication::applicationPid())
                             .arg(QString::fromLatin1(typeName(type)), category, Terminal::printable(text));
    QString failure = m_file.append(line.toUtf8());
    if (failure.isEmpty())
        failure = m_file.takeComplaint();
    if (!failure.isEmpty() && !std::exchange(m_hasComplained, true))
        show({QDateTime::currentDateTime(), QtWarningMsg, QStringLiteral("client"), failure});
}

void ServiceLog::show(const Line& line)
{
    // Queued: messages come from any thread, and from within views that show this very model.
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
        return line.type == QtWarningMsg ? warningTextColor() : badTextColor();
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
