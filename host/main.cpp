// zav_client: both panels in one window, on the site that the configuration names.

#include "host/BatchRun.h"
#include "host/MainWindow.h"
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

namespace {

struct Options
{
    QString configuration;
    QString batchDirectory;
    QString screenshots;
};

QString absolute(const QString& path)
{
    return path.isEmpty() ? path : QFileInfo(path).absoluteFilePath();
}

Options readOptions(const QApplication& application)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Desktop client: imports jobs and shows what is imported."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption configuration(QStringLiteral("config"), QStringLiteral("Configuration file."),
                                           QStringLiteral("FILE"));
    const QCommandLineOption batch(
        QStringLiteral("batch"),
        QStringLiteral(
            "Import a batch directory through the panel, print what became of every entry, and end. Exit "
            "code: 0 all imported, 1 not all, 2 not started."),
        QStringLiteral("DIR"));
    const QCommandLineOption screenshots(QStringLiteral("screenshots"),
                                         QStringLiteral("With --batch: write pictures of the window to DIR."),
                                         QStringLiteral("DIR"));
    parser.addOptions({configuration, batch, screenshots});
    parser.process(application);
    return {absolute(parser.value(configuration)), absolute(parser.value(batch)),
            absolute(parser.value(screenshots))};
}

int runBatch(KOZAV::Host::SiteAccess& site, const Options& options, QTextStream& out)
{
    if (!options.screenshots.isEmpty() && !QDir().mkpath(options.screenshots)) {
        out << "error: the directory " << options.screenshots << " cannot be made\n";
        return 2;
    }
    KOZAV::Host::MainWindow window(site);
    window.show();
    QApplication::processEvents();
    KOZAV::Host::BatchRun batch(window, site, options.batchDirectory, options.screenshots, out);
    return batch.run();
}

} // namespace

int main(int argc, char* argv[])
{
    // The batch run answers the panels' dialogs, which it can only where they are Qt's own.
    for (int i = 1; i < argc; ++i) {
        if (QByteArray(argv[i]).startsWith("--batch"))
            QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    }
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("zav_client"));
    QApplication::setApplicationVersion(QStringLiteral(ZAV_VERSION));
    KOZAV::Host::applyTheme(application);
    const Options options = readOptions(application);
    QTextStream out(stdout);
    out.setCodec("UTF-8");

    // A batch import started before a directory was chosen takes the current directory for the batch: an
    // empty one, so that nothing of the operator's is taken for jobs.
    const QTemporaryDir emptyDirectory;
    QDir::setCurrent(emptyDirectory.path());

    KOZAV::Host::SiteAccess site(options.configuration);
    if (const QString failure = site.open(); !failure.isEmpty()) {
        out << "error: " << failure << '\n';
        out.flush();
        if (options.batchDirectory.isEmpty())
            QMessageBox::critical(nullptr, QStringLiteral("料号数据管理"), failure.toHtmlEscaped());
        return 2;
    }
    if (!options.batchDirectory.isEmpty())
        return runBatch(site, options, out);

    KOZAV::Host::MainWindow window(site);
    window.show();
    return QApplication::exec();
}
