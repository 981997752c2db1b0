#include "host/BatchRun.h"

#include "host/DialogOperator.h"
#include "host/MainWindow.h"
#include "host/ManifestKeeper.h"
#include "host/PanelBoxes.h"
#include "host/PanelReport.h"
#include "host/SiteAccess.h"
#include "terminal/TextTable.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QPixmap>
#include <QProgressBar>
#include <QPushButton>

namespace KOZAV::Host {

BatchRun::BatchRun(MainWindow& window, SiteAccess& site, const QString& directory, const QString& screenshots,
                   QTextStream& out)
    : m_window(window)
    , m_site(site)
    , m_directory(directory)
    , m_screenshots(screenshots)
    , m_out(out)
    , m_operator(std::make_unique<DialogOperator>())
{
    connect(m_operator.get(), &DialogOperator::messageRead, this,
            [this](const QString& title, const QString& text) {
                m_out << "message: " << title << ": " << text << '\n';
                m_out.flush();
            });
}

BatchRun::~BatchRun() = default;

int BatchRun::run()
{
    if (!QFileInfo(m_directory).isDir()) {
        m_out << "error: " << m_directory << " is not a directory\n";
        m_out.flush();
        return 2;
    }
    screenshot(QStringLiteral("idle"));
    if (!chooseDirectory()) {
        m_out << "error: the panel's dialog did not accept " << m_directory << '\n';
        m_out.flush();
        return 2;
    }
    importDirectory();
    QApplication::processEvents();
    screenshot(QStringLiteral("done"));
    printReport();
    return m_window.panelReport().current()->isSettled() ? 0 : 1;
}

bool BatchRun::chooseDirectory()
{
    const BatchBox box = batchBoxOf(*m_window.importPanel());
    m_operator->chooseDirectory(m_directory);
    box.openButton->click();
    return QDir(box.directory->text()) == QDir(m_directory);
}

void BatchRun::importDirectory()
{
    const BatchBox box = batchBoxOf(*m_window.importPanel());
    connect(box.progress, &QProgressBar::valueChanged, this, &BatchRun::showProgress);
    box.importButton->click();
}

void BatchRun::showProgress(int companiesDone)
{
    const auto* bar = m_window.importPanel()->findChild<QProgressBar*>();
    m_out << "progress: " << companiesDone << " of " << bar->maximum() << " companies, "
          << m_window.panelReport().current()->importedSoFar() << " jobs imported\n";
    m_out.flush();
    if (!m_runningShown)
        screenshot(QStringLiteral("running"));
    m_runningShown = true;
}

void BatchRun::printReport()
{
    const QString company = QStringLiteral("company");
    const QString generated = QStringLiteral("generated name");
    const QString stored = QStringLiteral("stored name");
    Terminal::TextTable imported({company, QStringLiteral("job"), generated, stored, QStringLiteral("bytes"),
                                  QStringLiteral("seconds")});
    imported.alignRight({4, 5});
    Terminal::TextTable unknown({company, QStringLiteral("job"), generated, stored, QStringLiteral("why")});
    Terminal::TextTable refused({company, QStringLiteral("entry"), QStringLiteral("why not")});
    const BatchReport& report = *m_window.panelReport().current();
    for (const BatchReportRow& row : report.rows()) {
        if (row.result == BatchResult::Imported)
            imported.addRow({row.company, row.entry, row.generatedName, row.storedName,
                             QString::number(row.bytes), QString::number(row.seconds, 'f', 3)});
        else if (row.result == BatchResult::Unknown)
            unknown.addRow({row.company, row.entry, row.generatedName, row.storedName, row.reason});
        else
            refused.addRow({row.company, row.entry, row.reason});
    }
    m_out << "\nImported: " << imported.rowCount() << '\n' << imported.toString();
    if (unknown.rowCount() > 0)
        m_out << "\nUnknown: " << unknown.rowCount()
              << " (look with \"zav_admin jobs\" before importing again)\n"
              << unknown.toString();
    m_out << "\nNot imported: " << refused.rowCount() << '\n' << refused.toString();
    for (const BatchReportRow& row : report.rows()) {
        for (const Remark& warning : row.warnings)
            m_out << "warning: " << row.company << '/' << row.entry << ": " << warning.text << '\n';
    }
    for (const Remark& remark : report.remarks())
        m_out << "remark: " << remark.text << '\n';
    for (const QString& remark : m_window.manifestKeeper().remarks())
        m_out << "remark: " << remark << '\n';
    m_out.flush();
}

void BatchRun::screenshot(const QString& name)
{
    if (m_screenshots.isEmpty())
        return;
    const QString file = m_screenshots + QStringLiteral("/panel-") + name + QStringLiteral(".png");
    if (!m_window.grab().save(file))
        m_out << "warning: the picture " << file << " could not be written\n";
}

} // namespace KOZAV::Host
