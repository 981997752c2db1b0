#pragma once

#include "tests/support/DialogDriver.h"
#include "tests/support/PanelView.h"

#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QStringList>

#include <memory>

namespace KOZAV::Test {

/// A file import panel on whatever services the program is linked with, worked as an operator works it.
class OperatedPanel final
{
public:
    OperatedPanel();

    /// Chooses the directory and presses the button; the closing messages come after so many others.
    void importBatch(const QString& directory, int otherMessages = 0);
    /// Both choose the company and the source in the panel's dialog, and press the button.
    void importFolder(const QString& company, const QString& folder);
    void importArchive(const QString& company, const QString& file, int messages = 1);

    /// What went otherwise than expected with the dialogs; empty when all is well.
    [[nodiscard]] QString complaint() const { return m_dialogs.complaint(); }
    /// Texts of all message boxes so far.
    [[nodiscard]] QStringList messages() const;

private:
    void press(QPushButton* button);

    DialogDriver m_dialogs;
    UI::ZAV_ImportFromFile_Widget m_panel;
    PanelView m_view;
};

} // namespace KOZAV::Test
