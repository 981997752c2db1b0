// The file import panel gives way to a new one when the site has other companies, and everything that follows
// a run goes over to it.

#include "host/CompanyWatch.h"
#include "host/MainWindow.h"
#include "host/ManifestKeeper.h"
#include "host/PanelPlace.h"
#include "host/PanelReport.h"
#include "host/PanelRun.h"
#include "host/ServiceLog.h"
#include "host/site/SiteAccess.h"
#include "samples/JobGenerator.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/FreshSite.h"
#include "tests/support/PanelView.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QWheelEvent>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

/// A client of a site with the company 甲, and a batch of one job folder of each of 甲 and 乙.
class Client final
{
public:
    Client()
    {
        site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
        for (const QString& company : {QStringLiteral("甲"), QStringLiteral("乙")}) {
            const QString folder = batch() + QLatin1Char('/') + company + QStringLiteral("/board");
            writeFile(local(folder + QStringLiteral("/matrix/matrix")), company.toUtf8());
            writeFile(local(folder + QStringLiteral("/readme.json")), "{}");
        }
        writeFile(local(site.path(QStringLiteral("single/job.zip"))), emptyZip("job"));
        m_access = std::make_unique<SiteAccess>(site.configuration());
        if (const QString failure = m_access->open(); !failure.isEmpty())
            qFatal("%s", qPrintable(failure));
        window = std::make_unique<MainWindow>(*m_access, m_log);
        window->show();
        place = window->findChild<PanelPlace*>();
    }

    [[nodiscard]] QString batch() const { return site.path(QStringLiteral("batch")); }
    [[nodiscard]] PanelView panel() const { return PanelView(*window->importPanel()); }
    [[nodiscard]] QString notice() const
    {
        const auto* label = place->findChild<QLabel*>(QStringLiteral("panelNotice"));
        return label->isVisibleTo(place) ? label->text() : QString();
    }

    void choose(QPushButton* button, const QString& path)
    {
        dialogs.expectFileDialog({path});
        QTest::mouseClick(button, Qt::LeftButton);
    }

    /// Another client adds 乙, and this one looks.
    void addCompany() const
    {
        site.addCompany(QStringLiteral("CD"), QStringLiteral("乙"));
        window->findChild<CompanyWatch*>()->look();
    }

    FreshSite site;
    DialogDriver dialogs;
    std::unique_ptr<MainWindow> window;
    PanelPlace* place = nullptr;

private:
    ServiceLog m_log;
    std::unique_ptr<SiteAccess> m_access;
};

} // namespace

class ClientPanels : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void secondPanelImports();
    void secondPanelOpensNoOldChoice();
    void droppedChoiceIsNamed();
    void companyStaysChosen();
    void nothingChangesWithTheSameCompanies();
    void waitsForABoxOfThePanel();
    void siteWithoutCompanies();
    void wheelChangesNoCustomer();
};

void ClientPanels::secondPanelImports()
{
    Client client;
    const QPointer<QWidget> former = client.window->importPanel();
    client.addCompany();
    QTRY_VERIFY(!former);
    QCOMPARE(client.panel().company->count(), 2);

    int begun = 0;
    int ended = 0;
    connect(&client.window->panelRun(), &PanelRun::begins, this, [&begun] { ++begun; });
    connect(&client.window->panelRun(), &PanelRun::ended, this, [&ended] { ++ended; });
    client.choose(client.panel().openFolder, client.batch());
    client.dialogs.expectMessage();
    client.dialogs.expectMessage();
    QTest::mouseClick(client.panel().batchImport, Qt::LeftButton);
    QCOMPARE(begun, 1);
    QCOMPARE(ended, 1);
    QCOMPARE(client.dialogs.complaint(), QString());
    QCOMPARE(client.site.jobs().size(), std::size_t{2});

    const BatchReport& report = *client.window->panelReport().current();
    QCOMPARE(report.rows().size(), std::size_t{2});
    for (const BatchReportRow& row : report.rows())
        QCOMPARE(row.result, BatchResult::Imported);
    // The keeper of manifests has followed too: those of imported folders are gone.
    QVERIFY(!QFile::exists(client.batch() + QStringLiteral("/甲/board/readme.json")));
}

