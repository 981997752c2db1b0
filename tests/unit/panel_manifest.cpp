#include "tests/support/LocaleCodec.h"
#include "tests/support/PanelHarness.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <sys/stat.h>

using KOZAV::Test::LocaleCodec;
using KOZAV::Test::PanelHarness;

class PanelManifestTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void manifest_data();
    void manifest();
    void withoutManifestNothingIsChanged();
    void withoutFolderNothingIsChanged();
    void unreadableManifestChangesNothing();
    void whatIsNoRegularFileIsNotReadButRemoved_data();
    void whatIsNoRegularFileIsNotReadButRemoved();
    void linkToAManifestIsReadAndRemoved();
    void onlyTheManifestIsDeleted();
    void fileNameIsExact();
    void outputsAreUtf8();
    void pathNotInAsciiComesBackFromLocal8Bit();
    void pathInAnotherCodePageComesBackFromLocal8Bit();
    void outputsStayUtf8InAnotherCodePage();
    void readingCallsNoService();
    void readingTwiceFindsNothingTheSecondTime();

private:
    [[nodiscard]] QString manifestPath() const { return m_harness->path(QStringLiteral("job/readme.json")); }
    QString read(const QString& folder);

    void useLatin1() { m_codec = std::make_unique<LocaleCodec>("ISO 8859-1"); }

    std::unique_ptr<LocaleCodec> m_codec;
    std::unique_ptr<PanelHarness> m_harness;
    std::string m_customer2;
    std::string m_customer3;
};

void PanelManifestTest::init()
{
    m_harness = std::make_unique<PanelHarness>();
    m_harness->open();
    m_harness->makeFolder(QStringLiteral("job"));
    m_customer2 = "before 2";
    m_customer3 = "before 3";
}

void PanelManifestTest::cleanup()
{
    VERIFY_DIALOGS(*m_harness);
    m_harness.reset();
    m_codec.reset();
}

QString PanelManifestTest::read(const QString& folder)
{
    const std::string key = (m_harness->path(folder) + QLatin1Char('/')).toLocal8Bit().toStdString();
    return m_harness->panel().readmejson(key, m_customer2, m_customer3);
}

// A null result stands for no "resource"; the two outputs keep what they held where the manifest has no text
// for them.
void PanelManifestTest::manifest_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("resource");
    QTest::addColumn<QByteArray>("customer2");
    QTest::addColumn<QByteArray>("customer3");
    const QString none;
    const QByteArray same2 = "before 2";
    const QByteArray same3 = "before 3";

    QTest::newRow("complete") << QByteArray(R"({"resource":"r","customer2":"c2","customer3":"c3"})")
                              << QStringLiteral("r") << QByteArray("c2") << QByteArray("c3");
    QTest::newRow("further members")
        << QByteArray(R"({"a":[1],"customer3":"c3","resource":"r","b":{"resource":"x"}})")
        << QStringLiteral("r") << same2 << QByteArray("c3");
    QTest::newRow("only resource") << QByteArray(R"({"resource":"r"})") << QStringLiteral("r") << same2
                                   << same3;
    QTest::newRow("only customer2") << QByteArray(R"({"customer2":"c2"})") << none << QByteArray("c2")
                                    << same3;
    QTest::newRow("only customer3") << QByteArray(R"({"customer3":"c3"})") << none << same2
                                    << QByteArray("c3");
    QTest::newRow("empty object") << QByteArray("{}") << none << same2 << same3;
    QTest::newRow("empty texts") << QByteArray(R"({"resource":"","customer2":"","customer3":""})")
                                 << QStringLiteral("") << QByteArray("") << QByteArray("");
    QTest::newRow("resource is a number")
        << QByteArray(R"({"resource":5,"customer2":"c2"})") << none << QByteArray("c2") << same3;
    QTest::newRow("resource is true") << QByteArray(R"({"resource":true})") << none << same2 << same3;
    QTest::newRow("resource is null") << QByteArray(R"({"resource":null})") << none << same2 << same3;
    QTest::newRow("resource is an array") << QByteArray(R"({"resource":["r"]})") << none << same2 << same3;
    QTest::newRow("resource is an object")
        << QByteArray(R"({"resource":{"a":"r"}})") << none << same2 << same3;
    QTest::newRow("customer2 is a number")
        << QByteArray(R"({"customer2":2,"customer3":"c3"})") << none << same2 << QByteArray("c3");
    QTest::newRow("customer3 is null")
        << QByteArray(R"({"customer2":"c2","customer3":null})") << none << QByteArray("c2") << same3;
    QTest::newRow("keys in capitals")
        << QByteArray(R"({"Resource":"r","Customer2":"c2","CUSTOMER3":"c3"})") << none << same2 << same3;
    QTest::newRow("keys with blanks")
        << QByteArray(R"({"resource ":"r"," customer2":"c2"})") << none << same2 << same3;
    QTest::newRow("no closing brace")
        << QByteArray(R"({"resource":"r","customer2":"c2")") << none << same2 << same3;
    QTest::newRow("text behind") << QByteArray(R"({"resource":"r"} x)") << none << same2 << same3;
    QTest::newRow("not JSON") << QByteArray("resource=r") << none << same2 << same3;
    QTest::newRow("top level array") << QByteArray(R"([{"resource":"r","customer2":"c2"}])") << none << same2
                                     << same3;
    QTest::newRow("top level text") << QByteArray(R"("resource")") << none << same2 << same3;
    QTest::newRow("empty file") << QByteArray("") << none << same2 << same3;
    QTest::newRow("not UTF-8") << QByteArray("{\"resource\":\"\xff\xfe\"}") << none << same2 << same3;
    QTest::newRow("byte order mark") << QByteArray("\xef\xbb\xbf{\"resource\":\"r\"}") << QStringLiteral("r")
                                     << same2 << same3;
}

