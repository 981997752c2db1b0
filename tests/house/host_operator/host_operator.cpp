// An operator at the window of the example host: imports job folders, confirms them one after the other on
// the job list panel, and has them sent to a robot.

#include "FolderSite.h"
#include "HostWindow.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/ui/ZAV_UICommon.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"
#include "ui/import_list/ZAV_Import_Widget.h"

#include <QJsonDocument>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTableWidget>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>

using KOZAV::UI::ZAV_Import_Widget;

constexpr int patienceMs = 120000;

class HostOperatorTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();

    void confirmedJobGoesToTheRobotAndTheNextOneIsOpen();
    void declinedJobStays();
    void importedJobWithoutRobotCanBeSentLater();

private:
    [[nodiscard]] ZAV_Import_Widget* jobList() const { return m_window->findChild<ZAV_Import_Widget*>(); }
    [[nodiscard]] QPushButton* imported() const;
    void importFolder(const QString& name);
    void confirm(QMessageBox::StandardButton answer);

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<HostWindow> m_window;
};

void HostOperatorTest::init()
{
    m_window.reset();
    m_folder = std::make_unique<QTemporaryDir>();
    FolderSite& site = FolderSite::current();
    QCOMPARE(site.useFolder(m_folder->filePath(QStringLiteral("site"))), QString());
    site.addCompany(QStringLiteral("A"), QStringLiteral("Alpha"));
    m_window = std::make_unique<HostWindow>();
    m_window->show();
    importFolder(QStringLiteral("one"));
    importFolder(QStringLiteral("two"));
    KOZAV::UI::ZAV_UICommon::interface()->refreshOrigFileTable();
    QCOMPARE(m_window->listedJobs(), QStringList({QStringLiteral("A000001"), QStringLiteral("A000002")}));
}

/// The button by which the operator says what a CAM system would.
QPushButton* HostOperatorTest::imported() const
{
    for (QPushButton* button : m_window->findChildren<QPushButton*>())
        if (button->text() == QStringLiteral("The job has been imported"))
            return button;
    qFatal("the window has no such button");
    return nullptr;
}

void HostOperatorTest::importFolder(const QString& name)
{
    const QString folder = m_folder->filePath(name);
    QVERIFY(QDir().mkpath(folder));
    QCOMPARE(m_window->importPanel().l2Folders(QStringLiteral("Alpha"), name, folder, 1), 0);
}

/// Selects the first job, presses the panel's button and answers its question.
void HostOperatorTest::confirm(QMessageBox::StandardButton answer)
{
    jobList()->findChild<QTableWidget*>()->setCurrentCell(0, 2);
    bool isAnswered = false;
    QTimer asked;
    connect(&asked, &QTimer::timeout, this, [&isAnswered, answer] {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            isAnswered = true;
            box->button(answer)->click();
        }
    });
    asked.start(1);
    for (QPushButton* button : jobList()->findChildren<QPushButton*>())
        if (button->text() == QStringLiteral("导入"))
            button->click();
    QVERIFY(isAnswered);
}

void HostOperatorTest::confirmedJobGoesToTheRobotAndTheNextOneIsOpen()
{
    QTcpServer robot;
    QVERIFY(robot.listen(QHostAddress::LocalHost));
    FolderSite::current().configure(QStringLiteral("robot/port"), robot.serverPort());
    for (const QString& job : {QStringLiteral("A000001"), QStringLiteral("A000002")}) {
        QVERIFY(!imported()->isEnabled());
        confirm(QMessageBox::Yes);
        QVERIFY(imported()->isEnabled());
        const QPointer<ZAV_Import_Widget> panel = jobList();
        imported()->click();

        QVERIFY(robot.waitForNewConnection(-1));
        QTcpSocket* const connection = robot.nextPendingConnection();
        // The panel's socket writes in this event loop.
        QTRY_VERIFY_WITH_TIMEOUT(connection->bytesAvailable() > 0, patienceMs);
        const QJsonObject request = QJsonDocument::fromJson(connection->readAll()).object();
        QVERIFY2(QJsonDocument(request).toJson().toLower().contains(job.toLower().toUtf8()),
                 QJsonDocument(request).toJson().constData());

        std::vector<KOZAV::DataLib::Model::Odbpp_JobFlow> flows;
        QVERIFY(
            KOZAV::DataLib::BLL::Odbpp_JobFlowBll().select({{"KoSerialName", job.toStdString()}}, {}, flows));
        QCOMPARE(flows.at(0).state, 1);
        QCOMPARE(flows.at(0).subState, 2);
        QTRY_VERIFY_WITH_TIMEOUT(!panel && jobList()->isVisible(), patienceMs);
        QVERIFY(!m_window->listedJobs().contains(job));
    }
    QVERIFY(m_window->listedJobs().isEmpty());
}

void HostOperatorTest::declinedJobStays()
{
    confirm(QMessageBox::Cancel);
    QVERIFY(!imported()->isEnabled());
    QCOMPARE(m_window->listedJobs().size(), 2);
}

/// A robot that cannot be reached is told by the panel, which stays open.
void HostOperatorTest::importedJobWithoutRobotCanBeSentLater()
{
    QTcpServer taken;
    QVERIFY(taken.listen(QHostAddress::LocalHost));
    FolderSite::current().configure(QStringLiteral("robot/port"), taken.serverPort());
    taken.close();
    confirm(QMessageBox::Yes);
    QString told;
    QTimer asked;
    connect(&asked, &QTimer::timeout, this, [&told] {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            told = box->text();
            box->button(QMessageBox::Ok)->click();
        }
    });
    asked.start(1);
    imported()->click();
    QCOMPARE(told, QStringLiteral("Server connect failed!"));
    QVERIFY(jobList()->isVisible());
}

QTEST_MAIN(HostOperatorTest)
#include "host_operator.moc"
