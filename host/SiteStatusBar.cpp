// One label for rows, one for stored files, one for the robot. What stands in a label is plain text: names of
// hosts and folders come from a configuration that somebody else may have written. The tool tip is markup of
// our own around escaped texts.

#include "host/SiteStatusBar.h"

#include "host/Theme.h"
#include "host/site/SiteAccess.h"

#include <QLabel>
#include <QStringList>
#include <QStylePainter>

namespace KOZAV::Host {

using Backend::ServiceHealth;
using Backend::ServiceWait;
using Backend::SitePart;

namespace {

constexpr int edge = 8;
constexpr int leastLabelWidth = 90;
constexpr int leastWaitWidth = 340; ///< for which company, whose it is, how long

QString reachableStyle()
{
    return QStringLiteral("color: %1;").arg(goodTextColor().name());
}

QString unreachableStyle()
{
    return QStringLiteral("color: %1;").arg(warningTextColor().name());
}

QString partName(SitePart part)
{
    return part == SitePart::Rows ? SiteStatusBar::tr("Database") : SiteStatusBar::tr("File store");
}

/// The engine as it is called in short; the tool tip has its version.
QString engineName(SitePart part, const ServiceHealth& state)
{
    if (part == SitePart::Files)
        return state.remote ? QStringLiteral("GridFS") : SiteStatusBar::tr("local");
    return state.engine.section(QLatin1Char(' '), 0, 0);
}

QString encryptionText(const ServiceHealth& state)
{
    return state.encryption.isEmpty() ? SiteStatusBar::tr("not encrypted") : SiteStatusBar::tr("encrypted");
}

QString labelText(SitePart part, const ServiceHealth& state)
{
    QStringList pieces = {partName(part), engineName(part, state), state.place};
    pieces.removeAll(QString());
    if (state.remote)
        pieces << encryptionText(state);
    if (!state.isReachable())
        pieces << SiteStatusBar::tr("○ unreachable");
    return pieces.join(QLatin1Char(' '));
}

QString connectionText(const ServiceHealth& state)
{
    if (!state.remote)
        return SiteStatusBar::tr("this machine");
    return QStringList({encryptionText(state), state.encryption}).join(QLatin1Char(' ')).trimmed();
}

QString toolTipText(SitePart part, const ServiceHealth& state, const QString& configuration)
{
    QStringList lines = {partName(part)};
    const auto add = [&lines](const QString& what, const QString& text) {
        if (!text.isEmpty())
            lines << SiteStatusBar::tr("%1: %2", "what, its value").arg(what, text);
    };
    add(SiteStatusBar::tr("Engine"), state.engine);
    add(SiteStatusBar::tr("Place"), state.place);
    if (!state.engine.isEmpty())
        add(SiteStatusBar::tr("Connection"), connectionText(state));
    add(SiteStatusBar::tr("Topology"), state.topology);
    add(SiteStatusBar::tr("Configuration"), configuration);
    add(SiteStatusBar::tr("Unreachable"), state.failure);
    return QStringLiteral("<p>%1</p>")
        .arg(
            lines.join(QLatin1Char('\n')).toHtmlEscaped().replace(QLatin1Char('\n'), QStringLiteral("<br>")));
}

QString seconds(qint64 ms)
{
    return QString::number(ms / 1000);
}

QString partWaitText(SitePart part)
{
    return part == SitePart::Rows ? SiteStatusBar::tr("Waiting for the database")
                                  : SiteStatusBar::tr("Waiting for the file store");
}

QString waitText(const ServiceWait& wait)
{
    if (wait.over)
        return {};
    const QString what =
        wait.cause == ServiceWait::Cause::Company
            ? SiteStatusBar::tr("Waiting for company %1 (held by %2)").arg(wait.company, wait.holder)
            : partWaitText(wait.part);
    return SiteStatusBar::tr("%1 %2 of %3 s").arg(what, seconds(wait.waitedMs), seconds(wait.patienceMs));
}

/// A label that a narrow window shortens in the middle: hosts and names of files stand at the ends.
class ShorteningLabel final : public QLabel
{
public:
    using QLabel::QLabel;

    [[nodiscard]] QSize minimumSizeHint() const override
    {
        return {leastLabelWidth, QLabel::minimumSizeHint().height()};
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override
    {
        QStylePainter painter(this);
        const QRect rect = contentsRect();
        painter.drawItemText(rect, static_cast<int>(alignment()), palette(), isEnabled(),
                             fontMetrics().elidedText(text(), Qt::ElideMiddle, rect.width()),
                             foregroundRole());
    }
};

} // namespace

SiteStatusBar::SiteStatusBar(const SiteAccess& site, QWidget* parent)
    : QStatusBar(parent)
    , m_site(site)
    , m_wait(new QLabel(this))
    , m_rows(addLabel({}))
    , m_files(addLabel({}))
    , m_robot(addLabel(tr("Robot …")))
{
    setSizeGripEnabled(false);
    m_rows->setObjectName(QStringLiteral("siteRows"));
    m_files->setObjectName(QStringLiteral("siteFiles"));
    showPart(SitePart::Rows);
    showPart(SitePart::Files);
    // It has its place at all times, so that it can be painted without being laid out.
    m_wait->setObjectName(QStringLiteral("siteWait"));
    m_wait->setTextFormat(Qt::PlainText);
    m_wait->setContentsMargins(edge, 0, edge, 0);
    m_wait->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_wait->setMinimumWidth(leastWaitWidth);
    m_wait->setStyleSheet(unreachableStyle());
    addWidget(m_wait, 1);
    connect(&site, &SiteAccess::partChanged, this, &SiteStatusBar::showPart);
    connect(&site, &SiteAccess::serviceWaits, this, &SiteStatusBar::showWait);
}

QLabel* SiteStatusBar::addLabel(const QString& text)
{
    auto* label = new ShorteningLabel(text, this);
    label->setTextFormat(Qt::PlainText);
    label->setContentsMargins(edge, 0, edge, 0);
    addPermanentWidget(label);
    return label;
}

void SiteStatusBar::showPart(SitePart part)
{
    const ServiceHealth& state = m_site.part(part);
    QLabel* label = part == SitePart::Rows ? m_rows : m_files;
    label->setText(labelText(part, state));
    label->setToolTip(toolTipText(part, state, m_site.configurationPath()));
    label->setStyleSheet(state.isReachable() ? QString() : unreachableStyle());
}

/// Nothing is asked of the site, whose thread is the one that waits.
void SiteStatusBar::showWait(const ServiceWait& wait)
{
    clearMessage();
    m_wait->setText(waitText(wait));
}

void SiteStatusBar::showRobot(const QString& robot, bool reachable)
{
    m_robot->setText(tr("Robot %1 %2").arg(robot, reachable ? tr("● online") : tr("○ offline")));
    m_robot->setStyleSheet(reachable ? reachableStyle() : unreachableStyle());
}

} // namespace KOZAV::Host
