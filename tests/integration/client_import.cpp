// The client's import of one waiting job, as a script starts it.

#include "samples/JobGenerator.h"
#include "tests/support/ClientProgram.h"
#include "tests/support/FreshSite.h"
#include "tests/support/OperatedPanel.h"
#include "tests/support/RobotPeer.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QDir>
#include <QTest>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

/// A site with one waiting job HX000001.
class WaitingJob final
{
public:
    WaitingJob()
    {
        site.addCompany(QStringLiteral("HX"), QStringLiteral("甲"));
        Samples::JobRequest request;
        request.directory = site.path(QStringLiteral("batch/甲"));
        request.name = QStringLiteral("board");
        const auto made = Samples::generateJob(request);
        if (!made.ok())
            qFatal("%s", qUtf8Printable(made.error));
        OperatedPanel panel;
        panel.importBatch(site.path(QStringLiteral("batch")));
        if (!panel.complaint().isEmpty())
            qFatal("%s", qUtf8Printable(panel.complaint()));
    }

    /// @return the exit code
    int runClient(const QStringList& arguments)
    {
        const ClientRun client = Test::runClient(
            QStringList({QStringLiteral("--config"), site.configuration(), QStringLiteral("--import")}) +
            arguments);
        output = client.output + client.errors;
        return client.exitCode;
    }

    FreshSite site;
    QString output;
};

} // namespace

class ClientImport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sendsTheRequest();
    void robotMode();
    void robotThatIsNotThere();
    void robotInside();
    void unknownJob();
    void jobThatNoLongerWaits();
    void fileInAnothersPlaceIsNotOpened();
};

void ClientImport::sendsTheRequest()
{
    WaitingJob job;
    const RobotPeer robot(RobotPeer::Mode::Answer);
    job.site.configure(QStringLiteral("robot/port"), QString::number(robot.port()));
    QVERIFY2(job.runClient({QStringLiteral("HX000001")}) == 0, qPrintable(job.output));
    QVERIFY(job.output.contains(QStringLiteral("message: Information: 确认导入job:HX000001到ZAV系统吗?")));
    QVERIFY(job.output.contains(QStringLiteral("opened: HX000001: 1 steps")));
    QVERIFY(job.output.contains(QStringLiteral("sent: HX000001")));
    QTRY_COMPARE(
        robot.received().value(0),
        QByteArray(R"({"module":"robot","msgParams":{"fromWeb":false,"jobname":"HX000001"},"msgType":1})"));
    QCOMPARE(job.site.jobs().front().state, 1);
    QCOMPARE(job.site.jobs().front().subState, 2);
}

void ClientImport::robotMode()
{
    WaitingJob job;
    const RobotPeer robot(RobotPeer::Mode::Answer);
    job.site.configure(QStringLiteral("robot/port"), QString::number(robot.port()));
    QVERIFY2(job.runClient({QStringLiteral("HX000001"), QStringLiteral("--mode"), QStringLiteral("1")}) == 0,
             qPrintable(job.output));
    QTRY_VERIFY(robot.received().value(0).contains("HX000001"));
}

void ClientImport::robotThatIsNotThere()
{
    WaitingJob job;
    job.site.configure(QStringLiteral("robot/port"), QString::number(RobotPeer::closedPort()));
    QCOMPARE(job.runClient({QStringLiteral("HX000001")}), 1);
    QVERIFY2(job.output.contains(QStringLiteral("message: Information: Server connect failed!")),
             qPrintable(job.output));
    QVERIFY(!job.output.contains(QStringLiteral("sent:")));
}

void ClientImport::robotInside()
{
    WaitingJob job;
    job.site.configure(QStringLiteral("robot/port"), QString::number(RobotPeer::closedPort()));
    QVERIFY2(job.runClient({QStringLiteral("HX000001"), QStringLiteral("--robot")}) == 0,
             qPrintable(job.output));
    QVERIFY(job.output.contains(QStringLiteral("sent: HX000001")));
}

void ClientImport::unknownJob()
{
    WaitingJob job;
    QCOMPARE(job.runClient({QStringLiteral("HX999999")}), 2);
    QVERIFY2(job.output.contains(QStringLiteral("the site has no job HX999999")), qPrintable(job.output));
}

void ClientImport::jobThatNoLongerWaits()
{
    WaitingJob job;
    const RobotPeer robot(RobotPeer::Mode::Answer);
    job.site.configure(QStringLiteral("robot/port"), QString::number(robot.port()));
    QVERIFY2(job.runClient({QStringLiteral("HX000001")}) == 0, qPrintable(job.output));
    QCOMPARE(job.runClient({QStringLiteral("HX000001")}), 2);
    QVERIFY2(job.output.contains(QStringLiteral("does not wait for import")), qPrintable(job.output));
}

void ClientImport::fileInAnothersPlaceIsNotOpened()
{
    WaitingJob job;
    OperatedPanel panel;
    Samples::JobRequest request;
    request.directory = job.site.path(QStringLiteral("more/甲"));
    request.name = QStringLiteral("other");
    request.seed = 2;
    QVERIFY(Samples::generateJob(request).ok());
    panel.importBatch(job.site.path(QStringLiteral("more")));
    QCOMPARE(job.site.jobs().size(), size_t{2});
    swapStoredFiles(job.site.configuration(), job.site.jobs().front().storedName,
                    job.site.jobs().back().storedName);
    const RobotPeer robot(RobotPeer::Mode::Answer);
    job.site.configure(QStringLiteral("robot/port"), QString::number(robot.port()));
    QCOMPARE(job.runClient({QStringLiteral("HX000001")}), 1);
    QVERIFY2(job.output.contains(
                 QStringLiteral(
                     "the stored file %1 does not have the content with which the job HX000001 was imported")
                     .arg(job.site.jobs().front().storedName)),
             qPrintable(job.output));
    QVERIFY(!job.output.contains(QStringLiteral("opened:")));
    QVERIFY(robot.received().isEmpty());
    QCOMPARE(job.site.jobs().front().state, 0);
}

ZAV_REGISTER_TEST(client_import, ClientImport, QApplication)

#include "client_import.moc"
