// What the client remembers of its user, and where.

#include "host/ClientState.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace KOZAV::Host;

class HostClientStateTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void nothingIsTouchedUnlessKept();
    void liesInTheUsersConfiguration();
    void sitesAreApart();
    void anyIdentityIsAFileOfItsOwn_data();
    void anyIdentityIsAFileOfItsOwn();

private:
    QTemporaryDir m_folder;
};

void HostClientStateTest::initTestCase()
{
    QVERIFY(m_folder.isValid());
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_folder.path()));
}

/// The first function: what is kept is kept for good.
void HostClientStateTest::nothingIsTouchedUnlessKept()
{
    QVERIFY(!ClientState::isKept());
    {
        ClientState state = ClientState::general();
        state.setValue(QStringLiteral("language"), QStringLiteral("zh_CN"));
        QVERIFY(!state.contains(QStringLiteral("language")));
        QCOMPARE(state.value(QStringLiteral("language"), 7), QVariant(7));
        QCOMPARE(state.path(), QString());
    }
    QVERIFY(QDir(m_folder.path()).isEmpty());
}

void HostClientStateTest::liesInTheUsersConfiguration()
{
    ClientState::keep();
    {
        ClientState state = ClientState::general();
        state.setValue(QStringLiteral("dialogs/report"), QStringLiteral("/tmp/报告"));
    }
    const ClientState state = ClientState::general();
    QCOMPARE(state.value(QStringLiteral("dialogs/report")).toString(), QStringLiteral("/tmp/报告"));
    QCOMPARE(QFileInfo(state.path()).absolutePath(), m_folder.filePath(QStringLiteral("zav_client")));
    QVERIFY(QFileInfo::exists(state.path()));
}

void HostClientStateTest::sitesAreApart()
{
    ClientState::keep();
    const QString key = QStringLiteral("window/geometry");
    ClientState::ofSite(QStringLiteral("one")).setValue(key, 1);
    ClientState::ofSite(QStringLiteral("other")).setValue(key, 2);
    QCOMPARE(ClientState::ofSite(QStringLiteral("one")).value(key).toInt(), 1);
    QCOMPARE(ClientState::ofSite(QStringLiteral("other")).value(key).toInt(), 2);
    QVERIFY(!ClientState::general().contains(key));
    ClientState::ofSite(QStringLiteral("one")).remove(key);
    QVERIFY(!ClientState::ofSite(QStringLiteral("one")).contains(key));
    QVERIFY(ClientState::ofSite(QStringLiteral("other")).contains(key));
}

void HostClientStateTest::anyIdentityIsAFileOfItsOwn_data()
{
    QTest::addColumn<QString>("identity");
    QTest::newRow("of a site") << QStringLiteral("3f2504e0-4f89-11d3-9a0c-0305e82c3301");
    QTest::newRow("leads out") << QStringLiteral("../../elsewhere");
    QTest::newRow("a path") << QStringLiteral("/srv/站点/zav.ini");
    QTest::newRow("long") << QString(5000, QLatin1Char('a'));
}

void HostClientStateTest::anyIdentityIsAFileOfItsOwn()
{
    QFETCH(QString, identity);
    ClientState::keep();
    const QString key = QStringLiteral("mine");
    ClientState::ofSite(identity).setValue(key, identity);
    const ClientState state = ClientState::ofSite(identity);
    QCOMPARE(state.value(key).toString(), identity);
    QCOMPARE(QFileInfo(state.path()).absolutePath(), m_folder.filePath(QStringLiteral("zav_client")));
}

ZAV_REGISTER_TEST(host_client_state, HostClientStateTest, QCoreApplication)
#include "host_client_state.moc"
