#include "backend/config/SettingRules.h"
#include "tests/support/ConfigurationFile.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QSettings>
#include <QStandardPaths>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

class ConfigReadingTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void smallestFileHasDefaultsForTheRest();
    void relativePathsStartAtTheFile();
    void acceptedValues_data();
    void acceptedValues();
    void brokenLinesAreNamed_data();
    void brokenLinesAreNamed();
    void brokenTextsAreNamed_data();
    void brokenTextsAreNamed();
    void unfitValuesAreNamed_data();
    void unfitValuesAreNamed();
    void missingKeysAreNamed_data();
    void missingKeysAreNamed();
    void numbersEndAtTheirLimits_data();
    void numbersEndAtTheirLimits();
    void everyKeyOfAServiceTellsSettingsApart_data();
    void everyKeyOfAServiceTellsSettingsApart();
    void unreadableFilesAreNamed();
    void passwordsAreNotShown();
    void filesOfQSettingsAreRead();
    void explicitPathThenEnvironmentThenHome();
};

namespace {

const QByteArray serverText = "[database]\ndriver = QMYSQL\nhost = 127.0.0.1\nname = zav\nuser = plant\n";

/// The smallest file with a piece of it replaced, and how the message goes on after the file's name.
void addBrokenColumns()
{
    QTest::addColumn<QByteArray>("piece");
    QTest::addColumn<QByteArray>("replacement");
    QTest::addColumn<QString>("message");
}

void row(const char* name, const char* piece, const QByteArray& replacement, const QByteArray& message)
{
    QTest::newRow(name) << QByteArray(piece) << replacement << QString::fromUtf8(message);
}

void checkBroken()
{
    QFETCH(QByteArray, piece);
    QFETCH(QByteArray, replacement);
    QFETCH(QString, message);
    const ConfigurationFile file;
    file.writeWith(piece, replacement);
    const Result<Settings> settings = loadSettings(file.path());
    QCOMPARE(settings.code(), ErrorCode::Configuration);
    const QString expected = QStringLiteral("configuration file \"%1\": %2").arg(file.path(), message);
    QVERIFY2(settings.message().startsWith(expected), qPrintable(settings.message()));
}

QString messageOf(const ConfigurationFile& file)
{
    const Result<Settings> settings = loadSettings(file.path());
    return settings.ok() ? QStringLiteral("accepted") : settings.message();
}

} // namespace

void ConfigReadingTest::smallestFileHasDefaultsForTheRest()
{
    const ConfigurationFile file;
    file.write(ConfigurationFile::smallestText());
    const Result<Settings> settings = loadSettings(file.path());
    QVERIFY2(settings.ok(), qPrintable(settings.message()));
    QCOMPARE(settings->database.driver, QStringLiteral("QSQLITE"));
    QCOMPARE(settings->database.port, 3306);
    QCOMPARE(settings->database.connectTimeoutSeconds, 3);
    QCOMPARE(settings->database.readTimeoutSeconds, 30);
    QCOMPARE(settings->database.writeTimeoutSeconds, 30);
    QCOMPARE(settings->database.busyTimeoutMs, 2000);
    QCOMPARE(settings->database.allowPlaintext, false);
    QCOMPARE(settings->documentStore.kind, QStringLiteral("local"));
    QCOMPARE(settings->documentStore.database, QStringLiteral("plant"));
    QCOMPARE(settings->documentStore.fileStore, QStringLiteral("odbpp"));
    QCOMPARE(settings->robotHost, QStringLiteral("192.0.2.7"));
    QCOMPARE(settings->robotPort, 9098);
    QCOMPARE(settings->userId, 7);
    QCOMPARE(settings->userName, QStringLiteral("Ada"));
    QCOMPARE(settings->userLogin, QString());
}

void ConfigReadingTest::relativePathsStartAtTheFile()
{
    const ConfigurationFile file;
    file.writeWith("root = data/store", "root = /srv/x/../store");
    const Result<Settings> settings = loadSettings(file.path());
    QVERIFY2(settings.ok(), qPrintable(settings.message()));
    QCOMPARE(settings->database.file, file.inFolder(QStringLiteral("data/site.db")));
    QCOMPARE(settings->documentStore.root, QStringLiteral("/srv/store"));
    QCOMPARE(settings->uploadCache, file.inFolder(QStringLiteral("up/")));
    QCOMPARE(settings->downloadCache, file.inFolder(QStringLiteral("down/")));
    QVERIFY2(!QDir(settings->uploadCache).exists(), "reading makes no folders");
}

