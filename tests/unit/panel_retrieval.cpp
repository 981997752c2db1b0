#include "tests/support/LocaleCodec.h"
#include "tests/support/PanelHarness.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QTest>

using namespace KOZAV;
using KOZAV::Test::call;
using KOZAV::Test::LocaleCodec;
using KOZAV::Test::PanelHarness;

class PanelRetrievalTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void extension_data();
    void extension();
    void noSeparatorIsInsertedIntoTheLocalPath();
    void namesAreNotCheckedOrChanged();
    void configurationIsFetchedAtEachCall();
    void failedStoreIsNotReported();
    void localPathIsLocal8Bit();

private:
    [[nodiscard]] Test::RecordingServices& services() const { return m_harness->services; }
    void fetch(const char* uuid, const char* type, const char* originName)
    {
        m_harness->panel().getFilesFrommogodbUuidTypeOriginName(
            QString::fromUtf8(uuid), QString::fromUtf8(type), QString::fromUtf8(originName));
    }

    std::unique_ptr<LocaleCodec> m_codec;
    std::unique_ptr<PanelHarness> m_harness;
};

void PanelRetrievalTest::init()
{
    m_harness = std::make_unique<PanelHarness>();
    m_harness->open();
}

void PanelRetrievalTest::cleanup()
{
    VERIFY_DIALOGS(*m_harness);
    QVERIFY(m_harness->dialogs.shown().empty());
    m_harness.reset();
    m_codec.reset();
}

void PanelRetrievalTest::extension_data()
{
    QTest::addColumn<QByteArray>("originName");
    QTest::addColumn<QByteArray>("extension");
    QTest::newRow("file stands for zip") << QByteArray("file") << QByteArray("zip");
    QTest::newRow("capital") << QByteArray("File") << QByteArray("File");
    QTest::newRow("capitals") << QByteArray("FILE") << QByteArray("FILE");
    QTest::newRow("longer") << QByteArray("files") << QByteArray("files");
    QTest::newRow("shorter") << QByteArray("fil") << QByteArray("fil");
    QTest::newRow("blank behind") << QByteArray("file ") << QByteArray("file ");
    QTest::newRow("empty") << QByteArray("") << QByteArray("");
    QTest::newRow("kos") << QByteArray("kos") << QByteArray("kos");
    QTest::newRow("tgz") << QByteArray("tgz") << QByteArray("tgz");
    QTest::newRow("not ASCII") << QByteArray("板") << QByteArray("板");
}

void PanelRetrievalTest::extension()
{
    QFETCH(QByteArray, originName);
    QFETCH(QByteArray, extension);
    const std::string end = '.' + extension.toStdString();
    fetch("local", "stored", originName.constData());
    COMPARE_JOURNAL(*m_harness,
                    {call("getConfig"), call("getConfig"), call("getConfig"),
                     call("MongodbGet", "jobs_db", "jobs_fs",
                          services().results.config.downloadCacheDir + "local" + end, "stored" + end)});
}

void PanelRetrievalTest::noSeparatorIsInsertedIntoTheLocalPath()
{
    services().results.config.downloadCacheDir = "/cache/prefix_";
    fetch("local", "stored", "zip");
    QCOMPARE(services().lastEntry(),
             call("MongodbGet", "jobs_db", "jobs_fs", "/cache/prefix_local.zip", "stored.zip"));
}

void PanelRetrievalTest::namesAreNotCheckedOrChanged()
{
    services().results.config.downloadCacheDir = "/cache/";
    fetch("", "A b", "file");
    QCOMPARE(services().lastEntry(), call("MongodbGet", "jobs_db", "jobs_fs", "/cache/.zip", "A b.zip"));
}

void PanelRetrievalTest::configurationIsFetchedAtEachCall()
{
    fetch("local", "stored", "zip");
    services().results.config.mongoDbName = "other_db";
    services().results.config.mongoFsName = "other_fs";
    services().results.config.downloadCacheDir = "/other/";
    fetch("local", "stored", "zip");
    QCOMPARE(services().lastEntry(),
             call("MongodbGet", "other_db", "other_fs", "/other/local.zip", "stored.zip"));
}

void PanelRetrievalTest::failedStoreIsNotReported()
{
    services().results.storeStatus = 1;
    fetch("local", "stored", "zip");
    QCOMPARE(services().count("MongodbGet"), 1);
}

void PanelRetrievalTest::localPathIsLocal8Bit()
{
    m_codec = std::make_unique<LocaleCodec>("ISO 8859-1");
    services().results.config.downloadCacheDir = "/größe/";
    fetch("local", "stored", "zip");
    QCOMPARE(services().lastEntry(),
             call("MongodbGet", "jobs_db", "jobs_fs", "/gr\xf6\xdf\x65/local.zip", "stored.zip"));
}

ZAV_REGISTER_TEST(panel_retrieval, PanelRetrievalTest, QApplication)

#include "panel_retrieval.moc"
