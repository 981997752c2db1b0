// What is wrong stands first: a narrow window cuts off the end.

#include "host/ResultStrip.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>
#include <QVariant>

namespace KOZAV::Host {

namespace {

constexpr std::array<Outcome, outcomeCount> worstFirst = {Outcome::Failed,   Outcome::Unknown,
                                                          Outcome::Refused,  Outcome::WithWarnings,
                                                          Outcome::Imported, Outcome::LeftOut};

const char* const stripStyle = R"(
#resultStrip { background: #333333; border-bottom: 1px solid #242424; }
#resultStrip[wrong="true"] { background: #5c1f1f; }
#resultStrip QToolButton { color: #eff4ff; background: transparent; border: 1px solid transparent;
                           border-radius: 3px; padding: 3px 8px; }
#resultStrip QToolButton:hover { background: #6b6b6b; }
#resultStrip QToolButton:focus { border: 1px solid #9cc4ff; }
#resultStrip QToolButton[tone="wrong"] { background: #b3261e; font-weight: bold; }
#resultStrip QToolButton[tone="warned"] { background: #7a4b00; }
#resultBadge { color: #ffffff; background: #b3261e; border-radius: 10px; font-weight: bold; }
)";

QString toneOf(Outcome outcome)
{
    if (isWrong(outcome))
        return QStringLiteral("wrong");
    return outcome == Outcome::WithWarnings ? QStringLiteral("warned") : QString();
}

} // namespace

ResultStrip::ResultStrip(QWidget* parent)
    : QWidget(parent)
    , m_badge(new QLabel(QStringLiteral("!"), this))
    , m_title(new QToolButton(this))
{
    setObjectName(QStringLiteral("resultStrip"));
    setAccessibleName(tr("Result of the last import"));
    setAttribute(Qt::WA_StyledBackground);
    setStyleSheet(QString::fromLatin1(stripStyle));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 3, 8, 3);
    layout->setSpacing(6);
    constexpr int badgeSize = 20;
    m_badge->setObjectName(QStringLiteral("resultBadge"));
    m_badge->setFixedSize(badgeSize, badgeSize);
    m_badge->setAlignment(Qt::AlignCenter);
    layout->addWidget(m_badge);
    m_title->setObjectName(QStringLiteral("resultTitle"));
    m_title->setFocusPolicy(Qt::StrongFocus);
    connect(m_title, &QToolButton::clicked, this, &ResultStrip::allChosen);
    layout->addWidget(m_title);
    for (const Outcome outcome : worstFirst) {
        auto* button = new QToolButton(this);
        button->setObjectName(QStringLiteral("result-%1").arg(outcomeName(outcome)));
        button->setProperty("tone", toneOf(outcome));
        button->setFocusPolicy(Qt::StrongFocus);
        connect(button, &QToolButton::clicked, this, [this, outcome] { Q_EMIT outcomeChosen(outcome); });
        layout->addWidget(button);
        m_counts[static_cast<std::size_t>(outcome)] = button;
    }
    layout->addStretch(1);
    // The strip does not keep the window from getting narrow.
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    hide();
}

void ResultStrip::show(const RunSummary& run)
{
    QStringList told;
    for (const Outcome outcome : worstFirst) {
        const int number = run.counts.of(outcome);
        QToolButton* button = m_counts[static_cast<std::size_t>(outcome)];
        button->setText(tr("%1 %2", "outcome and number").arg(outcomeText(outcome)).arg(number));
        button->setVisible(number > 0);
        if (number > 0)
            told << button->text();
    }
    const bool wrong = run.counts.wrong() > 0;
    m_badge->setVisible(wrong);
    m_title->setText(tr("Import of %1").arg(run.end.toLocalTime().toString(QStringLiteral("HH:mm"))));
    m_title->setToolTip(tr("Shows what became of each entry"));
    if (told.isEmpty())
        m_title->setText(tr("%1: nothing to import").arg(m_title->text()));
    setAccessibleDescription(told.join(QStringLiteral(", ")));
    setProperty("wrong", wrong);
    // The style sheet looks at the property once.
    setStyleSheet(styleSheet());
    setVisible(true);
}

} // namespace KOZAV::Host