void ConfigReadingTest::acceptedValues_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("name");

    QTest::newRow("plain") << QByteArray("Ada Byron") << QStringLiteral("Ada Byron");
    QTest::newRow("blanks around") << QByteArray("  Ada \t") << QStringLiteral("Ada");
    QTest::newRow("quoted") << QByteArray("\"Byron, Ada; \\\"A\\\" = #1\"")
                            << QStringLiteral("Byron, Ada; \"A\" = #1");
    QTest::newRow("quoted blanks") << QByteArray("\" Ada \"") << QStringLiteral(" Ada ");
    QTest::newRow("comment") << QByteArray("Ada ; who else") << QStringLiteral("Ada");
    QTest::newRow("comment behind quotes") << QByteArray("\"Ada\" # who else") << QStringLiteral("Ada");
    QTest::newRow("Chinese") << QByteArray("\xe7\x8e\x8b\xe4\xbc\x9f")
                             << QString::fromUtf8("\xe7\x8e\x8b\xe4\xbc\x9f");
    QTest::newRow("hexadecimal") << QByteArray("\\x738b\\x4f1f")
                                 << QString::fromUtf8("\xe7\x8e\x8b\xe4\xbc\x9f");
    QTest::newRow("backslash") << QByteArray("PLANT\\\\ada") << QStringLiteral("PLANT\\ada");
    QTest::newRow("equals") << QByteArray("a=b") << QStringLiteral("a=b");
    QTest::newRow("hash in a word") << QByteArray("a#b") << QStringLiteral("a#b");
    QTest::newRow("carriage return") << QByteArray("Ada\r") << QStringLiteral("Ada");
}

void ConfigReadingTest::acceptedValues()
{
    QFETCH(QByteArray, value);
    const ConfigurationFile file;
    file.writeWith("name = Ada", "name = " + value);
    const Result<Settings> settings = loadSettings(file.path());
    QVERIFY2(settings.ok(), qPrintable(settings.message()));
    QTEST(settings->userName, "name");
}

void ConfigReadingTest::brokenLinesAreNamed_data()
{
    addBrokenColumns();
    row("no entry", "[robot]", "[robot]\nhello",
        "line 11: \"hello\" is not an entry; accepted is key = value");
    row("no key", "[robot]", "[robot]\n= x", "line 11: \"= x\" is not an entry; accepted is key = value");
    row("section not closed", "[robot]", "[robot",
        "line 10: \"[robot\" is not a section; accepted is [name]");
    row("no section", "[database]\n", "", "line 1: \"file\" stands before the first section");
    row("not UTF-8", "Ada", "Ad\xe9", "line 15: not UTF-8, the encoding that is accepted");
    row("cut UTF-8", "Ada", "Ad\xe7\x8e", "line 15: not UTF-8, the encoding that is accepted");
    row("section twice", "[user]", "[cache]",
        "line 13: section [cache] stands a second time; accepted is once");
    row("key twice", "name = Ada", "id = 8",
        "line 15: user/id stands a second time, first in line 14; accepted is once");
    row("unknown key", "name = Ada", "nmae = Ada",
        "line 15: user/nmae is not a known key; accepted are user/id, user/name, user/login");
    row("unknown section", "[robot]", "[robots]",
        "line 11: robots/host is not a known key; accepted are database/driver,");
    row("other case", "[robot]", "[Robot]", "line 11: Robot/host is not a known key");
}

void ConfigReadingTest::brokenLinesAreNamed()
{
    checkBroken();
}

