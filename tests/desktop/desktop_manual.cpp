// The road that the manual describes, from the first start to the robot, as an operator goes it in a real
// window, in each language of the client. With ZAV_TEST_PICTURES it leaves the pictures of the manual:
// manual/LANGUAGE/NAME.png. What they show has no path of this machine where mounting is permitted: the
// client then has the folder of the test as /srv.

#include "samples/JobGenerator.h"
#include "tests/support/AdminSession.h"
#include "tests/support/DesktopOperator.h"
#include "tests/support/RobotPeer.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

/// In the order of the pages in the window.
enum class Page { Files = 1, Preview, Results, Robot, Companies };

/// Runs what follows with a folder as /srv; empty where that is not permitted.
QStringList toolFor(const QString& folder)
{
    const QStringList tool = {QStringLiteral("unshare"),
                              QStringLiteral("-m"),
                              QStringLiteral("sh"),
                              QStringLiteral("-c"),
                              QStringLiteral("mount --bind \"$1\" /srv && shift && exec \"$@\""),
                              QStringLiteral("sh"),
                              folder};
    const QStringList trial = tool + QStringList{QStringLiteral("true")};
    return runProgram(trial.first(), trial.mid(1)).exitCode == 0 ? tool : QStringList();
}

/// A site that is not there yet, a delivery that lies there, and the client with an operator before it.
class Road final
{
public:
    Road(const Desktop& desktop, QString language)
        : client(desktop)
        , operatorHand(client)
        , m_desktop(desktop)
        , m_language(std::move(language))
        , m_tool(toolFor(m_folder.path()))
        , m_root(m_tool.isEmpty() ? m_folder.path() : QStringLiteral("/srv"))
    {
    }

    /// As the client sees it.
    [[nodiscard]] QString place(const QString& name) const { return m_root + QLatin1Char('/') + name; }
    /// As this test sees it.
    [[nodiscard]] QString file(const QString& name) const { return m_folder.filePath(name); }

    bool start(const QStringList& arguments = {})
    {
        // The language of the messages alone: file names stay UTF-8.
        const QString locale = isChinese() ? QStringLiteral("zh_CN.UTF-8") : QStringLiteral("en_GB.UTF-8");
        return client.startBy(m_tool, arguments,
                              {{QStringLiteral("ZAV_CONFIG"), QString()},
                               {QStringLiteral("LC_ALL"), QString()},
                               {QStringLiteral("LANGUAGE"), QString()},
                               {QStringLiteral("LC_CTYPE"), QStringLiteral("C.UTF-8")},
                               {QStringLiteral("LANG"), locale}});
    }

    void deliver(const QString& company, const QString& name,
                 const std::optional<Samples::ArchiveKind>& archive, int layers) const
    {
        Samples::JobRequest request;
        request.directory = file(company);
        request.name = name;
        request.layers = layers;
        request.bytes = 3 * Samples::kSmallestJob;
        request.archive = archive;
        const auto made = Samples::generateJob(request);
        if (!made.ok())
            qFatal("%s", qUtf8Printable(made.error));
    }

