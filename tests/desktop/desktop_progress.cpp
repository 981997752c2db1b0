// An import that takes a while, in a real window: the window answers its desktop, shows how far the import
// is, and can be closed.

#include "tests/support/DesktopClient.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QTest>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <optional>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

constexpr int bigJobMebibytes = 96;
/// Desktops offer to end a program that has not answered for some seconds.
constexpr int patienceMs = 5000;

template <typename T>
using Freed = std::unique_ptr<T, decltype(&std::free)>;

/// Asks windows whether they are alive, as a window manager does.
class Pinger final
{
public:
    explicit Pinger(const QString& display)
        : m_connection(xcb_connect(qPrintable(display), nullptr))
        , m_root(xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root)
        , m_protocols(atom("WM_PROTOCOLS"))
        , m_ping(atom("_NET_WM_PING"))
    {
        const uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(m_connection, m_root, XCB_CW_EVENT_MASK, &events);
        xcb_flush(m_connection);
    }
    ~Pinger() { xcb_disconnect(m_connection); }
    Q_DISABLE_COPY(Pinger)

    /// The window that was opened first.
    [[nodiscard]] xcb_window_t firstWindow() const
    {
        const auto asked =
            xcb_get_property(m_connection, 0, m_root, atom("_NET_CLIENT_LIST"), XCB_ATOM_WINDOW, 0, 1);
        const Freed<xcb_get_property_reply_t> reply(xcb_get_property_reply(m_connection, asked, nullptr),
                                                    &std::free);
        if (!reply || xcb_get_property_value_length(reply.get()) == 0)
            return XCB_NONE;
        return *static_cast<const xcb_window_t*>(xcb_get_property_value(reply.get()));
    }

    /// @return after how many milliseconds the window answered; -1 where it did not
    qint64 ping(xcb_window_t window)
    {
        xcb_client_message_event_t request = {};
        request.response_type = XCB_CLIENT_MESSAGE;
        request.format = 32;
        request.window = window;
        request.type = m_protocols;
        request.data.data32[0] = m_ping;
        request.data.data32[1] = ++m_number;
        request.data.data32[2] = window;
        xcb_send_event(m_connection, 0, window, XCB_EVENT_MASK_NO_EVENT,
                       reinterpret_cast<const char*>(&request));
        xcb_flush(m_connection);
        QElapsedTimer clock;
        clock.start();
        return QTest::qWaitFor([this] { return isAnswered(); }, patienceMs) ? clock.elapsed() : -1;
    }

private:
    xcb_atom_t atom(const char* name) const
    {
        const auto asked = xcb_intern_atom(m_connection, 0, static_cast<uint16_t>(qstrlen(name)), name);
        const Freed<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_connection, asked, nullptr),
                                                   &std::free);
        return reply ? reply->atom : XCB_NONE;
    }

    bool isAnswered()
    {
        while (const Freed<xcb_generic_event_t> event{xcb_poll_for_event(m_connection), &std::free}) {
            const auto* answer = reinterpret_cast<const xcb_client_message_event_t*>(event.get());
            if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE && answer->data.data32[0] == m_ping &&
                answer->data.data32[1] == m_number)
                return true;
        }
        return false;
    }

    xcb_connection_t* m_connection;
    xcb_window_t m_root;
    xcb_atom_t m_protocols;
    xcb_atom_t m_ping;
    uint32_t m_number = 1000;
};

/// A folder that takes a while to pack: random bytes alone would be stored as they are.
bool makeBigJob(const QString& folder)
{
    QFile file(folder + QStringLiteral("/matrix/matrix"));
    QByteArray block(1 << 19, Qt::Uninitialized);
    QRandomGenerator::global()->fillRange(reinterpret_cast<quint32*>(block.data()), block.size() / 4);
    block = block.toHex();
    if (!QDir().mkpath(folder + QStringLiteral("/matrix")) || !file.open(QIODevice::WriteOnly))
        return false;
    for (int written = 0; written < bigJobMebibytes; ++written) {
        if (file.write(block) != block.size())
            return false;
    }
    return true;
}

} // namespace

class DesktopProgressTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void answersAndCloses();
};

/// Two jobs are long; the window is closed in the second one, before the third.
void DesktopProgressTest::answersAndCloses()
{
    const FreshSite site;
    site.addCompany(QStringLiteral("HX"), QStringLiteral("华兴"));
    const QString batch = site.path(QStringLiteral("batch"));
    for (const char* job : {"a", "b"})
        QVERIFY(makeBigJob(batch + QStringLiteral("/华兴/") + QString::fromLatin1(job)));
    QVERIFY(QDir().mkpath(batch + QStringLiteral("/华兴/c/matrix")));
    const Desktop desktop;
    DesktopClient client(desktop);
    QVERIFY(client.start({QStringLiteral("--config"), site.configuration()}));
    Pinger pinger(desktop.display());
    const xcb_window_t window = pinger.firstWindow();
    QVERIFY(window != XCB_NONE && pinger.ping(window) >= 0);
    const QString box = QStringLiteral("importDock > QGroupBox=批量导入 > QPushButton=");
    QVERIFY(client.click(box + QStringLiteral("打开")) && client.chooseInDialog(batch));
    QVERIFY(client.click(box + QStringLiteral("导入")));

    const auto imported = [&site] { return site.jobs().size(); };
    QTRY_VERIFY(QDir(site.path(QStringLiteral("data"))).exists());
    int answers = 0;
    qint64 longest = 0;
    while (imported() == 0) {
        const qint64 ms = pinger.ping(window);
        QVERIFY2(ms >= 0, "no answer while a job is imported");
        longest = std::max(longest, ms);
        if (++answers == 2)
            desktop.takePicture(QStringLiteral("progress"));
    }
    qInfo("%d answers, the longest after %lld ms", answers, longest);
    QVERIFY(answers >= 3);

    desktop.press(QStringLiteral("alt+F4"));
    QTRY_VERIFY_WITH_TIMEOUT(imported() == 2, 60000);
    // What is typed before the box is there goes nowhere.
    QVERIFY(QTest::qWaitFor(
        [&] {
            if (client.isRunning() && pinger.ping(window) >= 0)
                desktop.takePicture(QStringLiteral("progress-closing"));
            desktop.press(QStringLiteral("alt+s"));
            return !client.isRunning();
        },
        60000));
    QCOMPARE(int(imported()), 2);
}

ZAV_REGISTER_TEST(desktop_progress, DesktopProgressTest, QCoreApplication)

#include "desktop_progress.moc"
