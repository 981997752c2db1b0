// What the window shows of a source before it is imported.

#include "host/ForesightView.h"
#include "host/MainWindow.h"
#include "host/Pages.h"
#include "host/PanelReport.h"
#include "host/PanelRun.h"
#include "host/ServiceLog.h"
#include "host/SourceWatch.h"
#include "host/core/Foresight.h"
#include "host/site/SiteAccess.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/FreshSite.h"
#include "tests/support/PanelView.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableView>
#include <QTest>
#include <QTimer>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

/// A client of a site with the company 甲, and a batch that is not all well.
class Client final
{
public:
    Client()
    {
        site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
        write("batch/甲/board.zip", emptyZip("board"));
        write("batch/甲/cut.zip", emptyZip("cut").chopped(1));
        write("batch/甲/notes.txt", "notes");
        write("batch/甲/panel/readme.json", "{");
        write("batch/丙/job.zip", emptyZip("job"));
        write("batch/丁/job/file", "job");
        write("single.tar", "tar");
        m_access = std::make_unique<SiteAccess>(site.configuration());
        if (const QString failure = m_access->open(); !failure.isEmpty())
            qFatal("%s", qPrintable(failure));
        window = std::make_unique<MainWindow>(*m_access, m_log);
        window->resize(1280, 800);
        window->show();
        view = window->findChild<ForesightView*>();
    }

    void write(const char* name, const QByteArray& content) const
    {
        writeFile(local(site.path(QString::fromUtf8(name))), content);
    }
    [[nodiscard]] PanelView panel() const { return PanelView(*window->importPanel()); }
    [[nodiscard]] QString text(const char* label) const
    {
        return view->findChild<QLabel*>(QLatin1String(label))->text();
    }
    [[nodiscard]] QTableView* table() const { return view->findChild<QTableView*>(); }
    [[nodiscard]] QPushButton* addButton() const
    {
        return view->findChild<QPushButton*>(QStringLiteral("foresightAddCompanies"));
    }
    /// Whether the empty state is shown.
    [[nodiscard]] bool isEmpty() const { return view->findChild<QStackedWidget*>()->currentIndex() == 0; }
    /// Whether a look has ended that found something.
    [[nodiscard]] bool hasLooked() const
    {
        return !isEmpty() && text("foresightTitle").contains(QStringLiteral("will be imported"));
    }
    /// The entries that are shown, with what becomes of them.
    [[nodiscard]] QStringList rows() const
    {
        QStringList rows;
        const QAbstractItemModel& model = *table()->model();
        for (int row = 0; row < model.rowCount(); ++row)
            rows << model.index(row, 1).data().toString() + QStringLiteral(": ") +
                        model.index(row, 2).data().toString();
        return rows;
    }

    void chooseBatch()
    {
        dialogs->expectFileDialog({site.path(QStringLiteral("batch"))});
        QTest::mouseClick(panel().openFolder, Qt::LeftButton);
    }

    FreshSite site;
    std::unique_ptr<DialogDriver> dialogs = std::make_unique<DialogDriver>();
    std::unique_ptr<MainWindow> window;
    ForesightView* view = nullptr;

private:
    ServiceLog m_log;
    std::unique_ptr<SiteAccess> m_access;
};

/// Result, code of the reason, codes of the warnings.
QString summary(const QString& result, const QString& code, const std::vector<Remark>& warnings)
{
    QStringList parts = {result, code};
    for (const Remark& warning : warnings)
        parts << warning.code;
    parts.removeAll(QString());
    return parts.join(QLatin1Char(' '));
}

} // namespace

class ClientForesight final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void nothingIsChosenAtFirst();
    void aBatchIsShownAsSoonAsItIsChosen();
    void clearingTheFieldChangesNothing();
    void entriesAreFilteredAndExplained();
    void aSingleSourceWithoutAServiceIsTold();
    void singleImportsAgreeWithIt_data();
    void singleImportsAgreeWithIt();
    void anImportEndsTheLook();
    void unknownCompaniesAreAdded();

private:
    void importSingle(const QString& name);

    std::unique_ptr<Client> m_client;
};

void ClientForesight::init()
{
    m_client = std::make_unique<Client>();
}

void ClientForesight::cleanup()
{
    QCOMPARE(m_client->dialogs->complaint(), QString());
    m_client.reset();
}

void ClientForesight::nothingIsChosenAtFirst()
{
    QVERIFY(m_client->isEmpty());
    QVERIFY(m_client->text("foresightEmpty").contains(QStringLiteral("Nothing is chosen yet")));
}

