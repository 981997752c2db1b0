#pragma once

#include <QFileDialog>
#include <QMessageBox>
#include <QString>
#include <QStringList>

namespace KOZAV::Test {

/// A modal dialog as the user met it.
struct ShownDialog
{
    enum class Kind { Message, File, Other };

    Kind kind = Kind::Other;
    QString title;
    const QWidget* parent = nullptr;

    // Message boxes
    QString text;
    QString furtherText; ///< informative and detailed text
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QMessageBox::StandardButtons buttons;
    QMessageBox::StandardButton defaultButton = QMessageBox::NoButton;

    // File dialogs
    QString directory; ///< where it opened
    QFileDialog::Options options;
    bool choosesDirectory = false; ///< its file mode is one of those for directories
    QFileDialog::FileMode fileMode = QFileDialog::AnyFile;
    QFileDialog::ViewMode viewMode = QFileDialog::Detail;
    QFileDialog::AcceptMode acceptMode = QFileDialog::AcceptOpen;
    QStringList nameFilters;
};

} // namespace KOZAV::Test
