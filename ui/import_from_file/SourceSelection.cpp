// The slots by which the operator chooses what to import, and clears the choice.

#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QDir>
#include <QFileDialog>
#include <QLineEdit>

namespace KOZAV::UI {

void ZAV_ImportFromFile_Widget::on_m_pOpenFolderPB_clicked()
{
    // A cancelled chooser gives an empty text and so clears the choice; the single-folder chooser keeps it.
    m_strMultiImportDir =
        QFileDialog::getExistingDirectory(nullptr, tr("Open Dir"), tr("c:/"), QFileDialog::ShowDirsOnly);
    m_pMultiImportPathLE->setText(m_strMultiImportDir);
}

void ZAV_ImportFromFile_Widget::on_m_pMultiImportPathClearPB_clicked()
{
    // Only the field: a batch import still runs on the directory chosen last.
    m_pMultiImportPathLE->setText(QString());
}

void ZAV_ImportFromFile_Widget::on_m_pOpenDirPB_clicked()
{
    const QString dir =
        QFileDialog::getExistingDirectory(nullptr, tr("Open Dir"), tr("c:/"), QFileDialog::ShowDirsOnly);
    if (dir.isEmpty())
        return;
    m_nSingleImportType = 1;
    m_pSingleImportPathLE->setText(dir);
    const int slash = dir.lastIndexOf(QLatin1Char('/'), -1, Qt::CaseSensitive);
    m_pFileNameLE->setText(dir.mid(slash + 1, dir.size() - slash - 1));
    m_strSingleImportPath = dir;
}

void ZAV_ImportFromFile_Widget::on_m_pOpenFilePB_clicked()
{
    // The dialog stays a hidden child of the panel.
    auto* dialog = new QFileDialog(this, QString(), QString(), QString());
    dialog->setWindowTitle(QObject::tr("Import"));
    dialog->setDirectory(QDir(QStringLiteral("./")));
    dialog->setNameFilter(QObject::tr("ODB++") + QStringLiteral("(*.tgz *.tar *.zip *.rar *.kos)"));
    dialog->setFileMode(QFileDialog::AnyFile);
    dialog->setFileMode(QFileDialog::ExistingFiles);
    dialog->setViewMode(QFileDialog::Detail);
    if (dialog->exec() != QDialog::Accepted)
        return;

    m_nSingleImportType = 0;
    const QString path = dialog->selectedFiles().constFirst();
    m_pSingleImportPathLE->setText(path);
    // Where the last dot lies before the last slash the length is negative, and mid() takes the rest.
    const int slash = path.lastIndexOf(QLatin1Char('/'));
    const int dot = path.lastIndexOf(QLatin1Char('.'));
    m_pFileNameLE->setText(path.mid(slash + 1, dot - slash - 1));
    m_strSingleImportPath = path;
}

void ZAV_ImportFromFile_Widget::on_m_pSingleImportPathClearPB_clicked()
{
    m_pSingleImportPathLE->setText(QString());
    m_pFileNameLE->setText(QString());
}

} // namespace KOZAV::UI
