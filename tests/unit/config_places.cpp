#include "backend/config/SitePlaces.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace KOZAV::Backend;

/// Places in words, and whether two of them are one.
class ConfigPlacesTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void loopback_data();
    void loopback();
    void placesOfRows();
    void placesOfFiles_data();
    void placesOfFiles();
    void sameServer_data();
    void sameServer();
    void sameDocumentServer_data();
    void sameDocumentServer();
    void samePathOverLinks();
};

namespace {

QString of(const char* text)
{
    return QString::fromUtf8(text);
}

DatabaseSettings server(const QString& host, int port, const QString& name)
{
    DatabaseSettings settings;
    settings.driver = of("QMYSQL");
    settings.host = host;
    settings.port = port;
    settings.name = name;
    settings.user = of("plant");
    return settings;
}

DocumentStoreSettings mongodb(const QString& uri)
{
    DocumentStoreSettings settings;
    settings.kind = of("mongodb");
    settings.uri = uri;
    settings.database = of("zav");
    settings.fileStore = of("odbpp");
    return settings;
}

} // namespace

void ConfigPlacesTest::loopback_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<bool>("isThisMachine");
    const auto row = [](const char* host, bool isThisMachine) {
        QTest::newRow(host) << of(host) << isThisMachine;
    };
    row("localhost", true);
    row("LOCALHOST", true);
    row("LocalHost", true);
    row("127.0.0.1", true);
    row("127.0.0.0", true);
    row("127.1.2.3", true);
    row("127.255.255.255", true);
    row("::1", true);
    row("[::1]", true);
    row("/run/mysqld/mysqld.sock", true);
    row("/tmp/mongodb-27017.sock", true);
    row("", false);
    row("/", false);
    row("[]", false);
    row("[::1", false);
    row("[127.0.0.1]", false);
    row("[localhost]", false);
    row("::2", false);
    row("::", false);
    row("0.0.0.0", false);
    row("128.0.0.1", false);
    row("27.0.0.1", false);
    row("1127.0.0.1", false);
    row("127.0.0", false);
    row("127.0.0.1.", false);
    row("127.0.0.256", false);
    row("127.0.0.1000", false);
    row("127a0b0c1", false);
    row("localhost.example.org", false);
    row("127.0.0.1.example.org", false);
    row("my-localhost", false);
    row("localhost\n", false);
    row("127.0.0.1\n", false);
    row(" localhost", false);
    row("run/mysqld.sock", false);
    row("db.example.org", false);
}

void ConfigPlacesTest::loopback()
{
    QFETCH(const QString, host);
    QFETCH(const bool, isThisMachine);
    QCOMPARE(isLoopback(host), isThisMachine);
}

void ConfigPlacesTest::placesOfRows()
{
    DatabaseSettings file;
    file.file = of("/data/site.db");
    QCOMPARE(placeOf(file), of("/data/site.db"));
    QCOMPARE(placeOf(server(of("db.example"), 3307, of("site"))), of("db.example:3307/site"));
}

void ConfigPlacesTest::placesOfFiles_data()
{
    QTest::addColumn<QString>("uri");
    QTest::addColumn<QString>("place");
    QTest::newRow("host") << of("mongodb://h") << of("h/zav");
    QTest::newRow("port and path") << of("mongodb://h:1/admin?tls=true") << of("h:1/zav");
    QTest::newRow("options") << of("mongodb://h?tls=true") << of("h/zav");
    QTest::newRow("user") << of("mongodb://plant@h/") << of("h/zav");
    QTest::newRow("password") << of("mongodb://plant:geheim@h:1/") << of("h:1/zav");
    QTest::newRow("password with an at sign") << of("mongodb://plant:ge@heim@h:1/") << of("h:1/zav");
    QTest::newRow("password with a slash") << of("mongodb://plant:ge/heim@h:1/") << of("***/zav");
    QTest::newRow("password with a question mark") << of("mongodb://plant:ge?heim@h:1/") << of("***/zav");
    QTest::newRow("replica set") << of("mongodb+srv://plant:x@a:1,b:2/?replicaSet=r") << of("a:1,b:2/zav");
}

