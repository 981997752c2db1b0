#include "host/PanelBoxes.h"

#include <QComboBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>

namespace KOZAV::Host {

namespace {

const QGroupBox* groupBox(const QWidget& panel, const QString& title)
{
    for (const auto* box : panel.findChildren<QGroupBox*>()) {
        if (box->title() == title)
            return box;
    }
    return nullptr;
}

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
    const QGroupBox* box = groupBox(panel, QStringLiteral("批量导入"));
    if (!box)
        return {};
    return {button(*box, QStringLiteral("打开")), button(*box, QStringLiteral("清空")),
            button(*box, QStringLiteral("导入")), box->findChild<QLineEdit*>(),
            box->findChild<QProgressBar*>()};
}

SingleBox singleBoxOf(const QWidget& panel)
{
    const QGroupBox* box = groupBox(panel, QStringLiteral("导入"));
    if (!box)
        return {};
    // The path's field is made before that of the file name.
    return {button(*box, QStringLiteral("清空")), button(*box, QStringLiteral("导入")),
            box->findChild<QLineEdit*>(), box->findChild<QComboBox*>()};
}

} // namespace KOZAV::Host
