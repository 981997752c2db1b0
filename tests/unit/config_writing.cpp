#include "backend/config/IniDocument.h"
#include "backend/config/SettingRules.h"
#include "tests/support/ConfigurationFile.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTest>

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

class ConfigWritingTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void defaultsWork();
    void defaultsSpeakOfEveryKey();
    void defaultsArePrivate_data();
    void defaultsArePrivate();
    void defaultsReplaceNoFile();
    void foldersAreMadePrivate();
    void settingKeepsTheRest();
    void settingAnAbsentKey_data();
    void settingAnAbsentKey();
    void valuesComeBack_data();
    void valuesComeBack();
    void everyTextIsReadAsItIsWritten();
    void unusableValuesAreRefused_data();
    void unusableValuesAreRefused();
    void brokenFileIsMendedByItsKey();
    void brokenFileIsNotMendedByAnother();
    void writtenFileIsPrivateAndWhole();
    void writingFollowsALink();
    void failedWriteLeavesTheFile();
    void readingGivesWhatIsInForce();
};

namespace {

QStringList filesIn(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

} // namespace

void ConfigWritingTest::defaultsWork()
{
    const ConfigurationFile file;
    const QString data = file.inFolder(QStringLiteral("d, \"x\"; y\\z"));
    QCOMPARE(createDefaultSettings(file.path(), data).message(), QString());
    const Result<Settings> settings = loadSettings(file.path());
    QVERIFY2(settings.ok(), qPrintable(settings.message()));
    QCOMPARE(settings->database.file, data + QStringLiteral("/site.db"));
    QCOMPARE(settings->documentStore.root, data + QStringLiteral("/store"));
    QCOMPARE(settings->uploadCache, data + QStringLiteral("/upload/"));
    QCOMPARE(settings->downloadCache, data + QStringLiteral("/download/"));
    QCOMPARE(settings->robotHost, QStringLiteral("127.0.0.1"));
    QCOMPARE(settings->robotPort, 9098);
    QCOMPARE(settings->userId, 1);
    QCOMPARE(settings->userName, settings->userLogin);
    QVERIFY(!settings->userName.isEmpty());
}

void ConfigWritingTest::defaultsSpeakOfEveryKey()
{
    const ConfigurationFile file;
    QVERIFY(createDefaultSettings(file.path(), file.inFolder(QStringLiteral("data"))).ok());
    const QString text = QString::fromUtf8(file.content());
    for (const SettingRule& setting : settingRules()) {
        const QString name = QString::fromLatin1(setting.key).section(QLatin1Char('/'), 1);
        QVERIFY2(text.contains(QLatin1Char('\n') + name + QStringLiteral(" = ")) ||
                     text.contains(QStringLiteral("\n;") + name + QStringLiteral(" = ")),
                 setting.key);
    }
}

void ConfigWritingTest::defaultsArePrivate_data()
{
    QTest::addColumn<int>("mask");
    QTest::newRow("umask 000") << 0;
    QTest::newRow("umask 022") << 022;
    QTest::newRow("umask 077") << 077;
}

void ConfigWritingTest::defaultsArePrivate()
{
    QFETCH(int, mask);
    const ConfigurationFile file;
    const QString path = file.inFolder(QStringLiteral("a/b/zav.ini"));
    const mode_t before = ::umask(static_cast<mode_t>(mask));
    const Status made = createDefaultSettings(path, file.inFolder(QStringLiteral("data")));
    ::umask(before);
    QVERIFY2(made.ok(), qPrintable(made.message()));
    QCOMPARE(permissionsOf(path), 0600U);
    QCOMPARE(permissionsOf(file.inFolder(QStringLiteral("a/b"))), 0700U);
    QCOMPARE(permissionsOf(file.inFolder(QStringLiteral("a"))), 0700U);
    QCOMPARE(filesIn(file.inFolder(QStringLiteral("a/b"))), QStringList{QStringLiteral("zav.ini")});
}

void ConfigWritingTest::defaultsReplaceNoFile()
{
    const ConfigurationFile file;
    file.write("mine");
    const Status made = createDefaultSettings(file.path());
    QCOMPARE(made.code(), ErrorCode::AlreadyExists);
    QVERIFY2(made.message().contains(file.path()), qPrintable(made.message()));
    QCOMPARE(file.content(), QByteArray("mine"));
    QCOMPARE(filesIn(file.folder()).size(), 1);
}

void ConfigWritingTest::foldersAreMadePrivate()
{
    const ConfigurationFile file;
    file.write(ConfigurationFile::smallestText());
    const Status made = makeFolders(loadSettings(file.path()).value());
    QVERIFY2(made.ok(), qPrintable(made.message()));
    for (const char* name : {"up", "down"})
        QCOMPARE(permissionsOf(file.inFolder(QLatin1String(name))), 0700U);
    QVERIFY(!QFileInfo::exists(file.inFolder(QStringLiteral("data"))));
    file.writeWith("upload = up", "upload = zav.ini/up");
    QVERIFY(!makeFolders(loadSettings(file.path()).value()).ok());
}

void ConfigWritingTest::settingKeepsTheRest()
{
    const ConfigurationFile file;
    file.write("; first\n" + ConfigurationFile::smallestText() + "# last\n");
    const Status set = writeSetting(file.path(), QStringLiteral("robot/port"), QStringLiteral("4711"));
    QVERIFY2(set.ok(), qPrintable(set.message()));
    const QByteArray expected =
        "; first\n" + ConfigurationFile::smallestText().replace("9098", "4711") + "# last\n";
    QCOMPARE(file.content(), expected);
}

void ConfigWritingTest::settingAnAbsentKey_data()
{
    QTest::addColumn<QByteArray>("piece");
    QTest::addColumn<QByteArray>("present");
    QTest::addColumn<QByteArray>("after");

    QTest::newRow("end of its section")
        << QByteArray("[document_store]") << QByteArray("\n[document_store]")
        << QByteArray("file = data/site.db\nbusy_timeout = 50\n\n[document_store]");
    QTest::newRow("proposed by a comment")
        << QByteArray("file = data/site.db") << QByteArray("; busy_timeout = 1\nfile = data/site.db")
        << QByteArray("[database]\nbusy_timeout = 50\nfile = data/site.db\n");
}

void ConfigWritingTest::settingAnAbsentKey()
{
    QFETCH(QByteArray, piece);
    QFETCH(QByteArray, present);
    QFETCH(QByteArray, after);
    const ConfigurationFile file;
    file.writeWith(piece, present);
    const Status set =
        writeSetting(file.path(), QStringLiteral("database/busy_timeout"), QStringLiteral("50"));
    QVERIFY2(set.ok(), qPrintable(set.message()));
    QVERIFY2(file.content().contains(after), file.content().constData());
    QCOMPARE(loadSettings(file.path())->database.busyTimeoutMs, 50);
}

void ConfigWritingTest::valuesComeBack_data()
{
    QTest::addColumn<QString>("value");
    QTest::newRow("plain") << QStringLiteral("Ada");
    QTest::newRow("comma") << QStringLiteral("Byron, Ada");
    QTest::newRow("quotes") << QStringLiteral("\"Ada\"");
    QTest::newRow("backslashes") << QStringLiteral("\\\\server\\x41\\");
    QTest::newRow("comment signs") << QStringLiteral("; # =");
    QTest::newRow("blanks") << QStringLiteral("  Ada  ");
    QTest::newRow("section") << QStringLiteral("[user]");
    QTest::newRow("Chinese") << QString::fromUtf8("\xe7\x8e\x8b\xe4\xbc\x9f \xf0\x9f\x94\xa7");
}

void ConfigWritingTest::valuesComeBack()
{
    QFETCH(QString, value);
    const ConfigurationFile file;
    file.write(ConfigurationFile::smallestText());
    const Status set = writeSetting(file.path(), QStringLiteral("user/name"), value);
    QVERIFY2(set.ok(), qPrintable(set.message()));
    QCOMPARE(readSetting(file.path(), QStringLiteral("user/name")).value(), value);
    QSettings reader(file.path(), QSettings::IniFormat);
    reader.setIniCodec("UTF-8");
    QCOMPARE(reader.value(QStringLiteral("user/name")).toString(), value);
}

void ConfigWritingTest::everyTextIsReadAsItIsWritten()
{
    for (const char* const text : {"a\x01"
                                   "1b",
                                   "\x1f", "\n0", "\"\\;#,", " a ", "\xe7\x94\xb2", ""}) {
        const QString value = QString::fromUtf8(text);
        const auto document = IniDocument::parse("[user]\nname = " + encodeIniValue(value).toUtf8() + '\n');
        QVERIFY2(document.ok(), qPrintable(document.message()));
        QCOMPARE(document->entries().front().value, value);
    }
}

void ConfigWritingTest::unusableValuesAreRefused_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("message");

