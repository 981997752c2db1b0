// A job's whole way through the client: from an empty site to the robot's receipt.

#include "host/CamImport.h"
#include "host/JobListDock.h"
#include "host/LayerStackView.h"
#include "host/MainWindow.h"
#include "host/ServiceLog.h"
#include "host/site/SiteAccess.h"
#include "samples/JobGenerator.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/ui/ZAV_UICommon.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/FreshSite.h"
#include "tests/support/PanelView.h"
#include "tests/support/RobotPeer.h"
#include "tests/support/TestProgram.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"
#include "ui/import_list/ZAV_Import_Widget.h"

#include <QApplication>
#include <QDir>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTableWidget>
#include <QTest>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

const QString company = QStringLiteral("深圳华兴电路");

/// The client on a fresh site with one company and a robot that answers.
class Client final
{
public:
    Client()
    {
        site.configure(QStringLiteral("robot/host"), QStringLiteral("127.0.0.1"));
        site.configure(QStringLiteral("robot/port"), QString::number(robot.port()));
        site.addCompany(QStringLiteral("HX"), company);
        access = std::make_unique<Host::SiteAccess>(site.configuration());
        window = std::make_unique<Host::MainWindow>(*access, log);
        window->show();
    }

    void importBatch(const QString& directory)
    {
        const PanelView panel(*window->importPanel());
        dialogs.expectFileDialog({directory});
        QTest::mouseClick(panel.openFolder, Qt::LeftButton);
        dialogs.expectMessage();
        dialogs.expectMessage();
        QTest::mouseClick(panel.batchImport, Qt::LeftButton);
    }

    /// Picks the job in the list of waiting jobs and opens the job list panel for it.
    void openWaitingJob(const QString& jobName)
    {
        auto* table = named<QTableView>(QStringLiteral("Jobs that wait for import"));
        const auto select = [&] {
            for (int row = 0; row < table->model()->rowCount(); ++row) {
                if (table->model()->index(row, 1).data().toString() == jobName)
                    table->selectRow(row);
            }
            return table->selectionModel()->hasSelection();
        };
        QTRY_VERIFY(select());
        QTest::mouseClick(buttonStarting(QStringLiteral("&Open for import")), Qt::LeftButton);
    }

    UI::ZAV_Import_Widget* jobListPanel() { return window->findChild<UI::ZAV_Import_Widget*>(); }

    /// Picks the job's row on the job list panel, presses the button and confirms.
    void confirm(const QString& jobName)
    {
        auto* table = jobListPanel()->findChild<QTableWidget*>();
        for (int row = 0; row < table->rowCount(); ++row) {
            if (table->item(row, 2)->text() == jobName)
                table->selectRow(row);
        }
        dialogs.expectMessage(QMessageBox::Yes);
        for (auto* button : jobListPanel()->findChildren<QPushButton*>()) {
            if (button->text() == QStringLiteral("导入"))
                QTest::mouseClick(button, Qt::LeftButton);
        }
    }

    DataLib::Model::Odbpp_JobFlow flow(const char* jobName)
    {
        std::vector<DataLib::Model::Odbpp_JobFlow> found;
        DataLib::BLL::Odbpp_JobFlowBll().select({{"KoSerialName", jobName}}, {}, found);
        return found.empty() ? DataLib::Model::Odbpp_JobFlow() : found.front();
    }

    RobotPeer robot{RobotPeer::Mode::Answer};
    FreshSite site;
    DialogDriver dialogs;
    Host::ServiceLog log;
    std::unique_ptr<Host::SiteAccess> access;
    std::unique_ptr<Host::MainWindow> window;

private:
    template <typename Widget>
    Widget* named(const QString& accessibleName)
    {
        for (auto* widget : window->findChildren<Widget*>()) {
            if (widget->accessibleName() == accessibleName)
                return widget;
        }
        qFatal("the window has no %s", qUtf8Printable(accessibleName));
        return nullptr;
    }

    QPushButton* buttonStarting(const QString& text)
    {
        for (auto* button : window->findChildren<QPushButton*>()) {
            if (button->text().startsWith(text))
                return button;
        }
        qFatal("the window has no button %s", qUtf8Printable(text));
        return nullptr;
    }
};

/// A real job where there is one, otherwise one of the generator's. @return the archive's path
QString jobArchive(const QString& target)
{
    const QString real = QStringLiteral(ZAV_TEST_ODBPP_DIR "/sample_design.tgz");
    const QString archive = target + QStringLiteral("/board.tgz");
    if (!QDir().mkpath(target))
        qFatal("%s cannot be made", qUtf8Printable(target));
    if (QFile::copy(real, archive))
        return archive;
    qInfo("no real job %s: a generated one takes its place", qUtf8Printable(real));
    Samples::JobRequest request;
    request.directory = target;
    request.name = QStringLiteral("board");
    request.archive = Samples::ArchiveKind::Tgz;
    const auto made = Samples::generateJob(request);
    if (!made.ok())
        qFatal("%s", qUtf8Printable(made.error));
    return made.path;
}

} // namespace

class Road : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fromAnEmptySiteToTheRobot();
    void jobThatCannotBeOpened();
    void jobWhoseFileIsDamaged();
};

