#include "host/SiteStatusBar.h"

#include "host/SiteAccess.h"

#include <QLabel>

namespace KOZAV::Host {

SiteStatusBar::SiteStatusBar(const SiteAccess& site, QWidget* parent)
    : QStatusBar(parent)
{
    setSizeGripEnabled(false);
    addPart(QStringLiteral("数据库 %1").arg(site.databaseDescription()));
    addPart(QStringLiteral("文件库 %1").arg(site.storeDescription()));
    m_robot = addPart(QStringLiteral("机器人 …"));
}

QLabel* SiteStatusBar::addPart(const QString& text)
{
    auto* label = new QLabel(text, this);
    label->setTextFormat(Qt::PlainText);
    label->setToolTip(text.toHtmlEscaped());
    label->setContentsMargins(8, 0, 8, 0);
    addPermanentWidget(label);
    return label;
}

void SiteStatusBar::showRobot(const QString& robot, bool reachable)
{
    m_robot->setText(QStringLiteral("机器人 %1 %2")
                         .arg(robot, reachable ? QStringLiteral("● 在线") : QStringLiteral("○ 离线")));
    m_robot->setStyleSheet(reachable ? QStringLiteral("color: #7ddc9a;") : QStringLiteral("color: #ffb37a;"));
}

} // namespace KOZAV::Host