void ClientForesight::aBatchIsShownAsSoonAsItIsChosen()
{
    QPushButton* const focused = m_client->panel().openFolder;
    focused->setFocus();
    m_client->chooseBatch();
    QTRY_VERIFY(m_client->hasLooked());
    QCOMPARE(m_client->window->findChild<Pages*>()->current(), m_client->view);
    QVERIFY(!m_client->view->isAncestorOf(QApplication::focusWidget()));
    QVERIFY2(m_client->text("foresightTitle").endsWith(QStringLiteral("3 of 6 will be imported")),
             qPrintable(m_client->text("foresightTitle")));
    QCOMPARE(m_client->rows(),
             QStringList({QStringLiteral("job: no"), QStringLiteral("job.zip: no"),
                          QStringLiteral("board.zip: yes"), QStringLiteral("cut.zip: yes, with warnings"),
                          QStringLiteral("notes.txt: no"), QStringLiteral("panel: yes, with warnings")}));
    const QString totals = m_client->text("foresightTotals");
    for (const char* const part :
         {"will be imported: 3", "of these with warnings: 2", "will not be imported: 3", "time not known"})
        QVERIFY2(totals.contains(QLatin1String(part)), qPrintable(totals));
    const QString notes = m_client->text("foresightNotes");
    QVERIFY2(notes.contains(QStringLiteral("丁, 丙")) && notes.contains(QStringLiteral("Space in")),
             qPrintable(notes));
    if (const QString pictures = qEnvironmentVariable("ZAV_TEST_PICTURES"); !pictures.isEmpty())
        QVERIFY(m_client->window->grab().save(pictures + QStringLiteral("/foresight.png")));
}

void ClientForesight::clearingTheFieldChangesNothing()
{
    m_client->chooseBatch();
    QTRY_VERIFY(m_client->hasLooked());
    QTest::mouseClick(m_client->panel().batchClear, Qt::LeftButton);
    QCOMPARE(m_client->panel().batchPath->text(), QString());
    QVERIFY(m_client->hasLooked());
    QCOMPARE(m_client->rows().size(), 6);
}

void ClientForesight::entriesAreFilteredAndExplained()
{
    m_client->chooseBatch();
    QTRY_VERIFY(m_client->hasLooked());
    auto* show = m_client->view->findChild<QComboBox*>(QStringLiteral("foresightShow"));
    show->setCurrentText(QStringLiteral("With warnings"));
    QCOMPARE(m_client->rows().size(), 2);
    auto* search = m_client->view->findChild<QLineEdit*>(QStringLiteral("foresightSearch"));
    QTest::keyClicks(search, QStringLiteral("JSON"));
    QCOMPARE(m_client->rows(), QStringList(QStringLiteral("panel: yes, with warnings")));
    m_client->table()->selectRow(0);
    const QString details = m_client->text("foresightDetails");
    QVERIFY2(details.contains(QStringLiteral("readme.json is not JSON at byte")), qPrintable(details));
    QVERIFY2(details.contains(QStringLiteral("Mend readme.json.")), qPrintable(details));
}

void ClientForesight::aSingleSourceWithoutAServiceIsTold()
{
    m_client->panel().company->setCurrentText(QStringLiteral("甲"));
    m_client->dialogs->expectFileDialog({m_client->site.path(QStringLiteral("single.tar"))});
    QTest::mouseClick(m_client->panel().openFile, Qt::LeftButton);
    QTRY_VERIFY(m_client->hasLooked());
    QCOMPARE(m_client->rows(), QStringList(QStringLiteral("single.tar: no")));
    m_client->table()->selectRow(0);
    QVERIFY(m_client->text("foresightDetails").contains(QStringLiteral("the panel calls no service")));
    // Of a source that is cleared nothing is imported.
    QTest::mouseClick(m_client->panel().singleClear, Qt::LeftButton);
    QVERIFY(m_client->isEmpty());
}

void ClientForesight::singleImportsAgreeWithIt_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");
    QTest::newRow("archive") << QStringLiteral("whole.zip") << QStringLiteral("imported");
    QTest::newRow("archive that is cut short")
        << QStringLiteral("cut.zip") << QStringLiteral("imported archive-cut-short");
    QTest::newRow("content that is there")
        << QStringLiteral("there.zip") << QStringLiteral("imported known-content");
    QTest::newRow("no job archive") << QStringLiteral("job.tar") << QStringLiteral("not-imported no-service");
    // The single import neither reads nor deletes a manifest.
    QTest::newRow("folder with a broken manifest")
        << QStringLiteral("broken manifest") << QStringLiteral("imported");
    QTest::newRow("folder that cannot be packed")
        << QStringLiteral("link out") << QStringLiteral("not-imported invalid-value");
}