void Road::fromAnEmptySiteToTheRobot()
{
    Client client;
    const QString batch = client.site.path(QStringLiteral("batch"));
    const QString archive = jobArchive(batch + QLatin1Char('/') + company);
    const QByteArray content = contentOf(archive);

    // Imported: rows and file are there.
    client.importBatch(batch);
    QCOMPARE(client.dialogs.complaint(), QString());
    QCOMPARE(int(client.site.jobs().size()), 1);
    QVERIFY(client.site.jobs().front().complete);
    QCOMPARE(contentOf(client.site.fetch(client.site.jobs().front())), content);
    QCOMPARE(client.flow("HX000001").state, 0);

    // Listed and opened.
    client.openWaitingJob(QStringLiteral("HX000001"));
    QVERIFY(client.jobListPanel() != nullptr);
    QVERIFY(client.window->jobListDock().isVisible());

    // Confirmed: announced, opened off the GUI thread, reported as done, stamped, sent.
    QSignalSpy announced(UI::ZAV_UICommon::interface(), &UI::ZAV_UICommon::emitCAMImportJobInfo);
    QSignalSpy succeeded(UI::ZAV_UICommon::interface(), &UI::ZAV_UICommon::hasImportSuccess);
    QSignalSpy opened(&client.window->camImport(), &Host::CamImport::opened);
    QSignalSpy sent(&client.window->jobListDock(), &Host::JobListDock::requestSent);
    client.confirm(QStringLiteral("HX000001"));
    QCOMPARE(client.dialogs.shown().back().text, QStringLiteral("确认导入job:HX000001到ZAV系统吗?"));
    QCOMPARE(announced.count(), 1);
    QCOMPARE(announced.at(0).at(0).toString(), QStringLiteral("board|HX000001"));
    QTRY_COMPARE_WITH_TIMEOUT(sent.count(), 1, 60000);
    QCOMPARE(opened.count(), 1);
    QCOMPARE(succeeded.count(), 1);
    QCOMPARE(client.dialogs.complaint(), QString());

    const auto job = opened.at(0).at(1).value<Host::OdbJob>();
    QVERIFY(!job.matrix.layers.empty());
    const auto* stack = client.window->findChild<Host::LayerStackView*>();
    QVERIFY(stack->accessibleDescription().contains(job.matrix.layers.front().name));

    const auto flow = client.flow("HX000001");
    QCOMPARE(flow.state, 1);
    QCOMPARE(flow.subState, 2);
    QCOMPARE(flow.preImportUserId, 1);
    QVERIFY(!flow.preImportOrCheckTime.empty());
    QVERIFY(!client.window->jobListDock().isVisible());

    const QByteArray request =
        R"({"module":"robot","msgParams":{"fromWeb":false,"jobname":"HX000001"},"msgType":1})";
    QTRY_COMPARE(client.robot.received().value(0), request);
}

void Road::jobThatCannotBeOpened()
{
    Client client;
    const QString batch = client.site.path(QStringLiteral("batch"));
    QVERIFY(QDir().mkpath(batch + QLatin1Char('/') + company + QStringLiteral("/folder")));
    QFile file(batch + QLatin1Char('/') + company + QStringLiteral("/folder/readme.txt"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.write("no board") > 0);
    file.close();
    client.importBatch(batch);
    client.openWaitingJob(QStringLiteral("HX000001"));

    QSignalSpy succeeded(UI::ZAV_UICommon::interface(), &UI::ZAV_UICommon::hasImportSuccess);
    QSignalSpy failed(&client.window->camImport(), &Host::CamImport::failed);
    QSignalSpy ended(&client.window->camImport(), &Host::CamImport::ended);
    client.confirm(QStringLiteral("HX000001"));
    QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 1, 60000);
    QCOMPARE(failed.count(), 1);
    QVERIFY(failed.at(0).at(1).toString().contains(QStringLiteral("not an ODB++ job")));
    QCOMPARE(succeeded.count(), 0);
    QCOMPARE(client.flow("HX000001").state, 0);
    QVERIFY(client.window->jobListDock().isVisible());
    QVERIFY(client.robot.barrier());
    QVERIFY(client.robot.received().value(0).isEmpty());
    QCOMPARE(client.dialogs.complaint(), QString());
}

void Road::jobWhoseFileIsDamaged()
{
    Client client;
    const QString batch = client.site.path(QStringLiteral("batch"));
    jobArchive(batch + QLatin1Char('/') + company);
    client.importBatch(batch);
    const QString storedName = client.site.jobs().front().storedName;
    if (const QString refusal = FreshSite::damage(storedName); !refusal.isEmpty())
        QSKIP(qPrintable(refusal));

    client.openWaitingJob(QStringLiteral("HX000001"));
    QSignalSpy failed(&client.window->camImport(), &Host::CamImport::failed);
    QSignalSpy ended(&client.window->camImport(), &Host::CamImport::ended);
    client.confirm(QStringLiteral("HX000001"));
    QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 1, 60000);
    QCOMPARE(failed.count(), 1);
    QCOMPARE(client.flow("HX000001").state, 0);
}

ZAV_REGISTER_TEST(road, Road, QApplication)

#include "road.moc"
