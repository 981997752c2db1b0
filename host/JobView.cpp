// Shows whatever CamImport tells, in the order in which it tells it. Names and reasons come from archives and
// are shown as plain text.

#include "host/JobView.h"

#include "host/CamImport.h"
#include "host/LayerStackView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace KOZAV::Host {

JobView::JobView(CamImport& import, QWidget* parent)
    : QWidget(parent)
    , m_title(new QLabel(tr("No job is open"), this))
    , m_details(new QLabel(this))
    , m_progress(new QProgressBar(this))
    , m_cancel(new QPushButton(tr("&Cancel"), this))
    , m_stack(new LayerStackView(this))
{
    m_title->setObjectName(QStringLiteral("sectionTitle"));
    for (QLabel* label : {m_title, m_details}) {
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
    }
    auto* row = new QHBoxLayout;
    row->addWidget(m_progress, 1);
    row->addWidget(m_cancel);
    auto* scroll = new QScrollArea(this);
    scroll->setWidget(m_stack);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_title);
    layout->addWidget(m_details);
    layout->addLayout(row);
    layout->addWidget(scroll, 1);
    endProgress();

    connect(m_cancel, &QPushButton::clicked, &import, &CamImport::cancel);
    connect(&import, &CamImport::started, this, &JobView::showStarted);
    connect(&import, &CamImport::progressed, this, &JobView::showProgress);
    connect(&import, &CamImport::opened, this, &JobView::showJob);
    connect(&import, &CamImport::warned, this, &JobView::showWarning);
    connect(&import, &CamImport::failed, this, &JobView::showFailure);
}

void JobView::showStarted(const QString& jobName)
{
    m_title->setText(tr("%1 is being opened").arg(jobName));
    m_details->clear();
    m_stack->clear();
    m_progress->setVisible(true);
    m_cancel->setVisible(true);
}

void JobView::showProgress(qint64 done, qint64 total)
{
    // A file may be larger than an int counts: thousandths.
    const bool known = done >= 0 && total > 0;
    m_progress->setRange(0, known ? 1000 : 0);
    if (known)
        m_progress->setValue(
            static_cast<int>(1000.0 * static_cast<double>(done) / static_cast<double>(total)));
}

void JobView::showJob(const QString& jobName, const OdbJob& job)
{
    QStringList steps;
    for (const MatrixStep& step : job.matrix.steps)
        steps << step.name;
    m_title->setText(jobName);
    m_details->setText(
        tr("ODB++ · Steps: %1 · %n layer(s)", nullptr, static_cast<int>(job.matrix.layers.size()))
            .arg(steps.join(QStringLiteral(", "))));
    m_stack->setMatrix(job.matrix);
    endProgress();
}

void JobView::showWarning(const QString& /*jobName*/, const QString& warning)
{
    m_details->setText(m_details->text() + QLatin1Char('\n') + tr("Warning: %1").arg(warning));
}

void JobView::showFailure(const QString& jobName, const QString& reason)
{
    m_title->setText(tr("%1 cannot be opened").arg(jobName));
    m_details->setText(reason);
    m_stack->clear();
    endProgress();
}

void JobView::endProgress()
{
    m_progress->setVisible(false);
    m_cancel->setVisible(false);
}

} // namespace KOZAV::Host
