// How the client learns what the file import panel imports, and when.

#include "host/PanelRun.h"
#include "host/core/RunGate.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/FreshSite.h"
#include "tests/support/PanelView.h"
#include "tests/support/TestProgram.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QTest>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

/// A panel that is followed, and what was told of it, with the message boxes between.
class FollowedPanel final
{
public:
    FollowedPanel()
        : view(panel)
        , run(panel)
    {
        panel.show();
        QObject::connect(&run, &PanelRun::begins, &run, [this](const PanelSource& source) {
            told << QStringLiteral("begins ") + describe(source);
        });
        QObject::connect(&run, &PanelRun::ended, &run, [this](const PanelSource& source) {
            told << QStringLiteral("ended ") + describe(source);
        });
        dialogs.observer = [this](const ShownDialog& dialog) {
            if (dialog.kind == ShownDialog::Kind::Message)
                told << dialog.text;
        };
    }

    void choose(QPushButton* button, const QString& path)
    {
        dialogs.expectFileDialog({path});
        QTest::mouseClick(button, Qt::LeftButton);
    }

    void press(QPushButton* button, int messages)
    {
        for (int message = 0; message < messages; ++message)
            dialogs.expectMessage();
        QTest::mouseClick(button, Qt::LeftButton);
    }

    UI::ZAV_ImportFromFile_Widget panel{nullptr};
    DialogDriver dialogs;
    PanelView view;
    PanelRun run;
    QStringList told;

private:
    static QString describe(const PanelSource& source)
    {
        static const QStringList kinds = {QStringLiteral("batch"), QStringLiteral("archive"),
                                          QStringLiteral("folder")};
        return QStringLiteral("%1 %2 %3")
            .arg(kinds.at(static_cast<int>(source.kind)), QDir(source.path).dirName(), source.company);
    }
};

} // namespace

class HostPanelRunTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void framesABatch();
    void keepsADirectoryThatIsCleared();
    void forgetsADirectoryWhenTheChoiceIsCancelled();
    void takesNoTypingForAChoice();
    void framesASingleArchive();
    void framesAJobFolder();
    void saysNothingOfASourceThatIsCleared();
    void closesTheGateWhileTheSlotRuns();
    void forgetsAPressThatIsNoClick();

private:
    std::unique_ptr<FreshSite> m_site;
    std::unique_ptr<FollowedPanel> m_panel;
};

void HostPanelRunTest::init()
{
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(QStringLiteral("AB"), QStringLiteral("Acme"));
    QDir(m_site->path(QStringLiteral("."))).mkpath(QStringLiteral("batch/Acme"));
    QDir(m_site->path(QStringLiteral("."))).mkpath(QStringLiteral("job/matrix"));
    m_panel = std::make_unique<FollowedPanel>();
}

void HostPanelRunTest::cleanup()
{
    QVERIFY2(m_panel->dialogs.complaint().isEmpty(), qPrintable(m_panel->dialogs.complaint()));
    m_panel.reset();
    m_site.reset();
}

void HostPanelRunTest::framesABatch()
{
    m_panel->choose(m_panel->view.openFolder, m_site->path(QStringLiteral("batch")));
    m_panel->press(m_panel->view.batchImport, 2);
    QCOMPARE(m_panel->told.size(), 4);
    QCOMPARE(m_panel->told.first(), QStringLiteral("begins batch batch "));
    QCOMPARE(m_panel->told.last(), QStringLiteral("ended batch batch "));
    QVERIFY(!m_panel->run.isRunning());
}

void HostPanelRunTest::keepsADirectoryThatIsCleared()
{
    m_panel->choose(m_panel->view.openFolder, m_site->path(QStringLiteral("batch")));
    QTest::mouseClick(m_panel->view.batchClear, Qt::LeftButton);
    QVERIFY(m_panel->view.batchPath->text().isEmpty());
    m_panel->press(m_panel->view.batchImport, 2);
    QCOMPARE(m_panel->told.first(), QStringLiteral("begins batch batch "));
}

