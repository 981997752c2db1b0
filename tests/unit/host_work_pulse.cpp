// What happens in the client's window while the file import panel works, and what waits.

#include "host/CamImport.h"
#include "host/MainWindow.h"
#include "host/PanelReport.h"
#include "host/PanelRun.h"
#include "host/ProgressStrip.h"
#include "host/ServiceLog.h"
#include "host/core/BatchReport.h"
#include "host/core/RunGate.h"
#include "host/site/SiteAccess.h"
#include "samples/JobGenerator.h"
#include "services/ui/ZAV_UICommon.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/FreshSite.h"
#include "tests/support/PanelView.h"
#include "tests/support/TestProgram.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QMessageBox>
#include <QPaintEvent>
#include <QPushButton>
#include <QSignalSpy>
#include <QSocketNotifier>
#include <QTest>
#include <QThread>
#include <QThreadPool>
#include <QTimer>
#include <QWindow>

#include <unistd.h>

#include <array>
#include <memory>
#include <utility>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

constexpr int jobs = 6;

/// Counts what it is given: paints, and input.
class Witness final : public QWidget
{
public:
    using QWidget::QWidget;

    int paints = 0;
    int input = 0;

protected:
    void paintEvent(QPaintEvent* /*event*/) override { ++paints; }
    void mousePressEvent(QMouseEvent* /*event*/) override { ++input; }
    void keyPressEvent(QKeyEvent* /*event*/) override { ++input; }
};

/// Answers the question whether a batch is to go on. Timers rest while it is put.
class ClosingAnswer final : public QObject
{
public:
    explicit ClosingAnswer(QMessageBox::ButtonRole role)
        : m_role(role)
    {
        qApp->installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        auto* box = qobject_cast<QMessageBox*>(watched);
        if (box && event->type() == QEvent::Show && box->objectName() == QStringLiteral("closingBox")) {
            texts << box->text();
            QMetaObject::invokeMethod(
                box, [this, box] { press(*box); }, Qt::QueuedConnection);
        }
        return false;
    }

    QStringList texts;

private:
    void press(QMessageBox& box)
    {
        for (QAbstractButton* button : box.buttons()) {
            if (box.buttonRole(button) == m_role)
                QTest::mouseClick(button, Qt::LeftButton);
        }
    }

    QMessageBox::ButtonRole m_role;
};

} // namespace

class HostWorkPulseTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void paintsWhileThePanelWorks();
    void givesInputToNobody();
    void holdsTimersAndSocketsBack();
    void holdsAnImportRequestBack();
    void asksBeforeItCloses();
    void asksBeforeTheFirstJob();
    void goesOnWhereAsked();
    void closesAfterASingleImport();

private:
    void makeBatch();
    void chooseBatch();
    void importBatch(int messages);
    /// Asks for the window to be closed, as the window system does, at the first pulse.
    void closeAtFirstPulse();
    /// The same when that operation is called for the first time.
    void closeIn(Backend::ServiceOperation operation);
    [[nodiscard]] bool isSlotRunning() const { return RunGate::isClosed(); }

    std::unique_ptr<FreshSite> m_site;
    ServiceLog m_log;
    std::unique_ptr<SiteAccess> m_access;
    std::unique_ptr<MainWindow> m_window;
    std::unique_ptr<PanelView> m_view;
    std::unique_ptr<DialogDriver> m_dialogs;
};

void HostWorkPulseTest::init()
{
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(QStringLiteral("AB"), QStringLiteral("Acme"));
    makeBatch();
    m_access = std::make_unique<SiteAccess>(m_site->configuration());
    QCOMPARE(m_access->open(), QString());
    m_window = std::make_unique<MainWindow>(*m_access, m_log);
    m_window->show();
    m_view = std::make_unique<PanelView>(*m_window->importPanel());
    m_dialogs = std::make_unique<DialogDriver>();
    QCoreApplication::processEvents();
}

void HostWorkPulseTest::cleanup()
{
    QVERIFY2(m_dialogs->complaint().isEmpty(), qPrintable(m_dialogs->complaint()));
    m_dialogs.reset();
    m_view.reset();
    m_window.reset();
    m_access.reset();
    m_site.reset();
}

void HostWorkPulseTest::makeBatch()
{
    for (int job = 0; job < jobs; ++job) {
        Samples::JobRequest request;
        request.directory = m_site->path(QStringLiteral("batch/Acme"));
        request.name = QStringLiteral("job%1").arg(job);
        QVERIFY(Samples::generateJob(request).ok());
    }
}

