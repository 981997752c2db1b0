#pragma once

#include "tests/support/DialogDriver.h"
#include "tests/support/PanelHarness.h"
#include "tests/support/RecordingServices.h"

#include "ui/import_list/ZAV_Import_Widget.h"

#include <QPointer>

class QComboBox;
class QLineEdit;
class QPushButton;
class QTableWidget;

namespace KOZAV::Test {

class RobotPeer;

/// A waiting job as the list gives it, and a job-flow row as select gives it.
DataLib::Model::Odbpp_Job_C inputJob(const char* flowId, int jobId, const char* jobName);
DataLib::Model::Odbpp_JobFlow jobFlow(const char* flowGuid, const char* koSerialName);

/// A job list panel over the recording double, with a dialog driver. One for each test function; a new one
/// starts from a fresh double.
///
/// The journal holds, beside the service calls, message(title, text) for every message box and the panel's
/// own signals as name(), so that one comparison shows what happened, in which order, and that nothing else
/// did.
class ListPanelHarness final
{
public:
    /// Jobs AB000041, AB000042 and AB000043 (flows flow-41 ..., ids 41 ...), each with a job-flow row (key-41
    /// ...); user 5, "operator"; no robot.
    ListPanelHarness();
    ~ListPanelHarness();
    ListPanelHarness(const ListPanelHarness&) = delete;
    ListPanelHarness& operator=(const ListPanelHarness&) = delete;

    RecordingServices& services;
    DialogDriver dialogs;

    /// Makes the waiting list one of jobs with these names, numbered from 1 (flows flow-1 ...).
    void listJobs(const QStringList& names);
    /// Requests go to this peer from now on.
    void useRobot(const RobotPeer& peer);

    /// Builds the panel, with the constructor that takes no mode or the one that does.
    void build();
    void build(int mode);
    /// Builds and shows the panel; the journal is empty afterwards.
    void open();
    void open(int mode);
    /// Shows the panel again after it has closed.
    void show() const;
    /// Deletes the panel.
    void destroy();

    [[nodiscard]] UI::ZAV_Import_Widget& panel() const { return *m_panel; }
    [[nodiscard]] bool hasPanel() const { return !m_panel.isNull(); }
    [[nodiscard]] QLineEdit& filter() const;
    [[nodiscard]] QComboBox& mode() const;
    [[nodiscard]] QTableWidget& table() const;
    [[nodiscard]] QPushButton& importButton() const;
    [[nodiscard]] QPushButton& refreshButton() const;

    /// The job names that the table shows, from the top.
    [[nodiscard]] QStringList jobNames() const;
    /// Every row as "flow id/job id/job name", from the top.
    [[nodiscard]] QStringList rows() const;

    /// What an operator does.
    void press(QPushButton& button) const;
    void chooseJob(const QString& jobName) const;
    /// Types with an input method, which gives any character.
    void typeFilter(const QString& text) const;
    /// Selects all of the filter text and deletes it.
    void clearFilter() const;

    /// What the host does.
    void openFor(const char* jobName, const QString& fileName = QString()) const;
    void reportSuccess() const;

private:
    void adopt(UI::ZAV_Import_Widget* panel);
    void noteMessages();

    QPointer<UI::ZAV_Import_Widget> m_panel;
};

} // namespace KOZAV::Test
