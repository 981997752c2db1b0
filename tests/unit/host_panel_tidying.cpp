// What the client tidies up after the file import panel: staged copies, and the boxes of a batch that gave
// up.

#include "host/PanelRun.h"
#include "host/PanelTidying.h"
#include "host/site/SiteAccess.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/FreshSite.h"
#include "tests/support/PanelView.h"
#include "tests/support/TestProgram.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

constexpr int entries = 3;

/// Reads the panel's boxes like an operator who takes a moment for each, and counts those that it had to
/// answer.
class SlowOperator final : public QObject
{
public:
    SlowOperator() { qApp->installEventFilter(this); }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        auto* box = qobject_cast<QMessageBox*>(watched);
        if (event->type() == QEvent::Show && box) {
            constexpr int momentMs = 200;
            ++shown;
            QTimer::singleShot(momentMs, box, [this, box] {
                ++answered;
                box->accept();
            });
        }
        return QObject::eventFilter(watched, event);
    }

    int shown = 0;
    int answered = 0;
};

void writeFile(const QString& path)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.write("content") > 0);
}

} // namespace

class HostPanelTidyingTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void removesTheCopiesOfTheRun();
    void removesTheCopiesOfRefusedEntries();
    void answersTheBoxesOfABatchThatGaveUp();
    void leavesOtherBoxesToTheOperator();

private:
    void importBatch();
    [[nodiscard]] QStringList inCache() const;

    std::unique_ptr<FreshSite> m_site;
    std::unique_ptr<SiteAccess> m_access;
    std::unique_ptr<UI::ZAV_ImportFromFile_Widget> m_panel;
    std::unique_ptr<PanelRun> m_run;
    std::unique_ptr<PanelTidying> m_tidying;
};

void HostPanelTidyingTest::init()
{
    m_site = std::make_unique<FreshSite>();
    QVERIFY(QDir().mkpath(m_site->path(QStringLiteral("batch/Acme"))));
    for (int entry = 0; entry < entries; ++entry)
        writeFile(m_site->path(QStringLiteral("batch/Acme/%1.tgz").arg(entry)));
    m_access = std::make_unique<SiteAccess>(m_site->configuration());
    QCOMPARE(m_access->open(), QString());
    m_panel = std::make_unique<UI::ZAV_ImportFromFile_Widget>(nullptr);
    m_panel->show();
    m_run = std::make_unique<PanelRun>(*m_panel);
    m_tidying = std::make_unique<PanelTidying>(*m_access, *m_run);
}

void HostPanelTidyingTest::cleanup()
{
    m_tidying.reset();
    m_run.reset();
    m_panel.reset();
    m_access.reset();
    m_site.reset();
}

void HostPanelTidyingTest::importBatch()
{
    const PanelView view(*m_panel);
    {
        DialogDriver dialogs;
        dialogs.expectFileDialog({m_site->path(QStringLiteral("batch"))});
        QTest::mouseClick(view.openFolder, Qt::LeftButton);
        QCOMPARE(dialogs.complaint(), QString());
    }
    QTest::mouseClick(view.batchImport, Qt::LeftButton);
}

QStringList HostPanelTidyingTest::inCache() const
{
    return QDir(m_site->path(QStringLiteral("data/upload"))).entryList(QDir::Files | QDir::Hidden);
}

void HostPanelTidyingTest::removesTheCopiesOfTheRun()
{
    m_site->addCompany(QStringLiteral("AB"), QStringLiteral("Acme"));
    writeFile(m_site->path(QStringLiteral("data/upload/another.tgz")));
    const SlowOperator person;
    importBatch();
    QCOMPARE(int(m_site->jobs().size()), entries);
    QCOMPARE(inCache(), QStringList{QStringLiteral("another.tgz")});
}

void HostPanelTidyingTest::removesTheCopiesOfRefusedEntries()
{
    const SlowOperator person;
    importBatch();
    QVERIFY(m_site->jobs().empty());
    QCOMPARE(inCache(), QStringList());
}

void HostPanelTidyingTest::answersTheBoxesOfABatchThatGaveUp()
{
    connect(m_access.get(), &SiteAccess::serviceCalled, this, [this](const Backend::OperationEvent& event) {
        Backend::ServiceWait wait;
        wait.part = Backend::SitePart::Rows;
        wait.over = wait.gaveUp = true;
        if (event.operation == Backend::ServiceOperation::MongodbPut)
            Q_EMIT m_access->serviceWaits(wait);
    });
    const SlowOperator person;
    importBatch();
    constexpr int atTheEnd = 2;
    QCOMPARE(person.shown, entries + atTheEnd);
    QCOMPARE(person.answered, atTheEnd);
}

void HostPanelTidyingTest::leavesOtherBoxesToTheOperator()
{
    const SlowOperator person;
    importBatch();
    QCOMPARE(person.answered, person.shown);
    QVERIFY(person.shown > entries);
}

ZAV_REGISTER_TEST(host_panel_tidying, HostPanelTidyingTest, QApplication)

#include "host_panel_tidying.moc"
