#include "tests/support/TemporaryDatabase.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QTest>
#include <QUuid>

namespace KOZAV::Test {

using namespace Backend;

namespace {

constexpr int longestWaitMs = 60000;

} // namespace

TemporaryDatabase::TemporaryDatabase() = default;

QString TemporaryDatabase::file() const
{
    return m_folder.filePath(QStringLiteral("site.db"));
}

DatabaseSettings TemporaryDatabase::settings() const
{
    DatabaseSettings settings;
    settings.file = file();
    return settings;
}

std::unique_ptr<Database> TemporaryDatabase::open() const
{
    Result<std::unique_ptr<Database>> database = Database::create(settings());
    if (!database.ok())
        QTest::qFail(qPrintable(database.message()), __FILE__, __LINE__);
    return database.ok() ? std::move(database.value()) : nullptr;
}

QVariant valueOf(Database& database, const char* sql, const QVariantList& values)
{
    QVariant value;
    const Status status = database.query(sql, values, [&](const QSqlQuery& row) {
        value = row.value(0);
        return false;
    });
    if (!status.ok())
        QTest::qFail(qPrintable(status.message()), __FILE__, __LINE__);
    return value;
}

void runElsewhere(const QString& file, const QStringList& statements)
{
    const QString name = QUuid::createUuid().toString();
    {
        QSqlDatabase connection = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        connection.setDatabaseName(file);
        QVERIFY(connection.open());
        for (const QString& statement : statements) {
            QSqlQuery query(connection);
            QVERIFY2(query.exec(statement), qPrintable(query.lastError().text()));
        }
    }
    QSqlDatabase::removeDatabase(name);
}

QByteArray bytesOf(const QString& file)
{
    QFile opened(file);
    if (!opened.open(QIODevice::ReadOnly))
        QTest::qFail(qPrintable(file), __FILE__, __LINE__);
    return opened.readAll();
}

OtherProcess::OtherProcess(const QStringList& arguments)
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QCoreApplication::applicationFilePath(), arguments);
}

OtherProcess::OtherProcess(const QString& tool, const QStringList& toolArguments,
                           const QStringList& arguments)
{
    m_process.start(tool, toolArguments + QStringList(QCoreApplication::applicationFilePath()) + arguments);
}

OtherProcess::~OtherProcess()
{
    kill();
}

QString OtherProcess::readLine()
{
    const QDeadlineTimer deadline(longestWaitMs);
    while (!m_process.canReadLine() && !deadline.hasExpired())
        if (!m_process.waitForReadyRead(static_cast<int>(deadline.remainingTime())))
            break;
    return QString::fromUtf8(m_process.readLine()).trimmed();
}

void OtherProcess::release()
{
    m_process.closeWriteChannel();
}

void OtherProcess::kill()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished(longestWaitMs);
}

int OtherProcess::wait()
{
    if (m_process.error() == QProcess::FailedToStart)
        return -1;
    if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(longestWaitMs))
        return -1;
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

QString OtherProcess::output()
{
    return QString::fromUtf8(m_process.readAllStandardOutput());
}

} // namespace KOZAV::Test
