#include "host/BatchRun.h"

#include "host/DialogOperator.h"
#include "host/Language.h"
#include "host/MainWindow.h"
#include "host/ManifestKeeper.h"
#include "host/PanelBoxes.h"
#include "host/PanelReport.h"
#include "host/RunResults.h"
#include "host/SourceWatch.h"
#include "host/core/BatchLinks.h"
#include "host/core/BatchReport.h"
#include "host/core/KnownBatch.h"
#include "host/core/ReportJson.h"
#include "host/core/RunReportFile.h"
#include "host/site/SiteAccess.h"
#include "terminal/Interruption.h"
#include "terminal/PrintableText.h"
#include "terminal/ProgressLine.h"
#include "terminal/TextTable.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QLineEdit>
#include <QPixmap>
#include <QProgressBar>
#include <QPushButton>

namespace KOZAV::Host {

using Terminal::Interruption;
using Terminal::printable;

namespace {

QString waitBegins(const Backend::ServiceWait& wait)
{
    const QString patience = QStringLiteral("at most %1 s").arg(wait.patienceMs / 1000);
    if (wait.cause == Backend::ServiceWait::Cause::Company)
        return QStringLiteral("waiting for the company %1, held by %2; %3")
            .arg(wait.company, wait.holder, patience);
    const auto* part = wait.part == Backend::SitePart::Rows ? "database" : "document store";
    return QStringLiteral("waiting for the %1, %2: %3").arg(QLatin1String(part), patience, wait.reason);
}

/// The command that imports what is left.
QString commandThatGoesOn()
{
    const QString skipKnown = QStringLiteral("--skip-known");
    QStringList words = QCoreApplication::arguments();
    if (!words.contains(skipKnown))
        words << skipKnown;
    return Terminal::shellCommand(words);
}

/// What a report tells of where it was made; where the run was stopped, how to go on.
QJsonObject besideReport(const SiteAccess& site, int exitCode)
{
    QJsonObject beside = besideResults(site, exitCode);
    if (exitCode != 0 && exitCode == Interruption::exitCode()) {
        beside.insert(QStringLiteral("interrupted"), true);
        beside.insert(QStringLiteral("go_on"), commandThatGoesOn());
    }
    return beside;
}

QString waitEnds(const Backend::ServiceWait& wait)
{
    return QStringLiteral("%1 after %2 s")
        .arg(wait.gaveUp ? QStringLiteral("gave up waiting") : QStringLiteral("going on"))
        .arg(double(wait.waitedMs) / 1000.0, 0, 'f', 1);
}

} // namespace

BatchRun::BatchRun(MainWindow& window, SiteAccess& site, BatchOptions options, QTextStream& out,
                   QTextStream& messages)
    : m_window(window)
    , m_site(site)
    , m_options(std::move(options))
    , m_out(out)
    , m_messages(messages)
    , m_operator(std::make_unique<DialogOperator>())
{
    connect(&site, &SiteAccess::serviceWaits, this, &BatchRun::showWait);
    connect(&site, &SiteAccess::serviceCalled, this, &BatchRun::stopIfAsked);
    connect(m_operator.get(), &DialogOperator::messageRead, this,
            [this](const QString& title, const QString& text) {
                m_messages << "message: " << title << ": " << text << '\n';
                m_messages.flush();
            });
}

BatchRun::~BatchRun() = default;

int BatchRun::run()
{
    constexpr int notStarted = 2;
    const Interruption interruption;
    m_window.runResults().waitForConclusion();
    if (!mayBegin())
        return notStarted;
    if (Interruption::isAskedFor()) {
        tellStop();
        return Interruption::exitCode();
    }
    screenshot(QStringLiteral("idle"));
    if (!importDirectory())
        return notStarted;
    m_window.sourceWatch().finishReading();
    BatchReport& report = *m_window.panelReport().current();
    for (const QString& text : m_window.manifestKeeper().remarks())
        report.remark({QStringLiteral("manifest"), text});
    const RunRecord& results = m_window.runResults().conclude();
    QApplication::processEvents();
    screenshot(QStringLiteral("done"));
    int exitCode = report.isSettled() ? 0 : 1;
    const bool isStopped = exitCode != 0 && Interruption::isAskedFor();
    if (isStopped)
        exitCode = Interruption::exitCode();
    if (!writeReport(results, exitCode))
        exitCode = 1;
    if (m_options.json) {
        printJson(results, exitCode);
    } else {
        printTables(report);
        printRemarks(report);
    }
    if (isStopped)
        tellStop();
    m_out.flush();
    return exitCode;
}

/// Heard at each call of the services, also between the entries: the one that is imported goes on to its end.
void BatchRun::stopIfAsked()
{
    if (!Interruption::isAskedFor())
        return;
    Backend::refuseImports(QStringLiteral("it got %1").arg(Interruption::signalName()));
    if (m_stopping)
        return;
    m_stopping = true;
    m_messages << "stopping: the job that is imported is the last one; once more ends at once\n";
    m_messages.flush();
}

void BatchRun::tellStop()
{
    m_out.flush();
    m_messages << "stopped by " << Interruption::signalName()
               << "\nto go on: " << printable(commandThatGoesOn()) << '\n';
    m_messages.flush();
}

bool BatchRun::refuse(const QString& reason)
{
    m_messages << "error: " << reason << '\n';
    m_messages.flush();
    return false;
}

bool BatchRun::mayBegin()
{
    if (!QFileInfo(m_options.directory).isDir())
        return refuse(QStringLiteral("%1 is not a directory").arg(m_options.directory));
    if (!m_options.allowLinks) {
        const auto links = linksOutOf(m_options.directory);
        for (const LinkOut& link : links)
            m_messages << "leads out: " << printable(link.path) << " -> " << printable(link.target) << '\n';
        if (!links.empty())
            return refuse(QStringLiteral("links lead out of the batch directory: nothing was imported; with "
                                         "--allow-links what they lead to is"));
    }
    return !m_options.skipKnown || leaveOutKnown();
}

/// Finds what the site has.
bool BatchRun::leaveOutKnown()
{
    m_known = std::make_unique<KnownBatch>(m_site, m_options.directory);
    QElapsedTimer clock;
    clock.start();
    m_messages.flush();
    QIODevice* const device = m_messages.device();
    Terminal::ProgressLine line(
        device, device ? Terminal::ProgressLine::viewOf(device) : Terminal::ProgressLine::View(),
        [&clock] { return clock.elapsed(); });
    const QString failure = m_known->compare(
        [&line](double fraction, const QString& details) {
            line.show(QStringLiteral("comparing with the site"), fraction, details);
        },
        Interruption::flag());
    if (!failure.isEmpty())
        return refuse(QStringLiteral("what the site has cannot be asked: %1").arg(failure));
    return true;
}

bool BatchRun::chooseDirectory(const QString& directory)
{
    const BatchBox box = batchBoxOf(*m_window.importPanel());
    m_operator->chooseDirectory(directory);
    box.openButton->click();
    return QDir(box.directory->text()) == QDir(directory) ||
           refuse(QStringLiteral("the panel's dialog did not accept %1").arg(directory));
}

/// Has the panel import the directory, or the part of it that the site has not.
bool BatchRun::importDirectory()
{
    QString directory = m_options.directory;
    if (m_known) {
        m_window.panelReport().setStandIn(m_known->standIn());
        if (m_known->isEmpty()) {
            m_window.panelReport().reportWithoutRun();
            return true;
        }
        if (const QString failure = m_known->makeStandIn(); !failure.isEmpty())
            return refuse(failure);
        m_window.panelReport().setStandIn(m_known->standIn());
        directory = m_known->standIn().directory;
    }
    if (!chooseDirectory(directory))
        return false;
    const BatchBox box = batchBoxOf(*m_window.importPanel());
    connect(box.progress, &QProgressBar::valueChanged, this, &BatchRun::showProgress);
    box.importButton->click();
    return true;
}

void BatchRun::showProgress(int companiesDone)
{
    const auto* bar = m_window.importPanel()->findChild<QProgressBar*>();
    m_messages << "progress: " << companiesDone << " of " << bar->maximum() << " companies, "
               << m_window.panelReport().current()->importedSoFar() << " jobs imported\n";
    m_messages.flush();
    if (!m_runningShown)
        screenshot(QStringLiteral("running"));
    m_runningShown = true;
}

void BatchRun::showWait(const Backend::ServiceWait& wait)
{
    if (m_waiting && !wait.over)
        return;
    m_waiting = !wait.over;
    m_messages << "wait: " << printable(wait.over ? waitEnds(wait) : waitBegins(wait)) << '\n';
    m_messages.flush();
}

void BatchRun::printTables(const BatchReport& report)
{
    const QString company = QStringLiteral("company");
    const QString generated = QStringLiteral("generated name");
    const QString stored = QStringLiteral("stored name");
    Terminal::TextTable imported({company, QStringLiteral("job"), generated, stored, QStringLiteral("bytes"),
                                  QStringLiteral("seconds")});
    imported.alignRight({4, 5});
    Terminal::TextTable unknown({company, QStringLiteral("job"), generated, stored, QStringLiteral("why")});
    Terminal::TextTable leftOut({company, QStringLiteral("entry"), QStringLiteral("why")});
    Terminal::TextTable refused({company, QStringLiteral("entry"), QStringLiteral("why not")});
    for (const BatchReportRow& row : report.rows()) {
        switch (row.result) {
        case BatchResult::Imported:
            imported.addRow({row.company, row.entry, row.generatedName, row.storedName,
                             QString::number(row.bytes), QString::number(row.seconds, 'f', 3)});
            break;
        case BatchResult::Unknown:
            unknown.addRow({row.company, row.entry, row.generatedName, row.storedName, row.reason});
            break;
        case BatchResult::LeftOut:
            leftOut.addRow({row.company, row.entry, row.reason});
            break;
        case BatchResult::NotImported:
            refused.addRow({row.company, row.entry, row.reason});
        }
    }
    m_out << "\nImported: " << imported.rowCount() << '\n' << imported.toString();
    if (leftOut.rowCount() > 0)
        m_out << "\nLeft out: " << leftOut.rowCount() << '\n' << leftOut.toString();
    if (unknown.rowCount() > 0)
        m_out << "\nUnknown: " << unknown.rowCount()
              << " (look with \"zav_admin jobs\" before importing again, or use --skip-known)\n"
              << unknown.toString();
    m_out << "\nNot imported: " << refused.rowCount() << '\n' << refused.toString();
}

void BatchRun::printRemarks(const BatchReport& report)
{
    Terminal::TextTable warnings(
        {QStringLiteral("company"), QStringLiteral("entry"), QStringLiteral("code"), QStringLiteral("what")});
    for (const BatchReportRow& row : report.rows()) {
        for (const Remark& warning : row.warnings)
            warnings.addRow({row.company, row.entry, warning.code, warning.text});
    }
    if (warnings.rowCount() > 0)
        m_out << "\nWarnings: " << warnings.rowCount() << '\n' << warnings.toString();
    for (const Remark& remark : report.remarks())
        m_out << "remark: " << printable(remark.text) << '\n';
}

void BatchRun::printJson(const RunRecord& run, int exitCode)
{
    QJsonObject document = reportJson(run);
    const QJsonObject beside = besideReport(m_site, exitCode);
    for (auto one = beside.begin(); one != beside.end(); ++one)
        document.insert(one.key(), one.value());
    m_out << QString::fromUtf8(QJsonDocument(document).toJson());
}

/// @return false, and the reason is told, where the file that was asked for cannot be written
bool BatchRun::writeReport(const RunRecord& run, int exitCode)
{
    if (m_options.report.isEmpty())
        return true;
    // What is printed is for scripts; the file is for people, in the language of their locale.
    const Language language(languageOfLocale());
    const QString failure = writeReportFile(m_options.report, run, besideReport(m_site, exitCode));
    return failure.isEmpty() || refuse(failure);
}

void BatchRun::screenshot(const QString& name)
{
    if (m_options.screenshots.isEmpty())
        return;
    const QString file = m_options.screenshots + QStringLiteral("/panel-") + name + QStringLiteral(".png");
    if (!m_window.savePicture(file))
        m_messages << "warning: the picture " << file << " could not be written\n";
}

} // namespace KOZAV::Host
