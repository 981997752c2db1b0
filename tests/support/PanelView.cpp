#include "tests/support/PanelView.h"

#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>

namespace KOZAV::Test {

namespace {

template <typename Widget>
Widget* nth(const QWidget& parent, int index)
{
    const auto widgets = parent.findChildren<Widget*>();
    if (index >= widgets.size())
        qFatal("The panel has no %s number %d there", Widget::staticMetaObject.className(), index + 1);
    return widgets.at(index);
}

template <typename Widget>
Widget* withText(const QWidget& parent, const QString& text)
{
    for (Widget* const widget : parent.findChildren<Widget*>()) {
        if (widget->text() == text)
            return widget;
    }
    qFatal("The panel has no %s '%s' there", Widget::staticMetaObject.className(), qUtf8Printable(text));
    return nullptr;
}

QGroupBox* boxTitled(const QWidget& parent, const QString& title)
{
    for (QGroupBox* const box : parent.findChildren<QGroupBox*>()) {
        if (box->title() == title)
            return box;
    }
    qFatal("The panel has no box '%s'", qUtf8Printable(title));
    return nullptr;
}

} // namespace

PanelView::PanelView(const QWidget& panel)
    : batchBox(boxTitled(panel, QStringLiteral("批量导入")))
    , openFolder(withText<QPushButton>(*batchBox, QStringLiteral("打开")))
    , batchPath(nth<QLineEdit>(*batchBox, 0))
    , batchClear(withText<QPushButton>(*batchBox, QStringLiteral("清空")))
    , batchImport(withText<QPushButton>(*batchBox, QStringLiteral("导入")))
    , processing(withText<QLabel>(*batchBox, QStringLiteral("处理中，请勿进行其他操作或关闭程序！")))
    , progress(nth<QProgressBar>(*batchBox, 0))
    , singleBox(boxTitled(panel, QStringLiteral("导入")))
    , openFile(withText<QPushButton>(*singleBox, QStringLiteral("选择文件")))
    , openDir(withText<QPushButton>(*singleBox, QStringLiteral("选择文件夹")))
    , singlePath(nth<QLineEdit>(*singleBox, 0))
    , singleClear(withText<QPushButton>(*singleBox, QStringLiteral("清空")))
    , companyLabel(withText<QLabel>(*singleBox, QStringLiteral("单个导入前请选择公司名：")))
    , company(nth<QComboBox>(panel, 0))
    , fileNameLabel(withText<QLabel>(*singleBox, QStringLiteral("文件名：")))
    , fileName(nth<QLineEdit>(*singleBox, 1))
    , singleImport(withText<QPushButton>(*singleBox, QStringLiteral("导入")))
{
}

} // namespace KOZAV::Test
