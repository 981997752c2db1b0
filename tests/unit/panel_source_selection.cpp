#include "tests/support/MarkingTranslator.h"
#include "tests/support/PanelHarness.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

using namespace KOZAV;
using KOZAV::Test::call;
using KOZAV::Test::PanelHarness;
using KOZAV::Test::ShownDialog;

class PanelSourceSelectionTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void batchChooserIsADirectoryChooser();
    void batchChooserTextsAndStartAreTranslatedByThePanel();
    void batchDirectoryIsShownInItsField();
    void cancelledBatchChooserEmptiesTheField();
    void cancelledBatchChooserForgetsTheDirectory();
    void clearedBatchFieldIsEmptyAndTheDirectoryStays();
    void batchChoiceLeavesTheSingleBoxAlone();

    void folderChooserIsADirectoryChooser();
    void folderChooserTextsAndStartAreTranslatedByThePanel();
    void folderIsShownWithItsName();
    void folderNameKeepsItsDots();
    void rootFolderGivesAnEmptyName();
    void cancelledFolderChooserChangesNothing();
    void cancelledFolderChooserKeepsFileAndKind();

    void archiveDialogIsSetUp();
    void archiveDialogOpensInTheCurrentDirectory();
    void archiveDialogTextsAreTranslatedWithoutThePanel();
    void eachArchiveDialogStaysAHiddenChildOfThePanel();
    void archiveIsShownWithItsName();
    void archiveName_data();
    void archiveName();
    void severalFilesUseTheFirst();
    void cancelledArchiveDialogChangesNothing();
    void cancelledArchiveDialogKeepsFolderAndKind();

    void clearedSingleFieldsAreEmpty();
    void clearedSingleFieldsKeepPathAndKindOfAFolder();
    void clearedSingleFieldsKeepPathAndKindOfAFile();
    void folderAfterFileOverwritesTheChoice();
    void fileAfterFolderOverwritesTheChoice();
    void choosingCallsNoService();

private:
    [[nodiscard]] const Test::PanelView& view() const { return m_harness->view(); }
    [[nodiscard]] ShownDialog dialog(std::size_t index = 0) const
    {
        return m_harness->dialogs.shownAt(index);
    }
    void checkDirectoryChooser() const;
    void checkChooserTranslation(QPushButton* button);

    std::unique_ptr<PanelHarness> m_harness;
    QString m_startDirectory = QDir::currentPath();
};

void PanelSourceSelectionTest::init()
{
    m_harness = std::make_unique<PanelHarness>();
    m_harness->open();
}

void PanelSourceSelectionTest::cleanup()
{
    VERIFY_DIALOGS(*m_harness);
    QDir::setCurrent(m_startDirectory);
    m_harness.reset();
}

// The directory chooser is the same for both boxes.

void PanelSourceSelectionTest::checkDirectoryChooser() const
{
    QCOMPARE(m_harness->dialogs.shown().size(), std::size_t(1));
    QCOMPARE(dialog().kind, ShownDialog::Kind::File);
    QCOMPARE(dialog().title, QStringLiteral("Open Dir"));
    QCOMPARE(dialog().parent, nullptr);
    QCOMPARE(int(dialog().options), int(QFileDialog::ShowDirsOnly));
    QVERIFY(dialog().choosesDirectory);
}

void PanelSourceSelectionTest::checkChooserTranslation(QPushButton* button)
{
    const QString panel = QStringLiteral("KOZAV::UI::ZAV_ImportFromFile_Widget");
    const QString start = m_harness->makeFolder(QStringLiteral("start"));
    Test::MarkingTranslator translator;
    translator.set(panel, QStringLiteral("Open Dir"), QStringLiteral("translated"));
    translator.set(panel, QStringLiteral("c:/"), start);
    m_harness->dialogs.expectCancelledFileDialog();
    m_harness->press(button);
    QCOMPARE(dialog().title, QStringLiteral("translated"));
    QCOMPARE(dialog().directory, start);
}

void PanelSourceSelectionTest::batchChooserIsADirectoryChooser()
{
    m_harness->chooseBatchDirectory(m_harness->makeFolder(QStringLiteral("batch")));
    checkDirectoryChooser();
}

void PanelSourceSelectionTest::batchChooserTextsAndStartAreTranslatedByThePanel()
{
    checkChooserTranslation(view().openFolder);
}

void PanelSourceSelectionTest::batchDirectoryIsShownInItsField()
{
    const QString batch = m_harness->makeFolder(QStringLiteral("batch"));
    m_harness->chooseBatchDirectory(batch);
    QCOMPARE(view().batchPath->text(), batch);
}