void ConfigReadingTest::brokenTextsAreNamed_data()
{
    addBrokenColumns();
    row("list", "Ada", "Byron, Ada",
        "line 15: user/name is a list (Byron, Ada), but one text is due: put a text with a comma in double "
        "quotes");
    row("quoted list", "Ada", "\"Byron\", \"Ada\"",
        "line 15: user/name is a list (\"Byron\", \"Ada\"), but one text is due");
    row("semicolon", "Ada", "Ada;Byron",
        "line 15: user/name holds ; (Ada;Byron): put a text with it in double quotes");
    row("hash", "Ada", "Ada #1", "line 15: user/name holds # (Ada #1): put a text with it in double quotes");
    row("quote inside", "Ada", "A\"da",
        "line 15: user/name holds \" (A\"da): put a text with it in double quotes");
    row("quote not closed", "Ada", "\"Ada",
        "line 15: user/name begins with a double quote that is not closed");
    row("behind quotes", "Ada", "\"Ada\" B",
        "line 15: user/name has text after its closing double quote (B)");
    row("backslash", "data/store", "C:\\data",
        "line 4: document_store/root holds \\d, which means nothing: write two");
    row("backslash last", "data/store", "data\\", "line 4: document_store/root ends in a single backslash");
    row("hexadecimal", "Ada", "\\xg", "line 15: user/name holds \\x without one to four hexadecimal digits");
    row("long hexadecimal", "Ada", "\\x12345",
        "line 15: user/name holds \\x without one to four hexadecimal digits");
    row("control character", "Ada", "A\\nda",
        "line 15: user/name holds a control character or half of a character; "
        "accepted is the operator's name as it is shown");
    row("NUL", "Ada", QByteArray("A\0da", 4), "line 15: user/name holds a control character");
    row("half a character", "Ada", "\\xd800",
        "line 15: user/name holds a control character or half of a character");
}

void ConfigReadingTest::brokenTextsAreNamed()
{
    checkBroken();
}

void ConfigReadingTest::unfitValuesAreNamed_data()
{
    addBrokenColumns();
    const auto port = [](const char* found) {
        return QByteArray("line 12: robot/port ") + found + "; accepted is a number from 1 to 65535";
    };
    row("empty", "9098", "", port("is empty"));
    row("quoted empty", "9098", "\"\"", port("is empty"));
    row("only a comment", "9098", "; default", port("is empty"));
    row("not a number", "9098", "high", port("is \"high\""));
    row("half a number", "9098", "90x", port("is \"90x\""));
    row("broken number", "9098", "90.5", port("is \"90.5\""));
    row("negative", "9098", "-1", port("is \"-1\""));
    row("too large", "9098", "65536", port("is \"65536\""));
    row("beyond an int", "9098", "99999999999", port("is \"99999999999\""));
    row("unknown driver", "file = data", "driver = QPSQL\nfile = data",
        "line 2: database/driver is \"QPSQL\"; accepted is QSQLITE or QMYSQL");
    row("unknown kind",
        "root =", "kind = s3\nroot =", "line 4: document_store/kind is \"s3\"; accepted is local or mongodb");
    row("unknown truth", "root =", "allow_plaintext = maybe\nroot =",
        "line 4: document_store/allow_plaintext is \"maybe\"; accepted is true or false");
    row("name that leaves", "plant", "..",
        "line 5: document_store/database is \"..\"; accepted is a name of at most 120");
    row("name with separator", "odbpp", "a/b",
        "line 6: document_store/file_store is \"a/b\"; accepted is a name of");
    row("blank in host", "192.0.2.7", "my host",
        "line 11: robot/host is \"my host\"; accepted is the address or name");
    row("not a MongoDB URI", "root =", "uri = http://x\nroot =",
        "line 4: document_store/uri is \"http://x\"; accepted is a URI that begins with mongodb:// or "
        "mongodb+srv://");
}

void ConfigReadingTest::unfitValuesAreNamed()
{
    checkBroken();
}

