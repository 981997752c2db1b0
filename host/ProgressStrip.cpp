// All labels have their place and size at all times, so that a change of text is painted without a new layout
// of the window. Names come from disks and are shown as plain text, cut where they are too long.

#include "host/ProgressStrip.h"

#include "host/PanelRun.h"
#include "host/WorkPulse.h"
#include "host/core/PanelSource.h"
#include "host/site/SiteAccess.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QProgressBar>
#include <QStringList>
#include <QVBoxLayout>

namespace KOZAV::Host {

namespace {

constexpr int barSteps = 1000;
constexpr int edge = 8;

QLabel* plainLabel(const char* name, QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setObjectName(QString::fromLatin1(name));
    label->setTextFormat(Qt::PlainText);
    label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    return label;
}

} // namespace

ProgressStrip::ProgressStrip(SiteAccess& site, const PanelRun& run, QWidget* parent)
    : QFrame(parent)
    , m_job(plainLabel("progressJob", this))
    , m_figures(plainLabel("progressFigures", this))
    , m_closing(plainLabel("progressClosing", this))
    , m_bar(new QProgressBar(this))
{
    setObjectName(QStringLiteral("progressStrip"));
    setAccessibleName(tr("Progress of the import"));
    m_bar->setAccessibleName(tr("Progress of the import"));
    m_bar->setRange(0, barSteps);
    m_figures->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(edge, edge, edge, edge);
    auto* line = new QHBoxLayout;
    line->addWidget(m_job, 3);
    line->addWidget(m_figures, 2);
    layout->addLayout(line);
    layout->addWidget(m_bar);
    layout->addWidget(m_closing);
    setVisible(false);
    m_clock.start();

    connect(&run, &PanelRun::begins, this, &ProgressStrip::begin);
    connect(&run, &PanelRun::ended, this, &ProgressStrip::end);
    connect(&run, &PanelRun::forgotten, this, &ProgressStrip::end);
    connect(&site, &SiteAccess::serviceCalled, this, [this](const Backend::OperationEvent& event) {
        if (m_progress)
            m_progress->serviceCalled(event);
    });
    connect(&site, &SiteAccess::serviceWorks, this, [this](const Backend::WorkProgress& work) {
        if (m_progress)
            m_progress->serviceWorks(work);
    });
}

void ProgressStrip::follow(const WorkPulse& pulse)
{
    connect(&pulse, &WorkPulse::beats, this, &ProgressStrip::refresh);
}

void ProgressStrip::begin(const PanelSource& source)
{
    m_progress.emplace(source, m_clock.elapsed());
    m_closing->clear();
    refresh();
    setVisible(!source.path.isEmpty());
}

void ProgressStrip::end()
{
    m_progress.reset();
    setVisible(false);
}

namespace {

/// Texts of the strip.
struct StripText
{
    Q_DECLARE_TR_FUNCTIONS(KOZAV::Host::ProgressStrip)

public:
    static QString job(const RunStatus& status)
    {
        const QString name = QStringLiteral("%1 / %2").arg(status.company, status.job);
        if (status.job.isEmpty())
            return tr("finishing …");
        switch (status.step) {
        case RunStatus::Step::Copying:
            return tr("copying %1 … (nothing moves until it is copied)").arg(name);
        case RunStatus::Step::Packing:
            return tr("packing %1").arg(name);
        case RunStatus::Step::Storing:
            return tr("storing %1").arg(name);
        case RunStatus::Step::Entering:
            break;
        }
        return tr("entering %1").arg(name);
    }

    static QString figures(const RunStatus& status)
    {
        const QLocale locale;
        const auto size = [&locale](qint64 bytes) { return locale.formattedDataSize(bytes, 1); };
        QStringList pieces = {tr("%1 of %2").arg(status.number).arg(status.count)};
        if (status.totalBytes > 0)
            pieces << tr("%1 of %2").arg(size(status.bytes), size(status.totalBytes));
        else if (status.bytes > 0)
            pieces << size(status.bytes);
        if (status.bytesPerSecond > 0)
            pieces << tr("%1/s").arg(size(status.bytesPerSecond));
        if (status.secondsLeft >= 0)
            pieces << timeLeft(status.secondsLeft);
        return pieces.join(QStringLiteral("  ·  "));
    }

private:
    static QString timeLeft(qint64 seconds)
    {
        constexpr qint64 minute = 60;
        if (seconds < minute)
            return tr("%n second(s) left", nullptr, static_cast<int>(seconds));
        return tr("%n minute(s) left", nullptr, static_cast<int>((seconds + minute / 2) / minute));
    }
};

} // namespace

void ProgressStrip::refresh()
{
    if (!m_progress)
        return;
    const RunStatus status = m_progress->status(m_clock.elapsed());
    m_job->setText(StripText::job(status));
    m_job->setToolTip(m_job->text());
    m_figures->setText(StripText::figures(status));
    m_bar->setValue(static_cast<int>(status.fraction * barSteps));
}

void ProgressStrip::tellClosing(bool isStopped)
{
    m_closing->setText(isStopped ? tr("The import was stopped; the window closes when the panel is done.")
                                 : tr("You will be asked about closing the window after the current job."));
}

} // namespace KOZAV::Host
