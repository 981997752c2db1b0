// zav_client: both panels in one window, on the site that the configuration names.

#include "host/BatchRun.h"
#include "host/CheckRun.h"
#include "host/ClientState.h"
#include "host/CommandLine.h"
#include "host/EmbeddedRobot.h"
#include "host/FirstRunPage.h"
#include "host/ImportRun.h"
#include "host/Language.h"
#include "host/MainWindow.h"
#include "host/ServiceLog.h"
#include "host/Theme.h"
#include "host/site/SiteAccess.h"
#include "terminal/FileSizeLimit.h"
#include "terminal/StandardStreams.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>

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

/// Has everything drawn as large as the screen asks for, by any factor, before there is a QApplication.
void magnify()
{
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
}

/// Scripts read what an unattended run prints, so that has one language everywhere.
QString languageFor(const CommandLine& line)
{
    if (line.unattended())
        return QStringLiteral("en");
    const QString chosen = chosenLanguage();
    return chosen.isEmpty() ? languageOfLocale() : chosen;
}

/// @param messages  takes what is no report; may be out
int runUnattended(MainWindow& window, SiteAccess& site, const CommandLine& line, QTextStream& out,
                  QTextStream& messages)
{
    if (!line.screenshots.isEmpty() && !QDir().mkpath(line.screenshots)) {
        messages << "error: the directory " << line.screenshots << " cannot be made\n";
        return notStarted;
    }
    if (line.screenshots.isEmpty())
        window.restLists();
    window.show();
    QApplication::processEvents();
    if (line.task == CommandLine::Task::ImportBatch) {
        const BatchOptions options{line.batchDirectory, line.screenshots, line.json,
                                   line.skipKnown,      line.allowLinks,  line.report};
        return BatchRun(window, site, options, out, messages).run();
    }
    return ImportRun(window, site, line.importJob, line.mode, line.screenshots, out).run();
}

/// What nobody could read is no success.
int withOutputWritten(int exitCode, QTextStream& out)
{
    out.flush();
    if (out.status() == QTextStream::Ok)
        return exitCode;
    QTextStream(stderr) << "error: what became of it cannot be written to the standard output\n";
    return std::max(exitCode, 1);
}

/// The configuration that a first start has chosen, where it does not lie at a place that is looked at.
const QString chosenConfiguration = QStringLiteral("site/configuration");

/// Where there is no configuration yet the person says what is to be used; nothing is made before.
/// @return whether there is one now
bool provideSite(SiteAccess& site, ServiceLog& log, QTextStream& out)
{
    if (!site.isFirstStart())
        return true;
    const QString before = ClientState::general().value(chosenConfiguration).toString();
    if (!before.isEmpty() && QFileInfo::exists(before)) {
        site.useConfiguration(before);
        return true;
    }
    out << FirstRunPage::tr("First start: there is no site yet, and what is to be used is asked for") << '\n';
    out.flush();
    FirstRunPage page;
    if (page.exec() != QDialog::Accepted)
        return false;
    const FirstSite& chosen = page.site();
    if (chosen.configuration != site.configurationPath()) {
        ClientState::general().setValue(chosenConfiguration, chosen.configuration);
        site.useConfiguration(chosen.configuration);
    }
    if (!chosen.places.isEmpty()) {
        const QString news = MainWindow::tr("First start: a new site has been made: %1")
                                 .arg(chosen.places.join(QLatin1String(", ")));
        out << news << '\n';
        out.flush();
        log.add(QtInfoMsg, QStringLiteral("site"), news);
    }
    return true;
}

int refuse(const QString& reason, const CommandLine& line, QTextStream& out)
{
    out << "error: " << reason << '\n';
    out.flush();
    if (!line.unattended()) {
        QMessageBox box(QMessageBox::Critical, MainWindow::tr("Job data management"), reason);
        box.setTextFormat(Qt::PlainText);
        box.exec();
    }
    return notStarted;
}

} // namespace

int main(int argc, char* argv[])
{
    KOZAV::Terminal::holdStandardStreams();
    KOZAV::Terminal::outliveReaders();
    KOZAV::Terminal::outliveFileSizeLimit();
    QCoreApplication::setApplicationName(QStringLiteral("zav_client"));
    QCoreApplication::setApplicationVersion(QStringLiteral(ZAV_VERSION));
    const CommandLine line = readCommandLine(argc, argv);
    if (line.unattended())
        prepareUnattended(line);
    else
        ClientState::keep();
    magnify();
    ServiceLog::beginHandling();
    QApplication application(argc, argv);
    // By it the desktop knows which entry a window belongs to.
    QApplication::setDesktopFileName(QStringLiteral("zav_client"));
    applyTheme(application);
    const Language language(languageFor(line));
    QTextStream out(stdout);
    out.setCodec("UTF-8");
    QTextStream err(stderr);
    err.setCodec("UTF-8");
    QTextStream& messages = line.json ? err : out;

    // A batch import started before a directory was chosen takes the current directory for the batch: an
    // empty one, so that nothing of the operator's is taken for jobs.
    const QTemporaryDir emptyDirectory;
    QDir::setCurrent(emptyDirectory.path());

    ServiceLog log;
    if (!line.unattended()) {
        if (const QString failure = log.keepIn(ServiceLog::usualFile()); !failure.isEmpty())
            log.add(QtWarningMsg, QStringLiteral("client"), failure);
    }
    SiteAccess site(line.configuration);
    if (!line.unattended() && !provideSite(site, log, out))
        return 0;
    if (const QString failure = site.open(); !failure.isEmpty())
        return refuse(failure, line, messages);
    EmbeddedRobot robot;
    QObject::connect(&robot, &EmbeddedRobot::requestReceived, &log,
                     [&log](const QString& text) { log.add(QtInfoMsg, QStringLiteral("robot"), text); });
    if (line.robot) {
        if (const QString failure = robot.start(); !failure.isEmpty())
            return refuse(failure, line, messages);
    }

    if (line.task == CommandLine::Task::CheckBatch) {
        const CheckOptions options{line.batchDirectory, line.json, line.allowLinks};
        return withOutputWritten(CheckRun(site, options, out, messages).run(), out);
    }

    MainWindow window(site, log);
    if (line.unattended())
        return withOutputWritten(runUnattended(window, site, line, out, messages), out);
    window.restorePlaces();
    window.watchRobot();
    window.watchCompanies();
    window.show();
    return QApplication::exec();
}