    int number = 0;
    const auto row = [&number](const char* key, const char* value, const char* message) {
        QTest::addRow("%s %d", key, number++)
            << QString::fromUtf8(key) << QString::fromUtf8(value) << QString::fromUtf8(message);
    };
    row("robot/port", "high", "robot/port is \"high\"; accepted is a number from 1 to 65535");
    row("robot/port", "", "robot/port is empty; accepted is a number from 1 to 65535");
    row("user/name", "a\nb", "user/name holds a control character");
    row("user/name", "a\x1b[2J", "user/name holds a control character");
    row("database/driver", "QMYSQL", "database/host is missing");
    row("database/driver", "sqlite", "accepted is QSQLITE or QMYSQL");
    row("robot/prot", "1", "robot/prot is not a known key; accepted are robot/host, robot/port");
    row("port", "1", "port is not a known key; accepted are database/driver");
}

void ConfigWritingTest::unusableValuesAreRefused()
{
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(QString, message);
    const ConfigurationFile file;
    file.write(ConfigurationFile::smallestText());
    const Status set = writeSetting(file.path(), key, value);
    QCOMPARE(set.code(), ErrorCode::InvalidArgument);
    QVERIFY2(set.message().contains(message), qPrintable(set.message()));
    QCOMPARE(file.content(), ConfigurationFile::smallestText());
    QCOMPARE(filesIn(file.folder()).size(), 1);
}