void HostWorkPulseTest::chooseBatch()
{
    m_dialogs->expectFileDialog({m_site->path(QStringLiteral("batch"))});
    QTest::mouseClick(m_view->openFolder, Qt::LeftButton);
}

void HostWorkPulseTest::importBatch(int messages)
{
    for (int message = 0; message < messages; ++message)
        m_dialogs->expectMessage();
    QTest::mouseClick(m_view->batchImport, Qt::LeftButton);
}

void HostWorkPulseTest::closeAtFirstPulse()
{
    connect(&m_window->panelRun(), &PanelRun::begins, this,
            [this] { QCoreApplication::postEvent(m_window->windowHandle(), new QCloseEvent); });
}

void HostWorkPulseTest::closeIn(Backend::ServiceOperation operation)
{
    connect(m_access.get(), &SiteAccess::serviceCalled, this,
            [this, operation, asked = false](const Backend::OperationEvent& event) mutable {
                if (event.operation == operation && !std::exchange(asked, true))
                    QVERIFY(!m_window->close());
            });
}

void HostWorkPulseTest::paintsWhileThePanelWorks()
{
    chooseBatch();
    Witness witness(m_window.get());
    witness.setGeometry(0, 0, 10, 10);
    witness.show();
    QTRY_VERIFY(witness.paints > 0);
    auto* strip = m_window->findChild<ProgressStrip*>();
    QVERIFY(strip && !strip->isVisible());
    int painted = 0;
    QStringList shown;
    connect(m_access.get(), &SiteAccess::serviceCalled, this, [&] {
        if (!strip->isVisible())
            return;
        painted = std::max(painted, witness.paints);
        shown << m_window->findChild<QWidget*>(QStringLiteral("progressJob"))->accessibleName();
        witness.update();
    });
    const int before = witness.paints;
    importBatch(2);
    QVERIFY(painted > before);
    QVERIFY(shown.join(QLatin1Char('\n')).contains(QStringLiteral("Acme / job")));
    QVERIFY(!strip->isVisible());
    QCOMPARE(m_window->panelReport().current()->count(BatchResult::Imported), jobs);
}

void HostWorkPulseTest::givesInputToNobody()
{
    chooseBatch();
    Witness witness;
    witness.show();
    QVERIFY(QTest::qWaitForWindowExposed(&witness));
    connect(m_view->batchImport, &QPushButton::released, &witness, [&witness] {
        const QPointF at(1, 1);
        QCoreApplication::postEvent(
            witness.windowHandle(),
            new QMouseEvent(QEvent::MouseButtonPress, at, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier));
        QCoreApplication::postEvent(&witness, new QKeyEvent(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier));
    });
    importBatch(2);
    QCoreApplication::processEvents();
    QCOMPARE(witness.input, 0);
    QCoreApplication::postEvent(&witness, new QKeyEvent(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier));
    QTRY_COMPARE(witness.input, 1);
}

void HostWorkPulseTest::holdsTimersAndSocketsBack()
{
    chooseBatch();
    std::array<int, 2> pipe = {-1, -1};
    QCOMPARE(::pipe(pipe.data()), 0);
    QCOMPARE(::write(pipe[1], "x", 1), ssize_t(1));
    int early = 0;
    int late = 0;
    // A box has a loop of its own, which may see timers through after the box is hidden; a pulse has none.
    const auto isWorking = [this] { return isSlotRunning() && QThread::currentThread()->loopLevel() == 0; };
    const auto note = [&] { ++(isWorking() ? early : late); };
    QSocketNotifier socket(pipe[0], QSocketNotifier::Read);
    socket.setEnabled(false);
    connect(&socket, &QSocketNotifier::activated, this, [&] {
        note();
        socket.setEnabled(false);
    });
    QTimer ticking;
    connect(&ticking, &QTimer::timeout, this, note);
    QTimer once;
    once.setSingleShot(true);
    connect(&once, &QTimer::timeout, this, note);
    auto* doomed = new QObject;
    const QPointer<QObject> watched(doomed);
    bool wasThere = true;
    connect(m_view->batchImport, &QPushButton::released, this, [&] {
        socket.setEnabled(true);
        ticking.start(1);
        once.start(0);
    });
    connect(m_access.get(), &SiteAccess::serviceCalled, this, [&] {
        if (doomed)
            std::exchange(doomed, nullptr)->deleteLater();
        wasThere = wasThere && (watched || !m_dialogs->shown().empty());
    });
    importBatch(2);
    QCOMPARE(early, 0);
    QVERIFY(wasThere);
    QTRY_VERIFY(late >= 3);
    QTRY_VERIFY(!watched);
    ::close(pipe[0]);
    ::close(pipe[1]);
}

