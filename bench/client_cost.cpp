// What the client costs around the import panel's slot: one archive of 200 MB, and 1,000 archives of 100 KB,
// by the panel alone and by the client's window with all that follows the run. Told are the time that the
// slot keeps the window, the time until everything is known of the run, and the processor time of the process
// up to then. Each measurement is of a process of its own, the two in turn. Arguments: "one", "many", or
// nothing for both. Prints medians.

#include "host/MainWindow.h"
#include "host/ServiceLog.h"
#include "host/SourceWatch.h"
#include "host/site/SiteAccess.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/FreshSite.h"
#include "tests/support/PanelView.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>

#include <sys/resource.h>
#include <zlib.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

constexpr int runs = 5;
constexpr qint64 oneLength = 200'000'000;
constexpr int manyArchives = 1000;
constexpr qint64 manyLength = 100'000;
constexpr int settleMs = 300; ///< a file that was written just now is looked at more closely

/// A gzip stream of about so many bytes, of lines as the features of a layer are.
QByteArray gzipMember(std::mt19937& random, qint64 bytes)
{
    QByteArray packed(static_cast<int>(bytes), '\0');
    z_stream stream = {};
    constexpr int gzipWindow = 15 + 16;
    if (deflateInit2(&stream, 1, Z_DEFLATED, gzipWindow, 9, Z_DEFAULT_STRATEGY) != Z_OK)
        qFatal("there is no memory");
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(bytes);
    QByteArray line;
    while (stream.avail_out > 400) {
        line = "P " + QByteArray::number(int(random() % 1000000)) + ' ' +
               QByteArray::number(int(random() % 1000000)) + " 3 P 0 0\n";
        stream.next_in = reinterpret_cast<Bytef*>(line.data());
        stream.avail_in = static_cast<uInt>(line.size());
        // Flushed now and then, so that the room that is left is known.
        if (deflate(&stream, random() % 500 == 0 ? Z_PARTIAL_FLUSH : Z_NO_FLUSH) != Z_OK)
            qFatal("it cannot be packed");
        if (stream.avail_out < 100'000 && deflate(&stream, Z_PARTIAL_FLUSH) != Z_OK)
            break;
    }
    deflate(&stream, Z_FINISH);
    packed.truncate(static_cast<int>(stream.total_out));
    deflateEnd(&stream);
    return packed;
}

void makeArchives(const QString& directory, int archives, qint64 length)
{
    constexpr qint64 longestMember = 4'000'000;
    std::mt19937 random(20260131);
    QDir().mkpath(directory);
    for (int i = 0; i < archives; ++i) {
        QFile file(QStringLiteral("%1/board_%2.tgz").arg(directory).arg(i, 4, 10, QLatin1Char('0')));
        if (!file.open(QIODevice::WriteOnly))
            qFatal("%s", qUtf8Printable(file.errorString()));
        const QByteArray member = gzipMember(random, std::min(length, longestMember));
        while (file.size() + member.size() <= length || file.size() == 0)
            if (file.write(member) != member.size() || !file.flush())
                qFatal("%s", qUtf8Printable(file.errorString()));
    }
}

double processorMs()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
    };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

void tell(const char* what, double figure)
{
    QTextStream(stdout) << what << '\t' << figure << '\n';
}

/// The role of one process.
int runOnce(bool asClient, const QString& configuration, const QString& batch)
{
    Host::ServiceLog log;
    Host::SiteAccess access(configuration);
    if (const QString failure = access.open(); !failure.isEmpty())
        qFatal("%s", qUtf8Printable(failure));
    std::unique_ptr<Host::MainWindow> window;
    std::unique_ptr<UI::ZAV_ImportFromFile_Widget> alone;
    if (asClient) {
        window = std::make_unique<Host::MainWindow>(access, log);
        window->restLists();
        window->show();
    } else {
        alone = std::make_unique<UI::ZAV_ImportFromFile_Widget>(nullptr);
        alone->show();
    }
    QApplication::processEvents();
    DialogDriver dialogs;
    const PanelView panel(asClient ? *window->importPanel() : *alone);
    dialogs.expectFileDialog({batch});
    QTest::mouseClick(panel.openFolder, Qt::LeftButton);
    dialogs.expectMessage();
    dialogs.expectMessage();
    const double before = processorMs();
    QElapsedTimer timer;
    timer.start();
    QTest::mouseClick(panel.batchImport, Qt::LeftButton);
    tell("slot ms", static_cast<double>(timer.nsecsElapsed()) / 1e6);
    if (asClient)
        window->sourceWatch().finishReading();
    tell("all known ms", static_cast<double>(timer.nsecsElapsed()) / 1e6);
    tell("processor ms", processorMs() - before);
    if (!dialogs.complaint().isEmpty())
        qFatal("the batch was not imported: %s", qUtf8Printable(dialogs.complaint()));
    return 0;
}

void measure(const char* name, int archives, qint64 length)
{
    using Figures = std::map<QString, std::vector<double>>;
    Figures figures[2];
    const QTemporaryDir sources;
    const QString batch = sources.filePath(QStringLiteral("batch"));
    makeArchives(batch + QStringLiteral("/Company"), archives, length);
    QTest::qWait(settleMs);
    for (int run = 0; run < runs; ++run) {
        for (const bool asClient : {false, true}) {
            const FreshSite site;
            site.addCompany(QStringLiteral("AB"), QStringLiteral("Company"));
            QProcess one;
            one.setProcessChannelMode(QProcess::ForwardedErrorChannel);
            one.start(QCoreApplication::applicationFilePath(),
                      {asClient ? QStringLiteral("--client") : QStringLiteral("--panel"),
                       site.configuration(), batch});
            if (!one.waitForFinished(-1) || one.exitCode() != 0)
                qFatal("an import failed");
            for (const QByteArray& line : one.readAllStandardOutput().split('\n')) {
                const QList<QByteArray> parts = line.split('\t');
                if (parts.size() == 2)
                    figures[asClient ? 1 : 0][QString::fromUtf8(parts[0])].push_back(parts[1].toDouble());
            }
            if (static_cast<int>(site.jobs().size()) != archives)
                qFatal("not all were imported");
        }
    }
    QTextStream out(stdout);
    const auto median = [](std::vector<double> values) {
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    };
    for (const auto& [what, values] : figures[0]) {
        const double alone = median(values);
        const double client = median(figures[1][what]);
        out << QStringLiteral("%1 %2 panel alone %3, client %4, ratio %5\n")
                   .arg(QLatin1String(name), -18)
                   .arg(what, -14)
                   .arg(alone, 8, 'f', 1)
                   .arg(client, 8, 'f', 1)
                   .arg(client / alone, 0, 'f', 3);
    }
}

} // namespace

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.size() == 3)
        return runOnce(arguments.at(0) == QLatin1String("--client"), arguments.at(1), arguments.at(2));
    if (arguments.isEmpty() || arguments.contains(QStringLiteral("one")))
        measure("200 MB", 1, oneLength);
    if (arguments.isEmpty() || arguments.contains(QStringLiteral("many")))
        measure("1,000 of 100 KB", manyArchives, manyLength);
    return 0;
}