    /// Two companies that will be known and one that will not; entries of every kind of fate.
    void deliverBatch() const
    {
        using Samples::ArchiveKind;
        const QString batch = QStringLiteral("delivery/1122/");
        deliver(batch + QStringLiteral("虹湾电路"), QStringLiteral("amp-1200"), std::nullopt, 4);
        deliver(batch + QStringLiteral("虹湾电路"), QStringLiteral("control_v3"), ArchiveKind::Zip, 6);
        deliver(batch + QStringLiteral("虹湾电路"), QStringLiteral("power-unit"), ArchiveKind::Tgz, 2);
        deliver(batch + QStringLiteral("青禾电子"), QStringLiteral("sensor-hub"), ArchiveKind::Zip, 8);
        deliver(batch + QStringLiteral("青禾电子"), QStringLiteral("radar-77"), ArchiveKind::Tgz, 4);
        deliver(batch + QStringLiteral("松岩科技"), QStringLiteral("rf-module"), ArchiveKind::Zip, 4);
        deliver(QStringLiteral("delivery/urgent"), QStringLiteral("display-7"), ArchiveKind::Zip, 10);
        const QString cut = file(batch + QStringLiteral("青禾电子/radar-77.tgz"));
        writeFile(local(cut), readFile(local(cut)).left(40'000));
        writeFile(local(file(batch + QStringLiteral("青禾电子/order.pdf"))), "no job");
    }

    bool write(const QString& field, const QString& text)
    {
        if (!client.click(field))
            return false;
        m_desktop.press(QStringLiteral("ctrl+a"));
        m_desktop.type(text);
        return client.find(field, [&text](const SeenWidget& seen) { return seen.text == text; }).has_value();
    }

    bool turnTo(Page page, const QString& name)
    {
        m_desktop.press(QStringLiteral("ctrl+%1").arg(static_cast<int>(page)));
        return client.find(name).has_value();
    }

    /// A double click that came while the window was raised may have gone to the window manager in part.
    bool open(const QString& job)
    {
        constexpr int listMs = 10'000;
        bool isThere = false;
        for (int times = 0; times < 3 && !isThere; ++times)
            isThere = client.clickItem(QStringLiteral("waitingTable"), job, 1, 2) &&
                      client.waitUntilShown(QStringLiteral("jobListDock"), listMs);
        return isThere;
    }

    QString accept() { return client.answer(isChinese() ? QStringLiteral("确定") : QStringLiteral("OK")); }
    QString agree() { return client.answer(isChinese() ? QStringLiteral("是(Y)") : QStringLiteral("Yes")); }
    bool acceptBatch()
    {
        return !operatorHand.answerBatch(isChinese() ? QStringLiteral("确定") : QStringLiteral("OK"))
                    .isEmpty();
    }

    /// The pointer is put on the title, where nothing is said of it.
    void picture(const QString& name)
    {
        if (qEnvironmentVariableIsEmpty("ZAV_TEST_PICTURES"))
            return;
        m_desktop.moveTo({m_desktop.size().width() / 2, 8});
        client.takePicture(QStringLiteral("manual/%1/%2").arg(m_language, name));
    }

    DesktopClient client;
    DesktopOperator operatorHand;

private:
    [[nodiscard]] bool isChinese() const { return m_language == QLatin1String("zh"); }

    const Desktop& m_desktop;
    QString m_language;
    QTemporaryDir m_folder;
    QStringList m_tool;
    QString m_root;
};

} // namespace

class DesktopManualTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void road_data();
    void road();

private:
    void firstStart(Road& road);
    void addsCompanies(Road& road);
    void importsBatch(Road& road);
    void looksAtResults(Road& road);
    void importsSingle(Road& road);
    void sendsToRobot(Road& road);
    void missesRobot(Road& road);
    void readsTheManual(Road& road);
    void looksAtSettings(Road& road);

    std::unique_ptr<Desktop> m_desktop;
};

void DesktopManualTest::initTestCase()
{
    m_desktop = std::make_unique<Desktop>(QSize(1200, 820));
}

void DesktopManualTest::road_data()
{
    QTest::addColumn<QString>("language");
    QTest::newRow("zh") << QStringLiteral("zh");
    QTest::newRow("en") << QStringLiteral("en");
}

void DesktopManualTest::road()
{
    QFETCH(const QString, language);
    Road road(*m_desktop, language);
    road.deliverBatch();
    const std::vector<void (DesktopManualTest::*)(Road&)> steps = {
        &DesktopManualTest::firstStart,     &DesktopManualTest::addsCompanies,
        &DesktopManualTest::importsBatch,   &DesktopManualTest::looksAtResults,
        &DesktopManualTest::importsSingle,  &DesktopManualTest::sendsToRobot,
        &DesktopManualTest::missesRobot,    &DesktopManualTest::readsTheManual,
        &DesktopManualTest::looksAtSettings};
    for (const auto step : steps) {
        (this->*step)(road);
        if (QTest::currentTestFailed())
            return m_desktop->takePicture(QStringLiteral("manual-failed-") + language);
    }
    QCOMPARE(road.client.quit(), 0);
}

