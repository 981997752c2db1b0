// zav_client: both panels in one window, on the site that the configuration names.

#include "host/BatchRun.h"
#include "host/CommandLine.h"
#include "host/EmbeddedRobot.h"
#include "host/ImportRun.h"
#include "host/MainWindow.h"
#include "host/ServiceLog.h"
#include "host/SiteAccess.h"
#include "host/Theme.h"

#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QTextStream>

namespace {

using namespace KOZAV::Host;

/// What must be settled before there is a QApplication.
void prepareUnattended(const CommandLine& line)
{
    // Nobody looks on, and there may be no display.
    if (!line.platformChosen && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // The panels' dialogs are answered, which is possible only where they are Qt's own.
    QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
}

int runUnattended(MainWindow& window, SiteAccess& site, const CommandLine& line, QTextStream& out)
{
    if (!line.screenshots.isEmpty() && !QDir().mkpath(line.screenshots)) {
        out << "error: the directory " << line.screenshots << " cannot be made\n";
        return notStarted;
    }
    window.show();
    QApplication::processEvents();
    if (line.task == CommandLine::Task::ImportBatch)
        return BatchRun(window, site, line.batchDirectory, line.screenshots, out).run();
    return ImportRun(window, site, line.importJob, line.mode, line.screenshots, out).run();
}

/// Tells of the site that a first start has made, beside the window.
void welcome(MainWindow& window, ServiceLog& log, const QString& made, QTextStream& out)
{
    const QString news = QStringLiteral("首次启动，已新建站点：%1").arg(made);
    out << news << '\n';
    out.flush();
    log.add(QtInfoMsg, QStringLiteral("site"), news);
    auto* box = new QMessageBox(QMessageBox::Information, QStringLiteral("料号数据管理"), news,
                                QMessageBox::Ok, &window);
    box->setTextFormat(Qt::PlainText);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

int refuse(const QString& reason, const CommandLine& line, QTextStream& out)
{
    out << "error: " << reason << '\n';
    out.flush();
    if (!line.unattended()) {
        QMessageBox box(QMessageBox::Critical, QStringLiteral("料号数据管理"), reason);
        box.setTextFormat(Qt::PlainText);
        box.exec();
    }
    return notStarted;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication::setApplicationName(QStringLiteral("zav_client"));
    QCoreApplication::setApplicationVersion(QStringLiteral(ZAV_VERSION));
    const CommandLine line = readCommandLine(argc, argv);
    if (line.unattended())
        prepareUnattended(line);
    QApplication application(argc, argv);
    applyTheme(application);
    QTextStream out(stdout);
    out.setCodec("UTF-8");

    // A batch import started before a directory was chosen takes the current directory for the batch: an
    // empty one, so that nothing of the operator's is taken for jobs.
    const QTemporaryDir emptyDirectory;
    QDir::setCurrent(emptyDirectory.path());

    SiteAccess site(line.configuration);
    const FirstStart first = line.unattended() ? FirstStart() : site.makeFirstSite();
    if (!first.failure.isEmpty())
        return refuse(first.failure, line, out);
    if (const QString failure = site.open(); !failure.isEmpty())
        return refuse(failure, line, out);
    ServiceLog log;
    EmbeddedRobot robot;
    QObject::connect(&robot, &EmbeddedRobot::requestReceived, &log,
                     [&log](const QString& text) { log.add(QtInfoMsg, QStringLiteral("robot"), text); });
    if (line.robot) {
        if (const QString failure = robot.start(); !failure.isEmpty())
            return refuse(failure, line, out);
    }

    MainWindow window(site, log);
    if (line.unattended())
        return runUnattended(window, site, line, out);
    window.rememberState();
    window.watchRobot();
    window.show();
    if (!first.made.isEmpty())
        welcome(window, log, first.made, out);
    return QApplication::exec();
}
