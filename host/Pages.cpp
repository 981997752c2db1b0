#include "host/Pages.h"

#include <QScrollArea>
#include <QTabBar>
#include <QTabWidget>
#include <QVBoxLayout>

namespace KOZAV::Host {

namespace {

// What a page is never narrower and lower than, however the docks press it: some columns and rows of a table.
constexpr int leastWidth = 320;
constexpr int leastHeight = 160;

} // namespace

Pages::Pages(QWidget* parent)
    : QWidget(parent)
    , m_layout(new QVBoxLayout(this))
    , m_tabs(new QTabWidget(this))
{
    m_tabs->setObjectName(QStringLiteral("pages"));
    m_tabs->setAccessibleName(tr("Pages"));
    m_tabs->tabBar()->setAccessibleName(tr("Pages"));
    m_tabs->setDocumentMode(true);
    m_tabs->tabBar()->setDrawBase(false);
    m_tabs->setUsesScrollButtons(true);
    m_tabs->setMinimumSize(leastWidth, leastHeight);
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(0);
    m_layout->addWidget(m_tabs, 1);
}

void Pages::add(const QString& objectName, const QString& title, QWidget* page)
{
    page->setObjectName(objectName);
    auto* scroll = new QScrollArea(m_tabs);
    scroll->setWidget(page);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    // What is on the page has the keyboard, not the page.
    scroll->setFocusPolicy(Qt::NoFocus);
    scroll->setFocusProxy(page);
    m_tabs->addTab(scroll, title);
    Q_EMIT added();
}

void Pages::addStrip(QWidget* strip)
{
    m_layout->insertWidget(m_layout->count() - 1, strip);
}

int Pages::count() const
{
    return m_tabs->count();
}

QString Pages::title(int index) const
{
    return m_tabs->tabText(index);
}

QWidget* Pages::page(int index) const
{
    const auto* scroll = qobject_cast<QScrollArea*>(m_tabs->widget(index));
    return scroll ? scroll->widget() : nullptr;
}

QWidget* Pages::current() const
{
    return page(m_tabs->currentIndex());
}

void Pages::show(int index)
{
    QWidget* shown = page(index);
    if (!shown)
        return;
    m_tabs->setCurrentIndex(index);
    // The first that takes the keyboard: the page itself, or what its author put first.
    if (shown->focusPolicy() == Qt::NoFocus) {
        for (QWidget* next = shown->nextInFocusChain(); next && next != shown;
             next = next->nextInFocusChain()) {
            if (shown->isAncestorOf(next) && next->isVisible() && next->isEnabled() &&
                (next->focusPolicy() & Qt::TabFocus) != 0) {
                next->setFocus(Qt::ShortcutFocusReason);
                return;
            }
        }
    }
    shown->setFocus(Qt::ShortcutFocusReason);
}

void Pages::show(const QString& objectName)
{
    for (int index = 0; index < count(); ++index) {
        if (page(index)->objectName() == objectName)
            show(index);
    }
}

void Pages::bring(const QString& objectName)
{
    for (int index = 0; index < count(); ++index) {
        if (page(index)->objectName() == objectName)
            m_tabs->setCurrentIndex(index);
    }
}

} // namespace KOZAV::Host
