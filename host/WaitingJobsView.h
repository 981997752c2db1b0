#pragma once

#include "services/model/Odbpp_Job_C.h"

#include <QTimer>
#include <QWidget>

class QLabel;
class QLineEdit;
class QPushButton;

namespace KOZAV::Host {

class JobReader;
class JobTable;
class WaitingModel;
struct JobReadFailure;

/// The jobs that wait for import, from which the operator opens one, and before them those whose request to
/// the robot failed.
class WaitingJobsView final : public QWidget
{
    Q_OBJECT
public:
    explicit WaitingJobsView(JobReader& reader, QWidget* parent = nullptr);

    /// Reads again what is shown.
    void refresh();

Q_SIGNALS:
    void openRequested(const KOZAV::DataLib::Model::Odbpp_Job_C& job);
    /// The operator wants to deal with a job's request to the robot.
    void requestChosen(const QString& flowKey);
    /// Something was read, or why it was not.
    void told(const KOZAV::Host::JobReadFailure& failure);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void openSelected();
    void showSelection();
    void showCount(qint64 jobs, bool orMore);
    void showFailure(const JobReadFailure& failure);

    WaitingModel* m_jobs;
    JobTable* m_table;
    QLineEdit* m_search;
    QLabel* m_count;
    QPushButton* m_open;
    QTimer m_typing; ///< runs while somebody types
};

} // namespace KOZAV::Host