void ClientPanels::secondPanelOpensNoOldChoice()
{
    Client client;
    client.choose(client.panel().openFile, client.site.path(QStringLiteral("single/job.zip")));
    const QPointer<QWidget> former = client.window->importPanel();
    client.addCompany();
    QTRY_VERIFY(!former);
    QCOMPARE(client.window->panelRun().singleChoice(), QString());
    QCOMPARE(client.panel().singlePath->text(), QString());

    client.choose(client.panel().openFile, client.site.path(QStringLiteral("single/job.zip")));
    client.panel().company->setCurrentText(QStringLiteral("乙"));
    client.dialogs.expectMessage();
    QTest::mouseClick(client.panel().singleImport, Qt::LeftButton);
    QCOMPARE(client.dialogs.complaint(), QString());
    QCOMPARE(client.window->panelReport().current()->rows().size(), std::size_t{1});
    QCOMPARE(client.site.jobs().front().generatedName, QStringLiteral("CD000001"));
    // The staged copy of the archive is tidied away after this panel too.
    QVERIFY(QDir(client.site.path(QStringLiteral("data/upload"))).entryList(QDir::Files).isEmpty());
}

void ClientPanels::droppedChoiceIsNamed()
{
    Client client;
    QSignalSpy dropped(client.place, &PanelPlace::choiceDropped);
    client.choose(client.panel().openFolder, client.batch());
    QTest::mouseClick(client.panel().batchClear, Qt::LeftButton);
    client.addCompany();
    QVERIFY(dropped.wait());
    // The panel keeps the directory whose field was cleared: so that is what is lost.
    QVERIFY2(dropped.at(0).at(0).toString().contains(client.batch()), qPrintable(client.notice()));
    QCOMPARE(client.notice(), dropped.at(0).at(0).toString());
    QTest::mouseClick(client.place->findChild<QPushButton*>(QStringLiteral("dismissNoticeButton")),
                      Qt::LeftButton);
    QCOMPARE(client.notice(), QString());
}

void ClientPanels::companyStaysChosen()
{
    Client client;
    client.addCompany();
    QTRY_COMPARE(client.panel().company->count(), 2);
    client.panel().company->setCurrentText(QStringLiteral("乙"));
    client.site.addCompany(QStringLiteral("EF"), QStringLiteral("丙"));
    client.window->findChild<CompanyWatch*>()->look();
    QTRY_COMPARE(client.panel().company->count(), 3);
    QCOMPARE(client.panel().company->currentText(), QStringLiteral("乙"));
    QCOMPARE(client.notice(), QString());
}

void ClientPanels::nothingChangesWithTheSameCompanies()
{
    Client client;
    QSignalSpy renewed(client.place, &PanelPlace::renewed);
    QSignalSpy looked(client.window->findChild<CompanyWatch*>(), &CompanyWatch::looked);
    client.window->findChild<CompanyWatch*>()->look();
    QVERIFY(looked.wait());
    QCOMPARE(looked.at(0).at(0).toStringList(), QStringList{QStringLiteral("甲")});
    QCOMPARE(renewed.size(), 0);
}

void ClientPanels::waitsForABoxOfThePanel()
{
    Client client;
    QSignalSpy renewed(client.place, &PanelPlace::renewed);
    bool stood = false;
    client.dialogs.observer = [&](const ShownDialog& dialog) {
        if (dialog.kind != ShownDialog::Kind::File)
            return;
        client.place->showCompanies({QStringLiteral("甲"), QStringLiteral("乙")});
        stood = renewed.isEmpty();
    };
    client.site.addCompany(QStringLiteral("CD"), QStringLiteral("乙"));
    client.choose(client.panel().openFolder, client.batch());
    QVERIFY(stood);
    QTRY_COMPARE(renewed.size(), 1);
    QCOMPARE(client.dialogs.complaint(), QString());
}

void ClientPanels::siteWithoutCompanies()
{
    const FreshSite site;
    SiteAccess access(site.configuration());
    QCOMPARE(access.open(), QString());
    ServiceLog log;
    MainWindow window(access, log);
    window.show();
    auto* place = window.findChild<PanelPlace*>();
    auto* add = place->findChild<QPushButton*>(QStringLiteral("addCompanyButton"));
    QVERIFY(add->isVisible());
    QSignalSpy wanted(place, &PanelPlace::companiesWanted);
    QTest::mouseClick(add, Qt::LeftButton);
    QCOMPARE(wanted.size(), 1);

    site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    window.findChild<CompanyWatch*>()->look();
    QTRY_VERIFY(!add->isVisible());
}

void ClientPanels::wheelChangesNoCustomer()
{
    Client client;
    client.addCompany();
    QTRY_COMPARE(client.panel().company->count(), 2);
    QComboBox* company = client.panel().company;
    const QPoint middle = company->rect().center();
    QWheelEvent down(middle, company->mapToGlobal(middle), QPoint(), QPoint(0, -120), Qt::NoButton,
                     Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(company, &down);
    QCOMPARE(company->currentIndex(), 0);
    // With the keyboard it is the operator's own doing.
    QTest::keyClick(company, Qt::Key_Down);
    QCOMPARE(company->currentIndex(), 1);
}

ZAV_REGISTER_TEST(client_panels, ClientPanels, QApplication)
#include "client_panels.moc"