void PanelSourceSelectionTest::cancelledBatchChooserEmptiesTheField()
{
    m_harness->chooseBatchDirectory(m_harness->makeFolder(QStringLiteral("batch")));
    m_harness->dialogs.expectCancelledFileDialog();
    m_harness->press(view().openFolder);
    QCOMPARE(view().batchPath->text(), QString());
}

void PanelSourceSelectionTest::cancelledBatchChooserForgetsTheDirectory()
{
    m_harness->makeFolder(QStringLiteral("batch/甲公司/job"));
    QDir::setCurrent(m_harness->makeFolder(QStringLiteral("nothing here")));
    m_harness->chooseBatchDirectory(m_harness->path(QStringLiteral("batch")));
    m_harness->dialogs.expectCancelledFileDialog();
    m_harness->press(view().openFolder);
    m_harness->press(view().batchImport);
    COMPARE_JOURNAL(*m_harness, {});
}

void PanelSourceSelectionTest::clearedBatchFieldIsEmptyAndTheDirectoryStays()
{
    m_harness->makeFolder(QStringLiteral("batch/甲公司/job"));
    m_harness->chooseBatchDirectory(m_harness->path(QStringLiteral("batch")));
    m_harness->press(view().batchClear);
    QCOMPARE(view().batchPath->text(), QString());
    m_harness->importBatch();
    QCOMPARE(m_harness->services.count("inputJobCompressByFolder"), 1);
}

void PanelSourceSelectionTest::batchChoiceLeavesTheSingleBoxAlone()
{
    const QString file = m_harness->makeFile(QStringLiteral("jobs/abc.tgz"));
    m_harness->chooseFile(file);
    m_harness->chooseBatchDirectory(m_harness->makeFolder(QStringLiteral("batch")));
    m_harness->press(view().batchClear);
    QCOMPARE(view().singlePath->text(), file);
    QCOMPARE(view().fileName->text(), QStringLiteral("abc"));
}

void PanelSourceSelectionTest::folderChooserIsADirectoryChooser()
{
    m_harness->chooseFolder(m_harness->makeFolder(QStringLiteral("jobs/abc")));
    checkDirectoryChooser();
}

void PanelSourceSelectionTest::folderChooserTextsAndStartAreTranslatedByThePanel()
{
    checkChooserTranslation(view().openDir);
}

void PanelSourceSelectionTest::folderIsShownWithItsName()
{
    const QString folder = m_harness->makeFolder(QStringLiteral("jobs/abc"));
    m_harness->chooseFolder(folder);
    QCOMPARE(view().singlePath->text(), folder);
    QCOMPARE(view().fileName->text(), QStringLiteral("abc"));
    QCOMPARE(view().batchPath->text(), QString());
}

void PanelSourceSelectionTest::folderNameKeepsItsDots()
{
    m_harness->chooseFolder(m_harness->makeFolder(QStringLiteral("jobs/abc.v2.tgz")));
    QCOMPARE(view().fileName->text(), QStringLiteral("abc.v2.tgz"));
}

void PanelSourceSelectionTest::rootFolderGivesAnEmptyName()
{
    m_harness->chooseFolder(QStringLiteral("/"));
    QCOMPARE(view().singlePath->text(), QStringLiteral("/"));
    QCOMPARE(view().fileName->text(), QString());
}

void PanelSourceSelectionTest::cancelledFolderChooserChangesNothing()
{
    view().singlePath->setText(QStringLiteral("typed path"));
    view().fileName->setText(QStringLiteral("typed name"));
    m_harness->dialogs.expectCancelledFileDialog();
    m_harness->press(view().openDir);
    QCOMPARE(view().singlePath->text(), QStringLiteral("typed path"));
    QCOMPARE(view().fileName->text(), QStringLiteral("typed name"));
}

void PanelSourceSelectionTest::cancelledFolderChooserKeepsFileAndKind()
{
    const QString file = m_harness->makeFile(QStringLiteral("jobs/abc.zip"));
    m_harness->chooseFile(file);
    m_harness->dialogs.expectCancelledFileDialog();
    m_harness->press(view().openDir);
    QCOMPARE(view().singlePath->text(), file);
    m_harness->importSingle();
    QCOMPARE(m_harness->services.count("MongodbPut"), 1);
    QCOMPARE(m_harness->services.count("FoldersCompressSave2MongoDb"), 0);
}