void HostPanelRunTest::forgetsADirectoryWhenTheChoiceIsCancelled()
{
    m_panel->choose(m_panel->view.openFolder, m_site->path(QStringLiteral("batch")));
    m_panel->dialogs.expectCancelledFileDialog();
    QTest::mouseClick(m_panel->view.openFolder, Qt::LeftButton);
    const QString empty = m_site->path(QStringLiteral("empty"));
    QVERIFY(QDir().mkpath(empty) && QDir::setCurrent(empty));
    m_panel->press(m_panel->view.batchImport, 0);
    QVERIFY(m_panel->run.source().path.isEmpty());
}

void HostPanelRunTest::takesNoTypingForAChoice()
{
    m_panel->choose(m_panel->view.openFolder, m_site->path(QStringLiteral("batch")));
    QTest::keyClicks(m_panel->view.batchPath, QStringLiteral("x"));
    m_panel->press(m_panel->view.batchImport, 2);
    QCOMPARE(m_panel->told.first(), QStringLiteral("begins batch batch "));
}

void HostPanelRunTest::framesASingleArchive()
{
    const QString archive = m_site->path(QStringLiteral("job.tgz"));
    QFile file(archive);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("content") == 7);
    file.close();
    m_panel->view.company->setCurrentText(QStringLiteral("Acme"));
    m_panel->choose(m_panel->view.openFile, archive);
    m_panel->press(m_panel->view.singleImport, 1);
    const QStringList expected = {QStringLiteral("begins archive job.tgz Acme"), QStringLiteral("导入成功!"),
                                  QStringLiteral("ended archive job.tgz Acme")};
    QCOMPARE(m_panel->told, expected);
}

void HostPanelRunTest::framesAJobFolder()
{
    m_panel->view.company->setCurrentText(QStringLiteral("Acme"));
    m_panel->choose(m_panel->view.openDir, m_site->path(QStringLiteral("job")));
    m_panel->press(m_panel->view.singleImport, 2);
    QCOMPARE(m_panel->told.first(), QStringLiteral("begins folder job Acme"));
    QCOMPARE(m_panel->told.last(), QStringLiteral("ended folder job Acme"));
    QCOMPARE(m_panel->told.size(), 4);
}

void HostPanelRunTest::saysNothingOfASourceThatIsCleared()
{
    m_panel->choose(m_panel->view.openDir, m_site->path(QStringLiteral("job")));
    QTest::mouseClick(m_panel->view.singleClear, Qt::LeftButton);
    m_panel->press(m_panel->view.singleImport, 0);
    QVERIFY(m_panel->run.source().path.isEmpty());
    QCOMPARE(m_panel->told.size(), 2);
}

void HostPanelRunTest::closesTheGateWhileTheSlotRuns()
{
    QStringList done;
    QObject::connect(m_panel->view.batchImport, &QPushButton::released, this, [this, &done] {
        RunGate::whenOpen(this, [&done] { done << QStringLiteral("waited"); });
    });
    QObject::connect(&m_panel->run, &PanelRun::ended, this, [&done] { done << QStringLiteral("ended"); });
    m_panel->choose(m_panel->view.openFolder, m_site->path(QStringLiteral("batch")));
    m_panel->dialogs.observer = [&done](const ShownDialog& /*box*/) {
        QCoreApplication::processEvents();
        done << (RunGate::isClosed() ? QStringLiteral("box") : QStringLiteral("open"));
    };
    m_panel->press(m_panel->view.batchImport, 2);
    QVERIFY(!RunGate::isClosed());
    QTRY_COMPARE(done, QStringList({QStringLiteral("box"), QStringLiteral("box"), QStringLiteral("ended"),
                                    QStringLiteral("waited")}));
}

/// Pressed, pulled off the button and let go there.
void HostPanelRunTest::forgetsAPressThatIsNoClick()
{
    QPushButton* button = m_panel->view.batchImport;
    QTest::mousePress(button, Qt::LeftButton);
    QVERIFY(m_panel->run.isRunning());
    const QPointF away(-50, -50);
    QMouseEvent move(QEvent::MouseMove, away, Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(button, &move);
    QTest::mouseRelease(button, Qt::LeftButton, Qt::NoModifier, away.toPoint());
    QTRY_VERIFY(!m_panel->run.isRunning());
    QVERIFY(!RunGate::isClosed());
    QCOMPARE(m_panel->told.size(), 1);
}

ZAV_REGISTER_TEST(host_panel_run, HostPanelRunTest, QApplication)

#include "host_panel_run.moc"
