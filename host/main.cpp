// zav_client: both panels in one window, on the site that the configuration names.

#include "host/BatchRun.h"
#include "host/EmbeddedRobot.h"
#include "host/ImportRun.h"
#include "host/MainWindow.h"
#include "host/ServiceLog.h"
#include "host/SiteAccess.h"
#include "host/Theme.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QTextStream>

#include <cstdio>
#include <cstdlib>

namespace {

using namespace KOZAV::Host;

constexpr int notStarted = 2;

struct Options
{
    QString configuration;
    QString batchDirectory;
    QString importJob;
    int mode = -1;
    QString screenshots;
    bool robot = false;
    [[nodiscard]] bool unattended() const { return !batchDirectory.isEmpty() || !importJob.isEmpty(); }
};

QString absolute(const QString& path)
{
    return path.isEmpty() ? path : QFileInfo(path).absoluteFilePath();
}

QCommandLineOption valueOption(const char* name, const char* description, const char* valueName)
{
    return {QString::fromLatin1(name), QString::fromLatin1(description), QString::fromLatin1(valueName)};
}

Options readOptions(const QApplication& application)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Desktop client: imports jobs, lists and opens them."));
    parser.addHelpOption();
    parser.addVersionOption();
    const auto configuration = valueOption("config", "Configuration file.", "FILE");
    const auto batch =
        valueOption("batch",
                    "Import a batch directory through the panel, print what became of every entry, and "
                    "end. Exit code: 0 all imported, 1 not all, 2 not started.",
                    "DIR");
    const auto importJob =
        valueOption("import",
                    "Import a waiting job through the job list panel and send it to the robot, and "
                    "end. Exit code: 0 sent, 1 not sent, 2 not started.",
                    "JOB");
    const auto mode = valueOption("mode", "With --import: the panel's mode (default -1).", "N");
    const auto screenshots =
        valueOption("screenshots", "With --batch or --import: write pictures of the window to DIR.", "DIR");
    const QCommandLineOption robot(
        QStringLiteral("robot"),
        QStringLiteral("Start a stand-in of the CAM robot inside, where the configuration "
                       "says that the robot is."));
    parser.addOptions({configuration, batch, importJob, mode, screenshots, robot});
    parser.process(application);

    Options options;
    options.configuration = absolute(parser.value(configuration));
    options.batchDirectory = absolute(parser.value(batch));
    options.importJob = parser.value(importJob);
    options.screenshots = absolute(parser.value(screenshots));
    options.robot = parser.isSet(robot);
    bool isNumber = true;
    if (parser.isSet(mode))
        options.mode = parser.value(mode).toInt(&isNumber);
    if (!isNumber) {
        QTextStream(stderr) << "zav_client: --mode takes a whole number\n";
        std::exit(notStarted);
    }
    return options;
}

int runUnattended(MainWindow& window, SiteAccess& site, const Options& options, QTextStream& out)
{
    if (!options.screenshots.isEmpty() && !QDir().mkpath(options.screenshots)) {
        out << "error: the directory " << options.screenshots << " cannot be made\n";
        return notStarted;
    }
    window.show();
    QApplication::processEvents();
    if (!options.batchDirectory.isEmpty())
        return BatchRun(window, site, options.batchDirectory, options.screenshots, out).run();
    return ImportRun(window, site, options.importJob, options.mode, options.screenshots, out).run();
}

int refuse(const QString& reason, const Options& options, QTextStream& out)
{
    out << "error: " << reason << '\n';
    out.flush();
    if (!options.unattended()) {
        QMessageBox box(QMessageBox::Critical, QStringLiteral("料号数据管理"), reason);
        box.setTextFormat(Qt::PlainText);
        box.exec();
    }
    return notStarted;
}

} // namespace

int main(int argc, char* argv[])
{
    // An unattended run answers the panels' dialogs, which it can only where they are Qt's own.
    for (int i = 1; i < argc; ++i) {
        if (QByteArray(argv[i]).startsWith("--batch"))
            QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    }
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("zav_client"));
    QApplication::setApplicationVersion(QStringLiteral(ZAV_VERSION));
    applyTheme(application);
    const Options options = readOptions(application);
    QTextStream out(stdout);
    out.setCodec("UTF-8");

    // A batch import started before a directory was chosen takes the current directory for the batch: an
    // empty one, so that nothing of the operator's is taken for jobs.
    const QTemporaryDir emptyDirectory;
    QDir::setCurrent(emptyDirectory.path());

    SiteAccess site(options.configuration);
    if (const QString failure = site.open(); !failure.isEmpty())
        return refuse(failure, options, out);
    ServiceLog log;
    EmbeddedRobot robot;
    QObject::connect(&robot, &EmbeddedRobot::requestReceived, &log,
                     [&log](const QString& text) { log.add(QtInfoMsg, QStringLiteral("robot"), text); });
    if (options.robot) {
        if (const QString failure = robot.start(); !failure.isEmpty())
            return refuse(failure, options, out);
    }

    MainWindow window(site, log);
    if (options.unattended())
        return runUnattended(window, site, options, out);
    window.rememberState();
    window.watchRobot();
    window.show();
    return QApplication::exec();
}