void PanelSourceSelectionTest::archiveDialogIsSetUp()
{
    m_harness->chooseFile(m_harness->makeFile(QStringLiteral("jobs/abc.tgz")));
    QCOMPARE(m_harness->dialogs.shown().size(), std::size_t(1));
    QCOMPARE(dialog().kind, ShownDialog::Kind::File);
    QCOMPARE(dialog().title, QStringLiteral("Import"));
    QCOMPARE(dialog().parent, &m_harness->panel());
    QCOMPARE(dialog().fileMode, QFileDialog::ExistingFiles);
    QCOMPARE(dialog().viewMode, QFileDialog::Detail);
    QCOMPARE(dialog().acceptMode, QFileDialog::AcceptOpen);
    QCOMPARE(dialog().nameFilters, QStringList{QStringLiteral("ODB++(*.tgz *.tar *.zip *.rar *.kos)")});
}

void PanelSourceSelectionTest::archiveDialogOpensInTheCurrentDirectory()
{
    const QString current = m_harness->makeFolder(QStringLiteral("current"));
    QDir::setCurrent(current);
    m_harness->dialogs.expectCancelledFileDialog();
    m_harness->press(view().openFile);
    QCOMPARE(QDir(dialog().directory).canonicalPath(), QDir(current).canonicalPath());
}

void PanelSourceSelectionTest::archiveDialogTextsAreTranslatedWithoutThePanel()
{
    Test::MarkingTranslator translator;
    translator.set(QStringLiteral("QObject"), QStringLiteral("Import"), QStringLiteral("translated title"));
    translator.set(QStringLiteral("QObject"), QStringLiteral("ODB++"), QStringLiteral("jobs"));
    m_harness->dialogs.expectCancelledFileDialog();
    m_harness->press(view().openFile);
    QCOMPARE(dialog().title, QStringLiteral("translated title"));
    QCOMPARE(dialog().nameFilters, QStringList{QStringLiteral("jobs(*.tgz *.tar *.zip *.rar *.kos)")});
}

void PanelSourceSelectionTest::eachArchiveDialogStaysAHiddenChildOfThePanel()
{
    m_harness->chooseFile(m_harness->makeFile(QStringLiteral("jobs/abc.tgz")));
    m_harness->dialogs.expectCancelledFileDialog();
    m_harness->press(view().openFile);
    const auto dialogs = m_harness->panel().findChildren<QFileDialog*>(QString(), Qt::FindDirectChildrenOnly);
    QCOMPARE(dialogs.size(), 2);
    QVERIFY(dialogs.at(0)->isHidden());
    QVERIFY(dialogs.at(1)->isHidden());
}

void PanelSourceSelectionTest::archiveIsShownWithItsName()
{
    const QString file = m_harness->makeFile(QStringLiteral("jobs/abc.tgz"));
    m_harness->chooseFile(file);
    QCOMPARE(view().singlePath->text(), file);
    QCOMPARE(view().fileName->text(), QStringLiteral("abc"));
    QCOMPARE(view().batchPath->text(), QString());
}

void PanelSourceSelectionTest::archiveName_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("name");
    QTest::newRow("one suffix") << QStringLiteral("jobs/abc.tgz") << QStringLiteral("abc");
    QTest::newRow("two dots") << QStringLiteral("jobs/abc.v2.tgz") << QStringLiteral("abc.v2");
    QTest::newRow("last dot before the last slash") << QStringLiteral("a.b/job") << QStringLiteral("job");
    QTest::newRow("no dot") << QStringLiteral("plain/job") << QStringLiteral("job");
    QTest::newRow("dotted folder and suffix") << QStringLiteral("a.b/job.zip") << QStringLiteral("job");
    QTest::newRow("only a suffix") << QStringLiteral("jobs/.tgz") << QString();
    QTest::newRow("dot at the end") << QStringLiteral("jobs/abc.") << QStringLiteral("abc");
    QTest::newRow("blanks") << QStringLiteral("jobs/my job.kos") << QStringLiteral("my job");
    QTest::newRow("not ASCII") << QStringLiteral("作业/板.zip") << QStringLiteral("板");
    QTest::newRow("not an archive") << QStringLiteral("jobs/notes.txt") << QStringLiteral("notes");
}

void PanelSourceSelectionTest::archiveName()
{
    QFETCH(QString, file);
    QFETCH(QString, name);
    const QString path = m_harness->makeFile(file);
    m_harness->chooseFile(path);
    QCOMPARE(view().singlePath->text(), path);
    QCOMPARE(view().fileName->text(), name);
}

void PanelSourceSelectionTest::severalFilesUseTheFirst()
{
    const QString first = m_harness->makeFile(QStringLiteral("jobs/second.zip"));
    const QString second = m_harness->makeFile(QStringLiteral("jobs/first.zip"));
    m_harness->dialogs.expectFileDialog({first, second});
    m_harness->press(view().openFile);
    QCOMPARE(view().singlePath->text(), first);
    QCOMPARE(view().fileName->text(), QStringLiteral("second"));
    m_harness->importSingle();
    QCOMPARE(m_harness->services.count("MongodbPut"), 1);
}

