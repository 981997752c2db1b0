// The server that tests on MariaDB start for themselves.

#include "backend/database/Database.h"
#include "tests/support/ConfigurationFile.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/TestAuthority.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

/// Addresses and ports, as the system writes them, at which a process listens.
QStringList listeningAt(qint64 process)
{
    QStringList sockets;
    const QDir files(QStringLiteral("/proc/%1/fd").arg(process));
    for (const QString& file : files.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot))
        sockets << QFile::symLinkTarget(files.filePath(file)).section(QLatin1Char('/'), -1);
    QStringList found;
    for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        QFile connections((QLatin1String(table)));
        if (!connections.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray& line : connections.readAll().split('\n')) {
            const QStringList fields = QString::fromLatin1(line).split(QLatin1Char(' '), Qt::SkipEmptyParts);
            if (fields.value(3) == QLatin1String("0A") &&
                sockets.contains(QStringLiteral("socket:[%1]").arg(fields.value(9))))
                found << fields.at(1);
        }
    }
    return found;
}

/// Whether a process has ended; one that nobody has asked for its end yet has.
bool isGone(qint64 process)
{
    QFile status(QStringLiteral("/proc/%1/stat").arg(process));
    if (!status.open(QIODevice::ReadOnly))
        return true;
    const QByteArray fields = status.readAll();
    return fields.mid(fields.lastIndexOf(')') + 2).startsWith('Z');
}

/// Role of another process: starts a server, tells its process, and lives until it is killed.
int runServer(const QStringList& /*arguments*/)
{
    const MariaDbServer server;
    std::printf("%lld\n", static_cast<long long>(server.processId()));
    std::fflush(stdout);
    return std::getchar() == EOF ? 0 : 1;
}

} // namespace

class MariaDbServerTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void answersItsAccounts();
    void accountsSeeTheirOwnDatabase();
    void listensOnThisMachineAlone();
    void passwordIsForItsOwner();
    void configurationNamesTheDatabase();
    void keepsItsRowsThroughACrash();
    void haltsAndGoesOn();
    void endsConnections();
    void encrypts();
    void endsWithItsObject();
    void endsWithItsProgram();

private:
    MariaDbServer m_server;
};

void MariaDbServerTest::answersItsAccounts()
{
    const auto opened = Database::create(m_server.makeDatabase());
    QVERIFY2(opened.ok(), qPrintable(opened.message()));
    QCOMPARE(opened.value()->schemaVersion().value(), 4);
}

void MariaDbServerTest::accountsSeeTheirOwnDatabase()
{
    DatabaseSettings mine = m_server.makeDatabase();
    mine.name = m_server.makeDatabase().name;
    QCOMPARE(Database::open(mine).code(), ErrorCode::NotPermitted);
}

void MariaDbServerTest::listensOnThisMachineAlone()
{
    const QString port = QString::number(m_server.port(), 16).toUpper().rightJustified(4, QLatin1Char('0'));
    QCOMPARE(listeningAt(m_server.processId()), QStringList(QStringLiteral("0100007F:") + port));
}

void MariaDbServerTest::passwordIsForItsOwner()
{
    const DatabaseSettings settings = m_server.makeDatabase();
    QCOMPARE(permissionsOf(settings.passwordFile), 0600U);
    QCOMPARE(permissionsOf(QFileInfo(settings.passwordFile).path()), 0700U);
}

void MariaDbServerTest::configurationNamesTheDatabase()
{
    const ConfigurationFile file;
    file.write(ConfigurationFile::smallestText());
    const DatabaseSettings settings = m_server.makeDatabase();
    MariaDbServer::writeTo(file.path(), settings);
    const auto read = loadSettings(file.path());
    QVERIFY2(read.ok(), qPrintable(read.message()));
    QVERIFY(Database::create(read->database).ok());
    QCOMPARE(m_server.value(settings, QStringLiteral("SELECT COUNT(*) FROM company")), QStringLiteral("0"));
}

void MariaDbServerTest::keepsItsRowsThroughACrash()
{
    const DatabaseSettings settings = m_server.makeDatabase();
    QVERIFY(m_server.run(settings, QStringLiteral("CREATE TABLE t (a INT); INSERT INTO t VALUES (7)")));
    const quint16 port = m_server.port();
    m_server.kill();
    QVERIFY(!m_server.run(settings, QStringLiteral("SELECT 1")));
    m_server.restart();
    QCOMPARE(m_server.port(), port);
    QCOMPARE(m_server.value(settings, QStringLiteral("SELECT a FROM t")), QStringLiteral("7"));
}

void MariaDbServerTest::haltsAndGoesOn()
{
    constexpr int silenceMs = 200;
    m_server.stop();
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), m_server.port());
    QVERIFY(socket.waitForConnected());
    QVERIFY(!socket.waitForReadyRead(silenceMs));
    m_server.resume();
    QVERIFY(socket.waitForReadyRead());
}

void MariaDbServerTest::endsConnections()
{
    QCOMPARE(m_server.killConnections(), 0);
    const auto first = Database::create(m_server.makeDatabase());
    const auto second = Database::create(m_server.makeDatabase());
    QVERIFY(first.ok() && second.ok());
    QCOMPARE(m_server.killConnections(), 2);
    QCOMPARE(m_server.killConnections(), 0);
}

void MariaDbServerTest::encrypts()
{
    const TestAuthority authority;
    const TestAuthority::Identity identity = authority.server();
    MariaDbServer server({identity.certificate, identity.key, {}});
    DatabaseSettings settings = server.makeDatabase();
    settings.tlsCaFile = authority.certificate();
    const auto opened = Database::create(settings);
    QVERIFY2(opened.ok(), qPrintable(opened.message()));
    const Result<ServiceHealth> health = opened.value()->health();
    QVERIFY2(health.ok() && health->encryption.startsWith(QLatin1String("TLSv1.")),
             qPrintable(health.message()));
}

void MariaDbServerTest::endsWithItsObject()
{
    qint64 process = 0;
    {
        const MariaDbServer server;
        process = server.processId();
        QVERIFY(!isGone(process));
    }
    QVERIFY(isGone(process));
}

void MariaDbServerTest::endsWithItsProgram()
{
    const QTemporaryDir folder; // for what the program does not live to remove
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TMPDIR"), folder.path());
    QProcess program;
    program.setProcessEnvironment(environment);
    program.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--server")});
    while (!program.canReadLine() && program.waitForReadyRead()) {
    }
    const qint64 process = program.readLine().trimmed().toLongLong();
    QVERIFY(process > 0);
    QVERIFY(!isGone(process));
    program.kill();
    QVERIFY(program.waitForFinished());
    QTRY_VERIFY(isGone(process));
}

ZAV_REGISTER_ROLE("--server", runServer, QCoreApplication)
ZAV_REGISTER_TEST(mariadb_server, MariaDbServerTest, QCoreApplication)

#include "mariadb_server.moc"