void ConfigReadingTest::missingKeysAreNamed_data()
{
    addBrokenColumns();
    const auto missing = [](const char* piece, const QByteArray& replacement, const char* message) {
        QTest::newRow(message) << QByteArray(piece) << replacement << QString::fromUtf8(message);
    };
    const QByteArray sqlite = "[database]\nfile = data/site.db\n";
    missing("file = data/site.db\n", "",
            "database/file is missing; accepted is the path of the SQLite database");
    missing("root = data/store\n", "",
            "document_store/root is missing; accepted is the path of the store's folder");
    missing("root = data/store", "kind = mongodb", "document_store/uri is missing; accepted is a URI");
    missing("database = plant\n", "", "document_store/database is missing; accepted is a name");
    missing("file_store = odbpp\n", "", "document_store/file_store is missing; accepted is a name");
    missing("upload = up\n", "", "cache/upload is missing; accepted is the path");
    missing("download = down/\n", "", "cache/download is missing; accepted is the path");
    missing("host = 192.0.2.7\n", "", "robot/host is missing; accepted is the address");
    missing("port = 9098\n", "", "robot/port is missing; accepted is a number from 1 to 65535");
    missing("id = 7\n", "", "user/id is missing; accepted is a number from 0 to 2147483647");
    missing("name = Ada\n", "", "user/name is missing; accepted is the operator's name");
    missing(sqlite.constData(), QByteArray(serverText).replace("host = 127.0.0.1\n", ""),
            "database/host is missing;");
    missing(sqlite.constData(), QByteArray(serverText).replace("name = zav\n", ""),
            "database/name is missing;");
    missing(sqlite.constData(), QByteArray(serverText).replace("user = plant\n", ""),
            "database/user is missing;");
    missing(
        sqlite.constData(), QByteArray(serverText).replace("127.0.0.1", "db.plant.example"),
        "database/tls_ca is missing; the server \"db.plant.example\" is not on this machine and needs it, or "
        "database/allow_plaintext = true");
    missing(sqlite.constData(), QByteArray(serverText).replace("127.0.0.1", "127.0.0.1.example"),
            "database/tls_ca is missing");
    missing(sqlite.constData(), serverText, "accepted");
    for (const char* host : {"LocalHost", "[::1]", "/run/mysqld/mysqld.sock"})
        missing(sqlite.constData(), QByteArray(serverText).replace("127.0.0.1", host), "accepted");
    missing(sqlite.constData(), QByteArray(serverText).replace("127.0.0.1", "h\nallow_plaintext = true"),
            "accepted");
}

void ConfigReadingTest::missingKeysAreNamed()
{
    QFETCH(QByteArray, piece);
    QFETCH(QByteArray, replacement);
    QFETCH(QString, message);
    const ConfigurationFile file;
    file.writeWith(piece, replacement);
    const QString found = messageOf(file);
    QVERIFY2(found.contains(message), qPrintable(found));
    QVERIFY(found == QLatin1String("accepted") || found.contains(file.path()));
}

void ConfigReadingTest::numbersEndAtTheirLimits_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<qint64>("smallest");
    QTest::addColumn<qint64>("largest");

    QTest::newRow("port") << QStringLiteral("robot/port") << qint64(1) << qint64(65535);
    QTest::newRow("server port") << QStringLiteral("database/port") << qint64(1) << qint64(65535);
    QTest::newRow("connect") << QStringLiteral("database/connect_timeout") << qint64(1) << qint64(3600);
    QTest::newRow("read") << QStringLiteral("database/read_timeout") << qint64(1) << qint64(3600);
    QTest::newRow("write") << QStringLiteral("database/write_timeout") << qint64(1) << qint64(3600);
    QTest::newRow("busy") << QStringLiteral("database/busy_timeout") << qint64(0) << qint64(600000);
    QTest::newRow("history") << QStringLiteral("history/keep_days") << qint64(0) << qint64(36500);
    QTest::newRow("user") << QStringLiteral("user/id") << qint64(0) << qint64(2147483647);
}

void ConfigReadingTest::numbersEndAtTheirLimits()
{
    QFETCH(QString, key);
    QFETCH(qint64, smallest);
    QFETCH(qint64, largest);
    const ConfigurationFile file;
    file.write(ConfigurationFile::smallestText());
    const auto codeOf = [&](qint64 value) {
        return writeSetting(file.path(), key, QString::number(value)).code();
    };
    QCOMPARE(codeOf(smallest), ErrorCode::None);
    QCOMPARE(codeOf(smallest - 1), ErrorCode::InvalidArgument);
    QCOMPARE(codeOf(largest), ErrorCode::None);
    QCOMPARE(codeOf(largest + 1), ErrorCode::InvalidArgument);
    QCOMPARE(readSetting(file.path(), key).value(), QString::number(largest));
}

void ConfigReadingTest::everyKeyOfAServiceTellsSettingsApart_data()
{
    QTest::addColumn<QString>("key");
    for (const SettingRule& rule : settingRules())
        if (const QString key = QLatin1String(rule.key); key.startsWith(QLatin1String("d")))
            QTest::newRow(rule.key) << key;
}