/// The job list panel asks the robot as soon as it hears that a job is opened. The thread that opens one has
/// ended before the batch begins.
void HostWorkPulseTest::holdsAnImportRequestBack()
{
    chooseBatch();
    importBatch(2);
    const auto imported = m_site->jobs();
    QCOMPARE(int(imported.size()), jobs);
    const QSignalSpy opened(&m_window->camImport(), &CamImport::opened);
    const QSignalSpy requests(UI::ZAV_UICommon::interface(), &UI::ZAV_UICommon::hasImportSuccess);
    int early = 0;
    connect(m_access.get(), &SiteAccess::serviceCalled, this,
            [&] { early += isSlotRunning() ? int(requests.size()) : 0; });
    connect(m_view->batchImport, &QPushButton::released, this, [&] {
        UI::ZAV_UICommon::interface()->sendemitCAMImportJobInfo(QStringLiteral("source|") +
                                                                imported.front().generatedName);
        QThreadPool::globalInstance()->waitForDone();
    });
    connect(&m_window->panelRun(), &PanelRun::ended, this, [&] { early += int(requests.size()); });
    m_dialogs->observer = [&](const ShownDialog& /*box*/) { early += int(requests.size()); };
    importBatch(2);
    QCOMPARE(early, 0);
    QTRY_COMPARE(requests.size(), 1);
    QCOMPARE(opened.size(), 1);
}

/// In the middle of the first job. The panel's boxes are the client's business then.
void HostWorkPulseTest::asksBeforeItCloses()
{
    chooseBatch();
    m_dialogs.reset();
    const ClosingAnswer answer(QMessageBox::AcceptRole);
    closeIn(Backend::ServiceOperation::InsertFlowBeforeOrigFile);
    importBatch(0);
    m_dialogs = std::make_unique<DialogDriver>();
    QCOMPARE(answer.texts.size(), 1);
    QVERIFY(answer.texts.first().contains(QString::number(jobs - 1)));
    const BatchReport& report = *m_window->panelReport().current();
    QCOMPARE(report.count(BatchResult::Imported), 1);
    QCOMPARE(int(report.rows().size()), jobs);
    for (const BatchReportRow& row : report.rows()) {
        if (row.result != BatchResult::Imported)
            QCOMPARE(row.reasonCode, QStringLiteral("stopped"));
    }
    QCOMPARE(m_site->company(QStringLiteral("AB")).batchNumber, 1);
    QTRY_VERIFY(!m_window->isVisible());
}

void HostWorkPulseTest::asksBeforeTheFirstJob()
{
    chooseBatch();
    m_dialogs.reset();
    const ClosingAnswer answer(QMessageBox::AcceptRole);
    closeAtFirstPulse();
    importBatch(0);
    m_dialogs = std::make_unique<DialogDriver>();
    QCOMPARE(answer.texts.size(), 1);
    QCOMPARE(m_window->panelReport().current()->count(BatchResult::Imported), 0);
    QTRY_VERIFY(!m_window->isVisible());
}

void HostWorkPulseTest::goesOnWhereAsked()
{
    chooseBatch();
    const ClosingAnswer answer(QMessageBox::RejectRole);
    closeIn(Backend::ServiceOperation::InputOrigFile);
    importBatch(2);
    QCOMPARE(answer.texts.size(), 1);
    QCOMPARE(m_window->panelReport().current()->count(BatchResult::Imported), jobs);
    QCoreApplication::processEvents();
    QVERIFY(m_window->isVisible());
}

/// Nothing is left to be asked about.
void HostWorkPulseTest::closesAfterASingleImport()
{
    m_view->company->setCurrentText(QStringLiteral("Acme"));
    m_dialogs->expectFileDialog({m_site->path(QStringLiteral("batch/Acme/job0"))});
    QTest::mouseClick(m_view->openDir, Qt::LeftButton);
    const ClosingAnswer answer(QMessageBox::AcceptRole);
    closeAtFirstPulse();
    m_dialogs->expectMessage();
    m_dialogs->expectMessage();
    QTest::mouseClick(m_view->singleImport, Qt::LeftButton);
    QVERIFY(answer.texts.isEmpty());
    QCOMPARE(m_window->panelReport().current()->count(BatchResult::Imported), 1);
    QTRY_VERIFY(!m_window->isVisible());
}

ZAV_REGISTER_TEST(host_work_pulse, HostWorkPulseTest, QApplication)

#include "host_work_pulse.moc"
