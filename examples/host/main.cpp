// A host of the import panels: example_host [OPTION]... FOLDER
//
// FOLDER is the site, and is made where it is missing, with two companies. --plain leaves the panels without
// their theme, --place gives it to them alone. With --import or --picture the window is not left open: the
// job folders are imported, the jobs that wait are printed, and a picture of the window is written.

#include "FolderSite.h"
#include "HostWindow.h"
#include "services/ui/ZAV_UICommon.h"
#include "ui/PanelTheme.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QPixmap>

#include <cstdio>

namespace {

void addCompanies(const FolderSite& site)
{
    if (!site.rows().isEmpty())
        return;
    site.addCompany(QStringLiteral("FC"), QStringLiteral("First company"));
    site.addCompany(QStringLiteral("SC"), QStringLiteral("Second company"));
}

/// The steps of an import are public: a host can take them itself. @return whether all were imported
bool importFolders(const HostWindow& window, const QString& company, const QStringList& folders)
{
    bool all = true;
    for (const QString& folder : folders)
        all = window.importPanel().l2Folders(company, QFileInfo(folder).fileName(), folder, 1) == 0 && all;
    return all;
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    QCommandLineParser line;
    line.addPositionalArgument(QStringLiteral("FOLDER"), QStringLiteral("The site."));
    line.addOptions(
        {{QStringLiteral("plain"), QStringLiteral("Leave the panels without their theme.")},
         {QStringLiteral("place"), QStringLiteral("Give the theme to the panels alone.")},
         {QStringLiteral("import"), QStringLiteral("Import this job folder."), QStringLiteral("FOLDER")},
         {QStringLiteral("company"), QStringLiteral("... for this company."), QStringLiteral("NAME"),
          QStringLiteral("First company")},
         {QStringLiteral("picture"), QStringLiteral("Write a picture of the window."),
          QStringLiteral("FILE")}});
    line.addHelpOption();
    line.process(application);
    if (line.positionalArguments().size() != 1)
        line.showHelp(2);

    // Before the first panel: the file import panel reads the companies once, when it is made.
    FolderSite& site = FolderSite::current();
    if (const QString reason = site.useFolder(line.positionalArguments().constFirst()); !reason.isEmpty()) {
        std::fprintf(stderr, "%s\n", qUtf8Printable(reason));
        return 1;
    }
    addCompanies(site);
    if (!line.isSet(QStringLiteral("plain")) && !line.isSet(QStringLiteral("place")))
        KOZAV::UI::applyPanelTheme(application);

    HostWindow window;
    const bool imported =
        importFolders(window, line.value(QStringLiteral("company")), line.values(QStringLiteral("import")));
    KOZAV::UI::ZAV_UICommon::interface()->refreshOrigFileTable();
    if (line.isSet(QStringLiteral("place")))
        KOZAV::UI::applyPanelTheme(window.place());
    window.show();
    const QString picture = line.value(QStringLiteral("picture"));
    if (!picture.isEmpty() && !window.grab().save(picture))
        return 1;
    if (picture.isEmpty() && !line.isSet(QStringLiteral("import")))
        return QApplication::exec();
    for (const QString& name : window.listedJobs())
        std::printf("%s\n", qUtf8Printable(name));
    return imported ? 0 : 1;
}