void ConfigPlacesTest::placesOfFiles()
{
    QFETCH(const QString, uri);
    QFETCH(const QString, place);
    QCOMPARE(placeOf(mongodb(uri)), place);
    DocumentStoreSettings local;
    local.root = of("/data/store");
    QCOMPARE(placeOf(local), of("/data/store"));
}

void ConfigPlacesTest::sameServer_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("port");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("same");
    QTest::newRow("same") << of("localhost") << 3306 << of("site") << true;
    QTest::newRow("letters") << of("LocalHost") << 3306 << of("site") << true;
    QTest::newRow("address of this machine") << of("127.0.0.1") << 3306 << of("site") << true;
    QTest::newRow("other address of this machine") << of("::1") << 3306 << of("site") << true;
    QTest::newRow("the same in brackets") << of("[::1]") << 3306 << of("site") << true;
    QTest::newRow("socket") << of("/run/mysqld.sock") << 3306 << of("site") << false;
    QTest::newRow("other machine") << of("db.example") << 3306 << of("site") << false;
    QTest::newRow("other port") << of("localhost") << 3307 << of("site") << false;
    QTest::newRow("other database") << of("localhost") << 3306 << of("Site") << false;
}

void ConfigPlacesTest::sameServer()
{
    QFETCH(const QString, host);
    QFETCH(const int, port);
    QFETCH(const QString, name);
    QFETCH(const bool, same);
    QCOMPARE(isSamePlace(server(of("localhost"), 3306, of("site")), server(host, port, name)), same);
    DatabaseSettings file;
    file.file = of("/data/site.db");
    QVERIFY(!isSamePlace(file, server(host, port, name)));
}

void ConfigPlacesTest::sameDocumentServer_data()
{
    QTest::addColumn<QString>("uri");
    QTest::addColumn<bool>("same");
    QTest::newRow("same") << of("mongodb://a:1,b/") << true;
    QTest::newRow("order, user and options") << of("mongodb://u:p@B:27017,a:1/x?tls=true") << true;
    QTest::newRow("other port") << of("mongodb://a:2,b/") << false;
    QTest::newRow("fewer") << of("mongodb://a:1/") << false;
    QTest::newRow("not understood") << of("mongodb://a:1,b/?appName=u@h") << false;
}

void ConfigPlacesTest::sameDocumentServer()
{
    QFETCH(const QString, uri);
    QFETCH(const bool, same);
    const DocumentStoreSettings one = mongodb(of("mongodb://a:1,b/"));
    DocumentStoreSettings other = mongodb(uri);
    QCOMPARE(isSamePlace(one, other), same);
    other.database = of("other");
    QVERIFY(!isSamePlace(one, other));
    other = mongodb(uri);
    other.fileStore = of("other");
    QVERIFY(!isSamePlace(one, other));
    QVERIFY(!isSamePlace(DocumentStoreSettings(), one));
}

void ConfigPlacesTest::samePathOverLinks()
{
    const QTemporaryDir folder;
    QFile made(folder.filePath(of("site.db")));
    QVERIFY(made.open(QIODevice::WriteOnly));
    QVERIFY(QFile::link(made.fileName(), folder.filePath(of("link.db"))));
    DatabaseSettings one;
    one.file = made.fileName();
    DatabaseSettings other = one;
    QVERIFY(isSamePlace(one, other));
    other.file = folder.filePath(of("link.db"));
    QVERIFY(isSamePlace(one, other));
    other.file = folder.filePath(of("absent.db"));
    QVERIFY(!isSamePlace(one, other));
    one.file = other.file;
    QVERIFY(isSamePlace(one, other));

    DocumentStoreSettings store;
    store.root = folder.path();
    DocumentStoreSettings same = store;
    same.root = folder.path() + of("/.");
    QVERIFY(isSamePlace(store, same));
}

ZAV_REGISTER_TEST(config_places, ConfigPlacesTest, QCoreApplication)

#include "config_places.moc"
