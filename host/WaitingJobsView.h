#pragma once

#include "services/model/Odbpp_Job_C.h"

#include <QWidget>

class QLabel;
class QPushButton;
class QTableView;

namespace KOZAV::Host {

/// The jobs that wait for import, from which the operator opens one.
class WaitingJobsView final : public QWidget
{
    Q_OBJECT
public:
    explicit WaitingJobsView(QWidget* parent = nullptr);

    void reload();

Q_SIGNALS:
    void openRequested(const KOZAV::DataLib::Model::Odbpp_Job_C& job);

private:
    class Model;

    void openSelected();
    void showSelection();

    Model* m_jobs;
    QTableView* m_table;
    QLabel* m_count;
    QPushButton* m_open;
};

} // namespace KOZAV::Host