void PanelManifestTest::manifest()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, resource);
    QFETCH(QByteArray, customer2);
    QFETCH(QByteArray, customer3);
    m_harness->makeFile(QStringLiteral("job/readme.json"), content);
    const QString result = read(QStringLiteral("job"));
    QCOMPARE(result, resource);
    QCOMPARE(result.isNull(), resource.isNull());
    QCOMPARE(QByteArray::fromStdString(m_customer2), customer2);
    QCOMPARE(QByteArray::fromStdString(m_customer3), customer3);
    QVERIFY(!QFile::exists(manifestPath()));
}

void PanelManifestTest::withoutManifestNothingIsChanged()
{
    QVERIFY(read(QStringLiteral("job")).isNull());
    QCOMPARE(m_customer2, std::string("before 2"));
    QCOMPARE(m_customer3, std::string("before 3"));
}

void PanelManifestTest::withoutFolderNothingIsChanged()
{
    QVERIFY(read(QStringLiteral("no such folder")).isNull());
    QCOMPARE(m_customer2, std::string("before 2"));
    QVERIFY(!QFile::exists(m_harness->path(QStringLiteral("no such folder"))));
}

void PanelManifestTest::unreadableManifestChangesNothing()
{
    // A folder of that name can neither be read nor deleted as a file.
    m_harness->makeFolder(QStringLiteral("job/readme.json"));
    QVERIFY(read(QStringLiteral("job")).isNull());
    QCOMPARE(m_customer2, std::string("before 2"));
    QVERIFY(QFile::exists(manifestPath()));
}

void PanelManifestTest::whatIsNoRegularFileIsNotReadButRemoved_data()
{
    QTest::addColumn<QString>("linkTarget"); // empty: the manifest itself is the pipe
    QTest::newRow("pipe") << QString();
    QTest::newRow("link to a pipe") << QStringLiteral("../pipe");
    QTest::newRow("link to a device") << QStringLiteral("/dev/zero");
    QTest::newRow("link to a folder") << QStringLiteral("../folder");
    QTest::newRow("link to nothing") << QStringLiteral("../nothing");
}