void ConfigWritingTest::brokenFileIsMendedByItsKey()
{
    const ConfigurationFile file;
    file.writeWith("port = 9098", "port = high");
    QCOMPARE(writeSetting(file.path(), QStringLiteral("robot/port"), QStringLiteral("9098")).message(),
             QString());
    QCOMPARE(file.content(), ConfigurationFile::smallestText());
}

void ConfigWritingTest::brokenFileIsNotMendedByAnother()
{
    const ConfigurationFile file;
    file.writeWith("port = 9098", "port = high");
    const QByteArray before = file.content();
    const Status set = writeSetting(file.path(), QStringLiteral("user/id"), QStringLiteral("8"));
    QCOMPARE(set.code(), ErrorCode::Configuration);
    QVERIFY2(set.message().contains(QLatin1String("robot/port is \"high\"")), qPrintable(set.message()));
    QCOMPARE(file.content(), before);
}

void ConfigWritingTest::writtenFileIsPrivateAndWhole()
{
    const ConfigurationFile file;
    file.write(ConfigurationFile::smallestText());
    QVERIFY(QFile::setPermissions(file.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther));
    QFile reader(file.path());
    QVERIFY(reader.open(QIODevice::ReadOnly));
    QVERIFY(writeSetting(file.path(), QStringLiteral("user/id"), QStringLiteral("8")).ok());
    QCOMPARE(permissionsOf(file.path()), 0600U);
    QCOMPARE(reader.readAll(), ConfigurationFile::smallestText());
    QCOMPARE(filesIn(file.folder()), QStringList{QStringLiteral("zav.ini")});
}

void ConfigWritingTest::writingFollowsALink()
{
    const ConfigurationFile file;
    file.write(ConfigurationFile::smallestText());
    const QString link = file.inFolder(QStringLiteral("link.ini"));
    QVERIFY(QFile::link(file.path(), link));
    QVERIFY(writeSetting(link, QStringLiteral("user/id"), QStringLiteral("8")).ok());
    QVERIFY(QFileInfo(link).isSymLink());
    QVERIFY(file.content().contains("id = 8"));
}

void ConfigWritingTest::failedWriteLeavesTheFile()
{
    const ConfigurationFile file;
    file.write(ConfigurationFile::smallestText());
    struct rlimit before = {};
    QCOMPARE(::getrlimit(RLIMIT_FSIZE, &before), 0);
    struct rlimit small = before;
    small.rlim_cur = 10;
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const Status set = writeSetting(file.path(), QStringLiteral("user/id"), QStringLiteral("8"));
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, handler);
    QCOMPARE(set.code(), ErrorCode::Io);
    QVERIFY2(set.message().contains(file.path()), qPrintable(set.message()));
    QCOMPARE(file.content(), ConfigurationFile::smallestText());
    QCOMPARE(filesIn(file.folder()).size(), 1);
}

void ConfigWritingTest::readingGivesWhatIsInForce()
{
    const ConfigurationFile file;
    file.write(ConfigurationFile::smallestText());
    const auto shown = [&file](const char* key) {
        return readSetting(file.path(), QLatin1String(key)).value();
    };
    QCOMPARE(shown("database/driver"), QStringLiteral("QSQLITE"));
    QCOMPARE(shown("database/file"), file.inFolder(QStringLiteral("data/site.db")));
    QCOMPARE(shown("database/allow_plaintext"), QStringLiteral("false"));
    QCOMPARE(shown("database/host"), QString());
    QCOMPARE(shown("cache/upload"), file.inFolder(QStringLiteral("up/")));
    QCOMPARE(readSetting(file.path(), QStringLiteral("x/y")).code(), ErrorCode::InvalidArgument);
    file.write("broken");
    QCOMPARE(readSetting(file.path(), QStringLiteral("user/id")).code(), ErrorCode::Configuration);
}

ZAV_REGISTER_TEST(config_writing, ConfigWritingTest, QCoreApplication)

#include "config_writing.moc"
