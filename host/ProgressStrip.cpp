// What is shown has its place and size at all times, so that a change is painted without a new layout of the
// window: that would take longer than the rest of a pulse. Names come from disks and are shown as plain text.

#include "host/ProgressStrip.h"

#include "host/PanelRun.h"
#include "host/WorkPulse.h"
#include "host/core/PanelSource.h"
#include "host/site/SiteAccess.h"

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLocale>
#include <QPainter>
#include <QProgressBar>
#include <QStringList>
#include <QVBoxLayout>

namespace KOZAV::Host {

namespace {

constexpr int barSteps = 1000;
constexpr int stripEdge = 8;

} // namespace

/// A line of plain text, cut at its end where it is too long. Other than a label it has a size that does not
/// depend on its text: a new one is painted, and nothing is laid out for it.
class ElidedLine final : public QWidget
{
public:
    ElidedLine(const char* name, Qt::Alignment alignment, QWidget* parent)
        : QWidget(parent)
        , m_alignment(alignment)
    {
        setObjectName(QString::fromLatin1(name));
        setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    }

    void setText(const QString& text)
    {
        if (text == m_text)
            return;
        m_text = text;
        setAccessibleName(text);
        update();
    }

    [[nodiscard]] QSize sizeHint() const override { return {0, fontMetrics().height()}; }

protected:
    void paintEvent(QPaintEvent* /*event*/) override
    {
        QPainter painter(this);
        painter.drawText(rect(), int(m_alignment), fontMetrics().elidedText(m_text, Qt::ElideRight, width()));
    }

private:
    QString m_text;
    Qt::Alignment m_alignment;
};

ProgressStrip::ProgressStrip(SiteAccess& site, const PanelRun& run, QWidget* parent)
    : QFrame(parent)
    , m_job(new ElidedLine("progressJob", Qt::AlignLeft | Qt::AlignVCenter, this))
    , m_figures(new ElidedLine("progressFigures", Qt::AlignRight | Qt::AlignVCenter, this))
    , m_closing(new ElidedLine("progressClosing", Qt::AlignLeft | Qt::AlignVCenter, this))
    , m_bar(new QProgressBar(this))
{
    setObjectName(QStringLiteral("progressStrip"));
    setAccessibleName(tr("Progress of the import"));
    m_bar->setAccessibleName(tr("Progress of the import"));
    m_bar->setRange(0, barSteps);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(stripEdge, stripEdge, stripEdge, stripEdge);
    auto* line = new QHBoxLayout;
    line->addWidget(m_job, 1);
    line->addWidget(m_figures, 1);
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
    m_closing->setText({});
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
    m_figures->setText(StripText::figures(status));
    m_bar->setValue(static_cast<int>(status.fraction * barSteps));
}

void ProgressStrip::tellClosing(bool isStopped)
{
    m_closing->setText(isStopped ? tr("The import was stopped; the window closes when the panel is done.")
                                 : tr("You will be asked about closing the window after the current job."));
}

} // namespace KOZAV::Host
