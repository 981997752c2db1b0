#pragma once

#include "host/odb/OdbJob.h"

#include <QWidget>

class QLabel;
class QProgressBar;
class QPushButton;

namespace KOZAV::Host {

class CamImport;
class LayerStackView;

/// Shows how a CAM import goes, and the job that it opened: its steps, and its layers as a stack.
class JobView final : public QWidget
{
    Q_OBJECT
public:
    explicit JobView(CamImport& import, QWidget* parent = nullptr);

private:
    void showStarted(const QString& jobName);
    void showProgress(qint64 done, qint64 total);
    void showJob(const QString& jobName, const OdbJob& job);
    void showWarning(const QString& jobName, const QString& warning);
    void showFailure(const QString& jobName, const QString& reason);
    void endProgress();

    QLabel* m_title;
    QLabel* m_details;
    QProgressBar* m_progress;
    QPushButton* m_cancel;
    LayerStackView* m_stack;
};

} // namespace KOZAV::Host
