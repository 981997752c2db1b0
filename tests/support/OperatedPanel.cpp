#include "tests/support/OperatedPanel.h"

#include <QComboBox>
#include <QPushButton>
#include <QTest>

namespace KOZAV::Test {

OperatedPanel::OperatedPanel()
    : m_panel(nullptr)
    , m_view(m_panel)
{
    m_panel.show();
}

void OperatedPanel::press(QPushButton* button)
{
    QTest::mouseClick(button, Qt::LeftButton);
}

void OperatedPanel::importBatch(const QString& directory, int otherMessages)
{
    m_dialogs.expectFileDialog({directory});
    press(m_view.openFolder);
    for (int message = 0; message < otherMessages + 2; ++message)
        m_dialogs.expectMessage();
    press(m_view.batchImport);
}

void OperatedPanel::importFolder(const QString& company, const QString& folder)
{
    m_view.company->setCurrentText(company);
    m_dialogs.expectFileDialog({folder});
    press(m_view.openDir);
    m_dialogs.expectMessage();
    m_dialogs.expectMessage();
    press(m_view.singleImport);
}

void OperatedPanel::importArchive(const QString& company, const QString& file, int messages)
{
    m_view.company->setCurrentText(company);
    m_dialogs.expectFileDialog({file});
    press(m_view.openFile);
    for (int message = 0; message < messages; ++message)
        m_dialogs.expectMessage();
    press(m_view.singleImport);
}

QStringList OperatedPanel::messages() const
{
    QStringList texts;
    for (const ShownDialog& dialog : m_dialogs.shown()) {
        if (dialog.kind == ShownDialog::Kind::Message)
            texts << dialog.text;
    }
    return texts;
}

} // namespace KOZAV::Test
