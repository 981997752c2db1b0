// The X server keeps its screen in a file, in the form of the program xwd: a header of big-endian words, the
// colours, the pixels. So a picture needs no other program, and shows what is there at that moment, whether
// the client handles events or not.

#include "tests/support/Desktop.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QTest>
#include <QtEndian>

#include <algorithm>

namespace KOZAV::Test {

namespace {

constexpr int startMs = 60'000;
constexpr int toolMs = 60'000;

QProcessEnvironment environmentOn(const QString& display, const QString& home)
{
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), display);
    environment.insert(QStringLiteral("HOME"), home);
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"})
        environment.insert(QString::fromLatin1(name), home + QStringLiteral("/xdg"));
    return environment;
}

/// The desktop beside the windows is black.
QImage withoutEmptyEdges(const QImage& picture)
{
    QRect filled;
    for (int y = 0; y < picture.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(picture.constScanLine(y));
        const auto isFilled = [](QRgb pixel) { return (pixel & RGB_MASK) != 0; };
        const auto first = std::find_if(line, line + picture.width(), isFilled);
        if (first == line + picture.width())
            continue;
        int last = picture.width() - 1;
        while (!isFilled(line[last]))
            --last;
        filled |= QRect(QPoint(static_cast<int>(first - line), y), QPoint(last, y));
    }
    return picture.copy(filled);
}

} // namespace

Desktop::Desktop(const QSize& size)
    : m_size(size)
{
    if (!m_folder.isValid())
        qFatal("no folder for a desktop");
    const QString screen = QStringLiteral("%1x%2x24").arg(size.width()).arg(size.height());
    // It chooses a number that is free, and tells it once it takes connections.
    m_server.start(QStringLiteral("Xvfb"),
                   {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
                    QStringLiteral("0"), screen, QStringLiteral("-dpi"), QStringLiteral("96"),
                    QStringLiteral("-fbdir"), m_folder.path(), QStringLiteral("-nolisten"),
                    QStringLiteral("tcp"), QStringLiteral("-noreset")});
    while (!m_server.canReadLine()) {
        if (!m_server.waitForReadyRead(startMs))
            qFatal("Xvfb does not start: %s", m_server.readAllStandardError().constData());
    }
    m_display = QLatin1Char(':') + QString::fromLatin1(m_server.readLine().trimmed());
    startWindowManager();
}

Desktop::~Desktop()
{
    m_windowManager.end();
    // It removes its socket and its lock.
    m_server.terminate();
    m_server.waitForFinished(toolMs);
}

void Desktop::startWindowManager()
{
    m_windowManager.setProcessEnvironment(environmentOn(m_display, m_folder.path()));
    m_windowManager.setProcessChannelMode(QProcess::MergedChannels);
    m_windowManager.start(QStringLiteral("openbox"), {QStringLiteral("--sm-disable")});
    const auto manages = [this] {
        bool ok = false;
        (void)tool({QStringLiteral("get_desktop")}, &ok);
        return ok;
    };
    const bool there = m_windowManager.waitForStarted(startMs) && QTest::qWaitFor(manages, startMs);
    if (!there)
        qFatal("openbox does not start: %s", m_windowManager.readAll().constData());
}

QByteArray Desktop::tool(const QStringList& arguments, bool* ok) const
{
    QProcess tool;
    tool.setProcessEnvironment(environmentOn(m_display, m_folder.path()));
    tool.start(QStringLiteral("xdotool"), arguments);
    const bool done =
        tool.waitForFinished(toolMs) && tool.exitStatus() == QProcess::NormalExit && tool.exitCode() == 0;
    if (ok)
        *ok = done;
    else if (!done)
        qWarning("xdotool %s: %s", qUtf8Printable(arguments.join(QLatin1Char(' '))),
                 tool.readAllStandardError().constData());
    return tool.readAllStandardOutput();
}

void Desktop::press(const QString& keys) const
{
    (void)tool({QStringLiteral("key"), keys});
}

void Desktop::type(const QString& text) const
{
    (void)tool({QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("2"), text});
}

void Desktop::moveTo(const QPoint& at) const
{
    (void)tool({QStringLiteral("mousemove"), QString::number(at.x()), QString::number(at.y())});
}

void Desktop::click(const QPoint& at, int button, int times) const
{
    QStringList arguments = {QStringLiteral("mousemove"), QString::number(at.x()), QString::number(at.y()),
                             QStringLiteral("click")};
    if (times > 1)
        arguments << QStringLiteral("--repeat") << QString::number(times) << QStringLiteral("--delay")
                  << QStringLiteral("20");
    (void)tool(arguments << QString::number(button));
}

/// It may have none yet: whoever wants to know asks the program.
void Desktop::activate(qint64 processId) const
{
    bool ok = false;
    (void)tool({QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--pid"),
                QString::number(processId), QStringLiteral("--name"), QStringLiteral("."),
                QStringLiteral("windowactivate")},
               &ok);
}

bool Desktop::showsClass(qint64 processId, const QString& windowClass) const
{
    bool found = false;
    (void)tool({QStringLiteral("search"), QStringLiteral("--all"), QStringLiteral("--onlyvisible"),
                QStringLiteral("--pid"), QString::number(processId), QStringLiteral("--class"),
                QLatin1Char('^') + windowClass + QLatin1Char('$')},
               &found);
    return found;
}

QImage Desktop::picture() const
{
    QFile file(m_folder.filePath(QStringLiteral("Xvfb_screen0")));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray dump = file.readAll();
    constexpr int words = 25;
    constexpr int colorBytes = 12;
    const auto word = [&dump](int index) {
        return static_cast<int>(qFromBigEndian<quint32>(dump.constData() + 4 * index));
    };
    if (dump.size() < 4 * words)
        return {};
    const int width = word(4);
    const int height = word(5);
    const int lineBytes = word(12);
    const int offset = word(0) + colorBytes * word(19);
    if (offset + lineBytes * height > dump.size() || 4 * width > lineBytes)
        return {};
    return QImage(reinterpret_cast<const uchar*>(dump.constData() + offset), width, height, lineBytes,
                  QImage::Format_RGB32)
        .copy();
}

void Desktop::takePicture(const QString& name) const
{
    const QString folder = QFile::decodeName(qgetenv("ZAV_TEST_PICTURES"));
    if (folder.isEmpty())
        return;
    const QString file = QStringLiteral("%1/%2.png").arg(folder, name);
    if (!QDir().mkpath(QFileInfo(file).path()) || !withoutEmptyEdges(picture()).save(file))
        qWarning("the picture %s cannot be kept in %s", qUtf8Printable(name), qUtf8Printable(folder));
}

} // namespace KOZAV::Test
