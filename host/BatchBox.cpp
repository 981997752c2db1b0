#include "host/BatchBox.h"

#include <QGroupBox>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>

namespace KOZAV::Host {

namespace {

QPushButton* button(const QWidget& box, const QString& text)
{
    for (auto* candidate : box.findChildren<QPushButton*>()) {
        if (candidate->text() == text)
            return candidate;
    }
    return nullptr;
}

} // namespace

BatchBox batchBoxOf(const QWidget& panel)
{
    for (const auto* box : panel.findChildren<QGroupBox*>()) {
        if (box->title() == QStringLiteral("批量导入"))
            return {button(*box, QStringLiteral("打开")), button(*box, QStringLiteral("导入")),
                    box->findChild<QLineEdit*>(), box->findChild<QProgressBar*>()};
    }
    return {};
}

} // namespace KOZAV::Host