void PanelSourceSelectionTest::cancelledArchiveDialogChangesNothing()
{
    view().singlePath->setText(QStringLiteral("typed path"));
    view().fileName->setText(QStringLiteral("typed name"));
    m_harness->dialogs.expectCancelledFileDialog();
    m_harness->press(view().openFile);
    QCOMPARE(view().singlePath->text(), QStringLiteral("typed path"));
    QCOMPARE(view().fileName->text(), QStringLiteral("typed name"));
}

void PanelSourceSelectionTest::cancelledArchiveDialogKeepsFolderAndKind()
{
    const QString folder = m_harness->makeFolder(QStringLiteral("jobs/abc"));
    m_harness->chooseFolder(folder);
    m_harness->dialogs.expectCancelledFileDialog();
    m_harness->press(view().openFile);
    QCOMPARE(view().singlePath->text(), folder);
    m_harness->importSingle(2);
    QCOMPARE(m_harness->services.count("FoldersCompressSave2MongoDb"), 1);
    QCOMPARE(m_harness->services.count("MongodbPut"), 0);
}

void PanelSourceSelectionTest::clearedSingleFieldsAreEmpty()
{
    m_harness->chooseFile(m_harness->makeFile(QStringLiteral("jobs/abc.tgz")));
    m_harness->press(view().singleClear);
    QCOMPARE(view().singlePath->text(), QString());
    QCOMPARE(view().fileName->text(), QString());
}

void PanelSourceSelectionTest::clearedSingleFieldsKeepPathAndKindOfAFolder()
{
    const QString folder = m_harness->makeFolder(QStringLiteral("jobs/abc"));
    m_harness->chooseFolder(folder);
    m_harness->press(view().singleClear);
    // Any text in the field lets the import run; it runs on what was chosen.
    QTest::keyClicks(view().singlePath, QStringLiteral("x"));
    m_harness->importSingle(2);
    QCOMPARE(m_harness->services.callsOf("FoldersCompressSave2MongoDb"),
             QStringList{call("FoldersCompressSave2MongoDb", folder + QLatin1Char('/'),
                              m_harness->services.results.config.uploadCacheDir)});
}

void PanelSourceSelectionTest::clearedSingleFieldsKeepPathAndKindOfAFile()
{
    m_harness->chooseFile(m_harness->makeFile(QStringLiteral("jobs/abc.rar")));
    m_harness->press(view().singleClear);
    QTest::keyClicks(view().singlePath, QStringLiteral("x"));
    m_harness->importSingle();
    QVERIFY(m_harness->services.callsOf("inputOrigFile").value(0).contains(QStringLiteral("\"abc\"")));
}

void PanelSourceSelectionTest::folderAfterFileOverwritesTheChoice()
{
    const QString folder = m_harness->makeFolder(QStringLiteral("jobs/folder"));
    m_harness->chooseFile(m_harness->makeFile(QStringLiteral("jobs/file.tgz")));
    m_harness->chooseFolder(folder);
    QCOMPARE(view().singlePath->text(), folder);
    QCOMPARE(view().fileName->text(), QStringLiteral("folder"));
    m_harness->importSingle(2);
    QCOMPARE(m_harness->services.count("FoldersCompressSave2MongoDb"), 1);
    QCOMPARE(m_harness->services.count("MongodbPut"), 0);
}

void PanelSourceSelectionTest::fileAfterFolderOverwritesTheChoice()
{
    const QString file = m_harness->makeFile(QStringLiteral("jobs/file.tgz"));
    m_harness->chooseFolder(m_harness->makeFolder(QStringLiteral("jobs/folder")));
    m_harness->chooseFile(file);
    QCOMPARE(view().singlePath->text(), file);
    QCOMPARE(view().fileName->text(), QStringLiteral("file"));
    m_harness->importSingle();
    QCOMPARE(m_harness->services.count("FoldersCompressSave2MongoDb"), 0);
    QCOMPARE(m_harness->services.count("MongodbPut"), 1);
}

void PanelSourceSelectionTest::choosingCallsNoService()
{
    m_harness->chooseBatchDirectory(m_harness->makeFolder(QStringLiteral("batch")));
    m_harness->chooseFile(m_harness->makeFile(QStringLiteral("jobs/file.tgz")));
    m_harness->chooseFolder(m_harness->makeFolder(QStringLiteral("jobs/folder")));
    m_harness->press(view().singleClear);
    m_harness->press(view().batchClear);
    COMPARE_JOURNAL(*m_harness, {});
}

ZAV_REGISTER_TEST(panel_source_selection, PanelSourceSelectionTest, QApplication)

#include "panel_source_selection.moc"