/// Database and store are opened anew where these differ.
void ConfigReadingTest::everyKeyOfAServiceTellsSettingsApart()
{
    QFETCH(const QString, key);
    const SettingRule& rule = *findSettingRule(key);
    Settings changed;
    QString value = QStringLiteral("mongodb://h/");
    if (rule.type == SettingType::Choice)
        value = rule.choices.last();
    else if (rule.type == SettingType::Number)
        value = QString::number(rule.range.largest);
    else if (rule.type == SettingType::Flag)
        value = QStringLiteral("true");
    else if (rule.type == SettingType::LocationName)
        value = QStringLiteral("other");
    QVERIFY(rule.take(changed, value, QDir(QStringLiteral("/"))));
    QVERIFY(!rule.show(changed).isEmpty());
    const bool isDatabase = key.startsWith(QLatin1String("database/"));
    QCOMPARE(changed.database == DatabaseSettings(), !isDatabase);
    QCOMPARE(changed.documentStore == DocumentStoreSettings(), isDatabase);
}

void ConfigReadingTest::unreadableFilesAreNamed()
{
    const ConfigurationFile file;
    QVERIFY(messageOf(file).contains(file.path()));
    QCOMPARE(loadSettings(file.path()).code(), ErrorCode::Configuration);
    QCOMPARE(loadSettings(file.folder()).code(), ErrorCode::Configuration);
    QVERIFY(loadSettings(file.folder()).message().contains(file.folder()));
    file.write(QByteArray(2 * 1024 * 1024, '\n'));
    QVERIFY(messageOf(file).contains(file.path()));
    QCOMPARE(loadSettings(file.path()).code(), ErrorCode::Configuration);
}

void ConfigReadingTest::passwordsAreNotShown()
{
    for (const char* uri :
         {"http://plant:geheim@h/", "mongodb://plant:geheim@a,b/", "mongodb://plant:ge@heim@a b/"}) {
        const ConfigurationFile file;
        file.writeWith("root =", QByteArray("uri = ") + uri + "\nroot =");
        QVERIFY(QFile::setPermissions(file.path(), QFile::ReadOwner | QFile::WriteOwner));
        const QString message = messageOf(file);
        QVERIFY2(message.contains(QLatin1String("document_store/uri")), qPrintable(message));
        QVERIFY2(!message.contains(QLatin1String("heim")), qPrintable(message));
    }
}

void ConfigReadingTest::filesOfQSettingsAreRead()
{
    const QStringList names = {QStringLiteral("Ada"), QStringLiteral("Byron, Ada; = \"x\" \\ 'y'"),
                               QString::fromUtf8("\xe7\x8e\x8b\xe4\xbc\x9f"), QStringLiteral(" blanks ")};
    for (const QString& name : names) {
        const ConfigurationFile file;
        file.write(ConfigurationFile::smallestText());
        QSettings writer(file.path(), QSettings::IniFormat);
        writer.setIniCodec("UTF-8");
        writer.setValue(QStringLiteral("user/name"), name);
        writer.setValue(QStringLiteral("robot/port"), 4711);
        writer.sync();
        const Result<Settings> settings = loadSettings(file.path());
        QVERIFY2(settings.ok(), qPrintable(settings.message()));
        QCOMPARE(settings->userName, name);
        QCOMPARE(settings->robotPort, 4711);
        QCOMPARE(settings->robotHost, QStringLiteral("192.0.2.7"));
    }
}

void ConfigReadingTest::explicitPathThenEnvironmentThenHome()
{
    const QByteArray before = qgetenv("ZAV_CONFIG");
    qputenv("ZAV_CONFIG", "/srv/environment.ini");
    QCOMPARE(configurationPath(QStringLiteral("/srv/explicit.ini")), QStringLiteral("/srv/explicit.ini"));
    QCOMPARE(configurationPath(QStringLiteral("here.ini")),
             QDir::current().absoluteFilePath(QStringLiteral("here.ini")));
    QCOMPARE(configurationPath({}), QStringLiteral("/srv/environment.ini"));
    qunsetenv("ZAV_CONFIG");
    QCOMPARE(configurationPath({}), QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                                        QStringLiteral("/zav_import/zav.ini"));
    qputenv("ZAV_CONFIG", before);
}

ZAV_REGISTER_TEST(config_reading, ConfigReadingTest, QCoreApplication)

#include "config_reading.moc"