/// Nothing is there: the client asks what is to be used, and makes it.
void DesktopManualTest::firstStart(Road& road)
{
    QVERIFY(road.start());
    QVERIFY(road.client.find(QStringLiteral("firstRunPage")));
    QVERIFY(
        road.write(QStringLiteral("firstConfiguration"), road.place(QStringLiteral("zav_import/zav.ini"))));
    QVERIFY(road.write(QStringLiteral("firstData"), road.place(QStringLiteral("zav_import/data"))));
    road.picture(QStringLiteral("first-start"));
    QVERIFY(road.client.click(QStringLiteral("firstGo")));
    QVERIFY(road.client.find(QStringLiteral("panelNotice")));
    road.picture(QStringLiteral("no-company"));
    // A robot that no other test has, for the next start.
    QCOMPARE(road.client.quit(), 0);
    const QString port = QString::number(RobotPeer::closedPort());
    const auto set =
        runAdmin(road.file(QStringLiteral("zav_import/zav.ini")),
                 {QStringLiteral("config"), QStringLiteral("set"), QStringLiteral("robot/port"), port});
    QVERIFY2(set.code == Admin::ExitCode::Success, qPrintable(set.err));
    QVERIFY(road.start({QStringLiteral("--robot")}));
}

/// The preview offers to add companies; one is left out on purpose.
void DesktopManualTest::addsCompanies(Road& road)
{
    QVERIFY(road.operatorHand.chooseBatch(road.place(QStringLiteral("delivery/1122"))));
    QVERIFY(road.client.click(QStringLiteral("foresightAddCompanies")));
    QVERIFY(road.client.find(QStringLiteral("addCompanies > QLabel=松岩科技")));
    for (const auto& [name, code] : {std::pair("虹湾电路", "HW"), std::pair("青禾电子", "QH")}) {
        const auto label =
            road.client.find(QStringLiteral("addCompanies > QLabel=") + QString::fromUtf8(name));
        QVERIFY(label);
        for (const SeenWidget& field : road.client.look(QStringLiteral("addCompanies > newCode"))) {
            if (field.rect.contains(QPoint(field.rect.center().x(), label->rect.center().y())))
                m_desktop->click(field.rect.center());
        }
        m_desktop->type(QString::fromLatin1(code));
        QVERIFY(
            road.client.find(QStringLiteral("addCompanies > newCode"), [code = code](const SeenWidget& seen) {
                return seen.text == QLatin1String(code);
            }));
    }
    road.picture(QStringLiteral("add-companies"));
    m_desktop->press(QStringLiteral("Return"));
    QVERIFY(road.client.waitUntilGone(QStringLiteral("addCompanies")));
    QVERIFY(road.turnTo(Page::Companies, QStringLiteral("companiesPage")));
    QVERIFY(road.client.showsText(QStringLiteral("companies"), QStringLiteral("青禾电子")));
    road.picture(QStringLiteral("companies"));
}

void DesktopManualTest::importsBatch(Road& road)
{
    QVERIFY(road.client.click(QStringLiteral("dismissNoticeButton")));
    QVERIFY(road.operatorHand.chooseBatch(road.place(QStringLiteral("delivery/1122"))));
    QVERIFY(road.client.showsText(QStringLiteral("foresightEntries"), QStringLiteral("rf-module.zip")));
    QVERIFY(road.client.waitUntilGone(QStringLiteral("foresightProgress")));
    QVERIFY(road.client.clickItem(QStringLiteral("foresightEntries"), QStringLiteral("rf-module.zip")));
    road.picture(QStringLiteral("preview"));
    QVERIFY(road.operatorHand.pressImport());
    QVERIFY(road.client.find(QStringLiteral("QMessageBox")));
    road.picture(QStringLiteral("batch-question"));
    QCOMPARE(road.accept(), QStringLiteral("公司名 松岩科技 不存在"));
    QVERIFY(road.acceptBatch());
}

void DesktopManualTest::looksAtResults(Road& road)
{
    QVERIFY(road.turnTo(Page::Results, QStringLiteral("resultsPage")));
    QVERIFY(road.client.clickItem(QStringLiteral("resultEntries"), QStringLiteral("radar-77.tgz")));
    QVERIFY(road.client.showsText(QStringLiteral("resultEntries"), QStringLiteral("order.pdf")));
    road.picture(QStringLiteral("results"));
    QVERIFY(road.turnTo(Page::Files, QStringLiteral("filesPage")));
    QVERIFY(road.client.showsText(QStringLiteral("jobsTable"), QStringLiteral("sensor-hub")));
    road.picture(QStringLiteral("window"));
}

