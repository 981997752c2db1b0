#pragma once

#include "tests/support/DialogDriver.h"
#include "tests/support/PanelView.h"
#include "tests/support/RecordingServices.h"

#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QTemporaryDir>

#include <memory>

namespace KOZAV::Test {

/// A company row as select gives it.
DataLib::Model::Odbpp_Company company(int companyId, const char* companyCode, const char* companyLabel,
                                      int jobCount = 0, int batchNumber = 0);

/// A file import panel over the recording double, with a dialog driver and a directory of its own. One for
/// each test function; a new one starts from a fresh double.
class PanelHarness final
{
public:
    /// Company 7, "甲公司", code "AB", 41 jobs, batch 4; user 5; cache directories that exist; no robot.
    PanelHarness();
    ~PanelHarness();

    RecordingServices& services;
    DialogDriver dialogs;

    /// Builds and shows the panel; the journal is empty afterwards.
    void open();
    [[nodiscard]] UI::ZAV_ImportFromFile_Widget& panel() const { return *m_panel; }
    [[nodiscard]] const PanelView& view() const { return *m_view; }

    /// Paths below the harness's directory. Folders above a made entry are made with it.
    [[nodiscard]] QString path(const QString& name) const;
    QString makeFolder(const QString& name) const;
    QString makeFile(const QString& name, const QByteArray& content = "content") const;

    /// What an operator does: press a button, answer the dialog that it opens.
    void press(QPushButton* button) const;
    void chooseBatchDirectory(const QString& directory);
    void chooseFile(const QString& file);
    void chooseFolder(const QString& folder);
    /// Presses "导入" of the single box with this many message boxes to come.
    void importSingle(int messages = 1);
    /// Presses "导入" of the batch box; its two closing messages come after so many others.
    void importBatch(int otherMessages = 0);
    void selectCompany(const QString& name) const;

    /// Writes message boxes into the journal as message(title, text), among the calls.
    void noteMessages();

private:
    QTemporaryDir m_directory;
    std::unique_ptr<UI::ZAV_ImportFromFile_Widget> m_panel;
    std::unique_ptr<PanelView> m_view;
};

/// For a test function's end: nothing unexpected was shown, nothing expected is missing.
#define VERIFY_DIALOGS(harness)                                                                              \
    QVERIFY2((harness).dialogs.complaint().isEmpty(), qPrintable((harness).dialogs.complaint()))

/// The journal is exactly this list of calls.
#define COMPARE_JOURNAL(harness, ...)                                                                        \
    do {                                                                                                     \
        const QStringList expectedCalls __VA_ARGS__;                                                         \
        const QString difference =                                                                           \
            KOZAV::Test::journalDifference((harness).services.journal(), expectedCalls);                     \
        QVERIFY2(difference.isEmpty(), qPrintable(difference));                                              \
    } while (false)

} // namespace KOZAV::Test