void PanelManifestTest::whatIsNoRegularFileIsNotReadButRemoved()
{
    QFETCH(QString, linkTarget);
    m_harness->makeFolder(QStringLiteral("folder"));
    const QString pipe = linkTarget.isEmpty() ? manifestPath() : m_harness->path(QStringLiteral("pipe"));
    QCOMPARE(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    if (!linkTarget.isEmpty())
        QVERIFY(QFile::link(linkTarget, manifestPath()));

    QVERIFY(read(QStringLiteral("job")).isNull());
    QCOMPARE(m_customer2, std::string("before 2"));
    QCOMPARE(m_customer3, std::string("before 3"));
    QCOMPARE(QDir(m_harness->path(QStringLiteral("job")))
                 .entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList());
    // What a link led to stays.
    QVERIFY(QFile::exists(m_harness->path(QStringLiteral("folder"))));
    QCOMPARE(QFile::exists(pipe), !linkTarget.isEmpty());
}

void PanelManifestTest::linkToAManifestIsReadAndRemoved()
{
    const QString manifest =
        m_harness->makeFile(QStringLiteral("texts.json"), R"({"resource":"r","customer2":"c2"})");
    QVERIFY(QFile::link(manifest, manifestPath()));
    QCOMPARE(read(QStringLiteral("job")), QStringLiteral("r"));
    QCOMPARE(m_customer2, std::string("c2"));
    QVERIFY(!QFileInfo(manifestPath()).isSymLink());
    QVERIFY(QFile::exists(manifest));
}

void PanelManifestTest::onlyTheManifestIsDeleted()
{
    m_harness->makeFile(QStringLiteral("job/matrix"));
    m_harness->makeFile(QStringLiteral("job/steps/readme.json"), R"({"resource":"below"})");
    m_harness->makeFile(QStringLiteral("job/readme.json"), R"({"resource":"r"})");
    QCOMPARE(read(QStringLiteral("job")), QStringLiteral("r"));
    QVERIFY(QFile::exists(m_harness->path(QStringLiteral("job/matrix"))));
    QVERIFY(QFile::exists(m_harness->path(QStringLiteral("job/steps/readme.json"))));
}

void PanelManifestTest::fileNameIsExact()
{
    m_harness->makeFile(QStringLiteral("job/README.json"), R"({"resource":"r"})");
    m_harness->makeFile(QStringLiteral("job/readme.json.txt"), R"({"resource":"r"})");
    QVERIFY(read(QStringLiteral("job")).isNull());
    QVERIFY(QFile::exists(m_harness->path(QStringLiteral("job/README.json"))));
}

void PanelManifestTest::outputsAreUtf8()
{
    m_harness->makeFile(
        QStringLiteral("job/readme.json"),
        "{\"resource\":\"\xe7\x94\xb2\",\"customer2\":\"\\u7532\",\"customer3\":\"\xc3\xbc\"}");
    QCOMPARE(read(QStringLiteral("job")), QStringLiteral("甲"));
    QCOMPARE(m_customer2, std::string("\xe7\x94\xb2"));
    QCOMPARE(m_customer3, std::string("\xc3\xbc"));
}

void PanelManifestTest::pathNotInAsciiComesBackFromLocal8Bit()
{
    m_harness->makeFile(QStringLiteral("作业 größe/readme.json"), R"({"resource":"r"})");
    QCOMPARE(read(QStringLiteral("作业 größe")), QStringLiteral("r"));
    QVERIFY(!QFile::exists(m_harness->path(QStringLiteral("作业 größe/readme.json"))));
}

void PanelManifestTest::pathInAnotherCodePageComesBackFromLocal8Bit()
{
    useLatin1();
    m_harness->makeFile(QStringLiteral("größe/readme.json"), R"({"resource":"r"})");
    QCOMPARE(read(QStringLiteral("größe")), QStringLiteral("r"));
    QVERIFY(!QFile::exists(m_harness->path(QStringLiteral("größe/readme.json"))));
}

void PanelManifestTest::outputsStayUtf8InAnotherCodePage()
{
    useLatin1();
    outputsAreUtf8();
}

void PanelManifestTest::readingCallsNoService()
{
    m_harness->makeFile(QStringLiteral("job/readme.json"), R"({"resource":"r"})");
    read(QStringLiteral("job"));
    COMPARE_JOURNAL(*m_harness, {});
}

void PanelManifestTest::readingTwiceFindsNothingTheSecondTime()
{
    m_harness->makeFile(QStringLiteral("job/readme.json"), R"({"resource":"r","customer2":"c2"})");
    QCOMPARE(read(QStringLiteral("job")), QStringLiteral("r"));
    m_customer2 = "again";
    QVERIFY(read(QStringLiteral("job")).isNull());
    QCOMPARE(m_customer2, std::string("again"));
}

ZAV_REGISTER_TEST(panel_manifest, PanelManifestTest, QApplication)

#include "panel_manifest.moc"