void DesktopManualTest::importsSingle(Road& road)
{
    const QString box = QStringLiteral("importDock > QGroupBox=导入 > QPushButton=");
    QVERIFY(road.client.click(box + QStringLiteral("选择文件")));
    QVERIFY(road.client.chooseInDialog(road.place(QStringLiteral("delivery/urgent/display-7.zip"))));
    QVERIFY(road.client.showsText(QStringLiteral("foresightEntries"), QStringLiteral("display-7.zip")));
    QVERIFY(road.client.waitUntilGone(QStringLiteral("foresightProgress")));
    road.picture(QStringLiteral("single"));
    QVERIFY(road.client.click(box + QStringLiteral("导入")));
    QCOMPARE(road.accept(), QStringLiteral("导入成功!"));
}

void DesktopManualTest::sendsToRobot(Road& road)
{
    QVERIFY(road.open(QStringLiteral("HW000002")));
    QVERIFY(road.client.find(QStringLiteral("jobListDock > QPushButton=导入"),
                             [](const SeenWidget& seen) { return seen.focus; }));
    road.picture(QStringLiteral("job-list"));
    m_desktop->press(QStringLiteral("space"));
    QVERIFY(road.client.find(QStringLiteral("QMessageBox")));
    road.picture(QStringLiteral("job-question"));
    QVERIFY(road.agree().contains(QStringLiteral("HW000002")));
    QVERIFY(road.client.find(QStringLiteral("jobDock > KOZAV::Host::LayerStackView")));
    QVERIFY(road.client.waitUntilGone(QStringLiteral("jobListDock > QTableWidget")));
    road.picture(QStringLiteral("job-opened"));
    QCOMPARE(road.client.quit(), 0);
}

/// Without the robot a request goes nowhere, and stands on its page until it is sent again.
void DesktopManualTest::missesRobot(Road& road)
{
    QVERIFY(road.start());
    QVERIFY(road.open(QStringLiteral("HW000001")));
    QVERIFY(road.client.click(QStringLiteral("jobListDock > QPushButton=导入")));
    QVERIFY(road.agree().contains(QStringLiteral("HW000001")));
    QCOMPARE(road.accept(), QStringLiteral("Server connect failed!"));
    // The opened job would take its room.
    QCOMPARE(road.client.quit(), 0);
    QVERIFY(road.start());
    QVERIFY(road.turnTo(Page::Robot, QStringLiteral("robotPage")));
    QVERIFY(road.client.clickItem(QStringLiteral("robotRequests"), QStringLiteral("HW000001")));
    road.picture(QStringLiteral("robot"));
}

/// Beside the window, at the page on the robot.
void DesktopManualTest::readsTheManual(Road& road)
{
    m_desktop->press(QStringLiteral("F1"));
    QVERIFY(road.client.find(QStringLiteral("helpWindow > helpText"),
                             [](const SeenWidget& seen) { return seen.focus; }));
    road.picture(QStringLiteral("help"));
    m_desktop->press(QStringLiteral("Escape"));
    QVERIFY(road.client.waitUntilGone(QStringLiteral("helpWindow")));
}

void DesktopManualTest::looksAtSettings(Road& road)
{
    // The second entry of the first menu, however they are called.
    const auto bar = road.client.find(QStringLiteral("QMenuBar"));
    QVERIFY(bar && !bar->items.empty());
    m_desktop->click(bar->items.front().rect.center());
    const auto menu = road.client.find(QStringLiteral("QMenu"));
    QVERIFY(menu && menu->items.size() == 3);
    m_desktop->click(menu->items.at(1).rect.center());
    QVERIFY(road.client.find(QStringLiteral("settingsDialog")));
    road.picture(QStringLiteral("settings"));
    m_desktop->press(QStringLiteral("Escape"));
    QVERIFY(road.client.waitUntilGone(QStringLiteral("settingsDialog")));
}

ZAV_REGISTER_TEST(desktop_manual, DesktopManualTest, QCoreApplication)
#include "desktop_manual.moc"
