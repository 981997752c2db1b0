#include "tests/support/DesktopClient.h"

#include "tests/support/ClientProgram.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcessEnvironment>
#include <QTest>

#include <algorithm>

namespace KOZAV::Test {

namespace {

/// A machine may be busy with much else.
constexpr int patienceMs = 60'000;
constexpr int answerMs = 250;
constexpr int pictureMs = 3'000;
constexpr int goneMs = 2'000;

QString text(const char* latin)
{
    return QString::fromLatin1(latin);
}

QRect readRect(const QJsonValue& value)
{
    const QJsonArray numbers = value.toArray();
    return {qRound(numbers.at(0).toDouble()), qRound(numbers.at(1).toDouble()),
            qRound(numbers.at(2).toDouble()), qRound(numbers.at(3).toDouble())};
}

SeenWidget readWidget(const QJsonObject& object)
{
    SeenWidget seen;
    seen.id = object.value(text("id")).toString();
    seen.name = object.value(text("name")).toString();
    seen.className = object.value(text("class")).toString();
    seen.text = object.value(text("text")).toString();
    seen.rect = readRect(object.value(text("rect")));
    seen.seen = readRect(object.value(text("seen")));
    seen.enabled = object.value(text("enabled")).toBool();
    seen.focus = object.value(text("focus")).toBool();
    seen.rows = object.value(text("rows")).toInt(-1);
    seen.current = object.value(text("current")).toInt(-1);
    for (const QJsonValue value : object.value(text("items")).toArray()) {
        const QJsonObject item = value.toObject();
        seen.items.push_back({item.value(text("text")).toString(), readRect(item.value(text("rect"))),
                              item.value(text("row")).toInt(), item.value(text("column")).toInt()});
    }
    return seen;
}

} // namespace

DesktopClient::DesktopClient(const Desktop& desktop)
    : m_desktop(desktop)
{
    m_process.setProcessChannelMode(QProcess::MergedChannels);
}

DesktopClient::~DesktopClient() = default;

bool DesktopClient::start(const QStringList& arguments, const QMap<QString, QString>& environment)
{
    return startBy({}, arguments, environment);
}

bool DesktopClient::startBy(const QStringList& tool, const QStringList& arguments,
                            const QMap<QString, QString>& environment)
{
    m_process.end();
    m_probe.abort();
    m_output.clear();
    const QString socket = m_folder.filePath(QStringLiteral("probe-%1").arg(++m_asked));
    auto variables = QProcessEnvironment::systemEnvironment();
    variables.insert(text("DISPLAY"), m_desktop.display());
    variables.insert(text("HOME"), m_home.path());
    variables.insert(text("XDG_CONFIG_HOME"), m_home.filePath(text(".config")));
    variables.insert(text("XDG_CACHE_HOME"), m_home.filePath(text(".cache")));
    variables.insert(text("XDG_DATA_HOME"), m_home.filePath(text(".local")));
    variables.insert(text("XDG_STATE_HOME"), m_home.filePath(text(".local/state")));
    variables.insert(text("QT_QPA_PLATFORM"), text("xcb"));
    variables.insert(text("QT_QPA_GENERIC_PLUGINS"), text("zavprobe:") + socket);
    variables.insert(text("QT_PLUGIN_PATH"), text(ZAV_TEST_PLUGINS));
    for (auto variable = environment.begin(); variable != environment.end(); ++variable) {
        if (variable.value().isNull())
            variables.remove(variable.key());
        else
            variables.insert(variable.key(), variable.value());
    }
    m_process.setProcessEnvironment(variables);
    const QStringList command = tool + QStringList{clientProgram()} + arguments;
    m_process.start(command.first(), command.mid(1));
    const bool there = QTest::qWaitFor(
        [&] {
            if (m_probe.state() == QLocalSocket::UnconnectedState)
                m_probe.connectToServer(socket);
            return m_process.state() == QProcess::NotRunning ||
                   (m_probe.waitForConnected(answerMs) &&
                    (shows(text("KOZAV::Host::MainWindow")) || shows(text("firstRunPage"))));
        },
        patienceMs);
    if (!there || m_process.state() == QProcess::NotRunning) {
        qWarning("the client shows no window: %s", qUtf8Printable(output()));
        return false;
    }
    return activate();
}

std::optional<QJsonObject> DesktopClient::ask(const QString& path)
{
    const int number = ++m_asked;
    m_probe.write(QStringLiteral("%1 %2\n").arg(number).arg(path).toUtf8());
    m_probe.flush();
    for (;;) {
        while (m_probe.canReadLine()) {
            const QJsonObject reply = QJsonDocument::fromJson(m_probe.readLine()).object();
            if (reply.value(text("number")).toInt() == number)
                return reply;
        }
        if (!m_probe.waitForReadyRead(answerMs))
            return std::nullopt;
    }
}

std::vector<SeenWidget> DesktopClient::look(const QString& path)
{
    std::vector<SeenWidget> widgets;
    if (const auto reply = ask(path)) {
        for (const QJsonValue value : reply->value(text("found")).toArray())
            widgets.push_back(readWidget(value.toObject()));
    }
    return widgets;
}

bool DesktopClient::shows(const QString& path)
{
    return !look(path).empty();
}

std::optional<SeenWidget> DesktopClient::find(const QString& path,
                                              const std::function<bool(const SeenWidget&)>& holds)
{
    std::optional<SeenWidget> found;
    (void)QTest::qWaitFor(
        [&] {
            for (const SeenWidget& widget : look(path)) {
                if (!holds || holds(widget))
                    found = widget;
            }
            return found || !isRunning();
        },
        patienceMs);
    if (!found)
        qWarning("nothing like %s is shown", qUtf8Printable(path));
    return found;
}

bool DesktopClient::waitUntilShown(const QString& path, int waitMs)
{
    return QTest::qWaitFor([&] { return shows(path); }, waitMs);
}

bool DesktopClient::waitUntilGone(const QString& path, int waitMs)
{
    const auto gone = [&] {
        const auto reply = ask(path);
        return !isRunning() || (reply && reply->value(text("found")).toArray().isEmpty());
    };
    return QTest::qWaitFor(gone, waitMs > 0 ? waitMs : patienceMs);
}

std::optional<SeenItem> DesktopClient::findItem(const QString& path, const QString& wanted)
{
    std::optional<SeenItem> found;
    (void)find(path, [&](const SeenWidget& widget) {
        for (const SeenItem& item : widget.items) {
            if (item.text == wanted && !item.rect.isEmpty())
                found = item;
        }
        return found.has_value();
    });
    if (!found)
        qWarning("%s has no entry %s", qUtf8Printable(path), qUtf8Printable(wanted));
    return found;
}

bool DesktopClient::click(const QString& path, int button)
{
    // Where it stands still: the window may be laying itself out.
    QRect before;
    const auto widget = find(path, [&before](const SeenWidget& seen) {
        const bool still = seen.enabled && !seen.seen.isEmpty() && seen.seen == before;
        before = seen.seen;
        return still;
    });
    if (widget)
        m_desktop.click(widget->seen.center(), button);
    return widget.has_value();
}

bool DesktopClient::clickItem(const QString& path, const QString& wanted, int button, int times)
{
    const auto item = findItem(path, wanted);
    if (item)
        m_desktop.click(item->rect.center(), button, times);
    return item.has_value();
}

/// The next box may be there at once, even in the place that this one had in memory. A click that came too
/// early is made again.
QString DesktopClient::answer(const QString& button)
{
    const auto box = find(text("QMessageBox"));
    if (!box)
        return {};
    const auto isGone = [&] {
        const auto reply = ask(text("QMessageBox"));
        if (!reply)
            return !isRunning();
        for (const QJsonValue value : reply->value(text("found")).toArray()) {
            const SeenWidget seen = readWidget(value.toObject());
            if (seen.id == box->id && seen.text == box->text)
                return false;
        }
        return true;
    };
    for (int times = 0; times < 20; ++times) {
        for (const SeenWidget& seen : look(text("QMessageBox > QPushButton=") + button))
            m_desktop.click(seen.seen.center());
        if (QTest::qWaitFor(isGone, goneMs))
            return box->text;
    }
    qWarning("the box %s is not answered by %s", qUtf8Printable(box->text), qUtf8Printable(button));
    return {};
}

/// The dialog completes what is typed, and may put what it selects in the place of it: then it is typed
/// again. The list of completions may take the first Return for itself.
bool DesktopClient::chooseInDialog(const QString& path)
{
    const QString field = text("QFileDialog > fileNameEdit");
    if (!click(field))
        return false;
    const auto isTyped = [&] {
        const auto seen = look(field);
        return !seen.empty() && seen.front().text == path;
    };
    for (int times = 0; times < 10; ++times) {
        if (!isTyped()) {
            m_desktop.press(text("ctrl+a"));
            m_desktop.type(path);
        }
        if (!QTest::qWaitFor(isTyped, goneMs))
            continue;
        m_desktop.press(text("Return"));
        if (waitUntilGone(text("QFileDialog"), goneMs))
            return true;
    }
    qWarning("the dialog does not take %s", qUtf8Printable(path));
    return false;
}

bool DesktopClient::showsText(const QString& path, const QString& part)
{
    return find(path,
                [&](const SeenWidget& widget) {
                    const auto holds = [&](const SeenItem& item) { return item.text.contains(part); };
                    return std::any_of(widget.items.begin(), widget.items.end(), holds);
                })
        .has_value();
}

bool DesktopClient::activate()
{
    const auto isActive = [this] {
        const auto reply = ask(text("KOZAV::Host::MainWindow"));
        return reply && reply->value(text("active")).toBool();
    };
    // A window that is not there yet cannot be brought to the front: it is asked for again.
    return QTest::qWaitFor(
        [&] {
            if (isActive())
                return true;
            m_desktop.activate(processId());
            return false;
        },
        patienceMs);
}

QString DesktopClient::desktopFile()
{
    const auto reply = ask(text("KOZAV::Host::MainWindow"));
    return reply ? reply->value(text("desktopFile")).toString() : QString();
}

void DesktopClient::takePicture(const QString& name)
{
    QImage before;
    (void)QTest::qWaitFor(
        [&] {
            const QImage now = m_desktop.picture();
            const bool still = ask(text("KOZAV::Host::MainWindow")) && now == before;
            before = now;
            return still;
        },
        pictureMs);
    m_desktop.takePicture(name);
}

const QString& DesktopClient::output()
{
    m_output += QString::fromUtf8(m_process.readAll());
    return m_output;
}

int DesktopClient::quit()
{
    if (!activate())
        return -1;
    m_desktop.press(text("ctrl+q"));
    const bool ended = QTest::qWaitFor([this] { return !isRunning(); }, patienceMs);
    return ended && m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

} // namespace KOZAV::Test
