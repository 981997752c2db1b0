// Two clients with a window each, of two operators, on one site.

#include "backend/Site.h"
#include "backend/records/CompanyClaim.h"
#include "tests/support/DesktopOperator.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <csignal>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

/// A client of its own user, with a batch of its own of the same company.
class Colleague final
{
public:
    Colleague(const Desktop& desktop, const FreshSite& site, const QString& name, int jobBytes)
        : client(desktop)
        , hand(client)
        , batch(site.path(name))
        , m_site(site)
    {
        writeFile(local(batch + QStringLiteral("/华兴/%1/matrix/matrix").arg(name)),
                  randomBytes(jobBytes, static_cast<quint32>(name.size())));
    }

    bool start() { return client.start({QStringLiteral("--config"), m_site.configuration()}); }

    DesktopClient client;
    DesktopOperator hand;
    QString batch;

private:
    const FreshSite& m_site;
};

bool isCompanyHeld()
{
    const auto settings = Backend::Site::current().settings();
    const auto database = Backend::Site::current().database();
    const auto held = Backend::listHeldCompanies(*database.value(), settings->database);
    return held.ok() && !held->empty();
}

/// Whether the status bar of a window has a text of a warning at its left, where waits stand: the client that
/// waits answers nobody but the window system.
bool showsWait(const Desktop& desktop, const QRect& window)
{
    const QImage picture = desktop.picture();
    int dots = 0;
    for (int y = window.bottom() - 40; y < window.bottom(); ++y)
        for (int x = window.left(); x < window.left() + window.width() / 3; ++x)
            dots += picture.valid(x, y) && picture.pixel(x, y) == qRgb(0xff, 0xc9, 0x8f) ? 1 : 0;
    return dots > 30;
}

/// Room for two windows beside each other: which of two is in front is the window manager's affair.
QSize roomForTwo()
{
    return {3500, 1040};
}

} // namespace

class DesktopClientsTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void oneSeesWhatTheOtherDid();
    void twoBatchesAtOnceAreTold();
};

void DesktopClientsTest::oneSeesWhatTheOtherDid()
{
    const Desktop desktop(roomForTwo());
    const FreshSite site;
    site.addCompany(QStringLiteral("HX"), QStringLiteral("华兴"));
    Colleague one(desktop, site, QStringLiteral("first"), 1000);
    Colleague other(desktop, site, QStringLiteral("second"), 1000);
    QVERIFY(other.start());
    QVERIFY(one.start());
    QVERIFY(!one.hand.importBatch(one.batch).isEmpty());
    QCOMPARE(one.client.quit(), 0);

    QVERIFY(other.client.activate());
    desktop.press(QStringLiteral("F5"));
    QVERIFY(other.client.findItem(QStringLiteral("waitingDock > QTableView"), QStringLiteral("HX000001")));
    QVERIFY(other.client.showsText(QStringLiteral("filesPage > QTableView"), QStringLiteral("HX000001")));
    // And goes on counting where the other has ended.
    QVERIFY(!other.hand.importBatch(other.batch).isEmpty());
    QVERIFY(other.client.findItem(QStringLiteral("waitingDock > QTableView"), QStringLiteral("HX000002")));
    QCOMPARE(other.client.quit(), 0);
}

/// The first one is stopped while it has the company: the second one says for whom it waits, and both end
/// well.
void DesktopClientsTest::twoBatchesAtOnceAreTold()
{
    const Desktop desktop(roomForTwo());
    const FreshSite site;
    site.addCompany(QStringLiteral("HX"), QStringLiteral("华兴"));
    Colleague one(desktop, site, QStringLiteral("first"), 40'000'000);
    Colleague other(desktop, site, QStringLiteral("second"), 1000);
    QVERIFY(one.start());
    QVERIFY(one.hand.chooseBatch(one.batch));
    QVERIFY(other.start());
    QVERIFY(other.hand.chooseBatch(other.batch));

    const auto window = other.client.find(QStringLiteral("KOZAV::Host::MainWindow"));
    QVERIFY(window);

    QVERIFY(one.client.activate());
    QVERIFY(one.hand.pressImport());
    QVERIFY(QTest::qWaitFor(&isCompanyHeld, 60'000));
    one.client.send(SIGSTOP);
    QVERIFY(other.client.activate());
    QVERIFY(other.hand.pressImport());
    QVERIFY(QTest::qWaitFor([&] { return showsWait(desktop, window->rect); }, 60'000));
    desktop.takePicture(QStringLiteral("clients-two-batches"));
    one.client.send(SIGCONT);

    QVERIFY(!other.hand.answerBatch().isEmpty());
    QVERIFY(one.client.activate());
    QVERIFY(!one.hand.answerBatch().isEmpty());
    QCOMPARE(site.jobs().size(), std::size_t{2});
    QCOMPARE(one.client.quit(), 0);
    QVERIFY(other.client.activate());
    QCOMPARE(other.client.quit(), 0);
}

ZAV_REGISTER_TEST(desktop_clients, DesktopClientsTest, QCoreApplication)
#include "desktop_clients.moc"