void ClientForesight::singleImportsAgreeWithIt()
{
    QFETCH(QString, name);
    QFETCH(QString, expected);
    m_client->write("single/whole.zip", emptyZip("whole"));
    m_client->write("single/cut.zip", emptyZip("cut").chopped(1));
    m_client->write("single/job.tar", "tar");
    m_client->write("single/there.zip", emptyZip("there"));
    m_client->write("single/broken manifest/readme.json", "{");
    m_client->write("single/link out/file", "file");
    QVERIFY(QFile::link(QStringLiteral("../whole.zip"),
                        m_client->site.path(QStringLiteral("single/link out/link"))));
    if (name == QLatin1String("there.zip"))
        importSingle(name);
    const QString path = m_client->site.path(QStringLiteral("single/") + name);
    const auto kind = QFileInfo(path).isDir() ? PanelSource::Kind::JobFolder : PanelSource::Kind::Archive;
    Foreseen foreseen;
    const std::atomic<bool> cancelled = false;
    foresee({kind, path, QStringLiteral("甲")}, 0, cancelled,
            [&foreseen](ForesightPiece&& piece) { piece.addTo(foreseen); });
    const ForeseenEntry& entry = foreseen.entries.front();
    QCOMPARE(summary(outlookName(entry.outlook), entry.reasonCode, entry.warnings), expected);

    importSingle(name);
    m_client->window->sourceWatch().finishReading();
    const BatchReportRow& row = m_client->window->panelReport().current()->rows().front();
    QCOMPARE(summary(resultName(row.result), row.reasonCode, row.warnings), expected);
}

void ClientForesight::importSingle(const QString& name)
{
    const QString path = m_client->site.path(QStringLiteral("single/") + name);
    const PanelView panel = m_client->panel();
    panel.company->setCurrentText(QStringLiteral("甲"));
    m_client->dialogs->expectFileDialog({path});
    const bool isFolder = QFileInfo(path).isDir();
    QTest::mouseClick(isFolder ? panel.openDir : panel.openFile, Qt::LeftButton);
    // Of a folder it is told each time that there is no company without a name.
    for (int message = isFolder ? 0 : 1; message < 2; ++message)
        m_client->dialogs->expectMessage();
    QTest::mouseClick(panel.singleImport, Qt::LeftButton);
}

void ClientForesight::anImportEndsTheLook()
{
    m_client->chooseBatch();
    // Two refused jobs of unknown companies, and the end of the batch.
    for (int message = 0; message < 4; ++message)
        m_client->dialogs->expectMessage();
    QTest::mouseClick(m_client->panel().batchImport, Qt::LeftButton);
    QVERIFY(!m_client->isEmpty());
    QVERIFY2(m_client->text("foresightTitle").endsWith(QStringLiteral("as it was before the import")),
             qPrintable(m_client->text("foresightTitle")));
    QTest::mouseClick(m_client->view->findChild<QPushButton*>(QStringLiteral("foresightAgain")),
                      Qt::LeftButton);
    QTRY_VERIFY(m_client->hasLooked());
    QVERIFY(m_client->text("foresightTotals").contains(QStringLiteral("of these with warnings: 3")));
}

void ClientForesight::unknownCompaniesAreAdded()
{
    m_client->chooseBatch();
    QTRY_VERIFY(m_client->hasLooked());
    QCOMPARE(m_client->addButton()->isVisibleTo(m_client->view), true);
    QTimer answers;
    bool entered = false;
    connect(&answers, &QTimer::timeout, this, [&entered] {
        const QWidget* dialog = QApplication::activeModalWidget();
        if (!dialog || entered)
            return;
        const auto codes = dialog->findChildren<QLineEdit*>(QStringLiteral("newCode"));
        QCOMPARE(codes.size(), 2);
        QPushButton* const add = dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
        QVERIFY(!add->isEnabled());
        QTest::keyClicks(codes[0], QStringLiteral("no code"));
        QVERIFY(!add->isEnabled());
        codes[0]->clear();
        QTest::keyClicks(codes[0], QStringLiteral("DD"));
        QTest::keyClicks(codes[1], QStringLiteral("CC"));
        if (const QString pictures = qEnvironmentVariable("ZAV_TEST_PICTURES"); !pictures.isEmpty())
            QVERIFY(const_cast<QWidget*>(dialog)->grab().save(pictures + QStringLiteral("/companies.png")));
        entered = true;
        QTest::mouseClick(add, Qt::LeftButton);
    });
    answers.start(10);
    // It dismisses what is no dialog of the panel.
    m_client->dialogs.reset();
    QTest::mouseClick(m_client->addButton(), Qt::LeftButton);
    m_client->dialogs = std::make_unique<DialogDriver>();
    QVERIFY(entered);
    QCOMPARE(m_client->site.company(QStringLiteral("DD")).companyLabel, std::string("丁"));
    QCOMPARE(m_client->site.company(QStringLiteral("CC")).companyLabel, std::string("丙"));
    // The panel's list is another one now: the next choice is made in a new panel.
    QTRY_VERIFY(m_client->panel().company->findText(QStringLiteral("丙")) >= 0);
    m_client->chooseBatch();
    QTRY_VERIFY(m_client->hasLooked());
    QVERIFY2(m_client->text("foresightTitle").endsWith(QStringLiteral("5 of 6 will be imported")),
             qPrintable(m_client->text("foresightTitle")));
    QVERIFY(!m_client->addButton()->isVisibleTo(m_client->view));
}

ZAV_REGISTER_TEST(client_foresight, ClientForesight, QApplication)

#include "client_foresight.moc"
