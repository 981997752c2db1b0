#include "tests/support/DesktopOperator.h"

namespace KOZAV::Test {

namespace {

QString batchButton(const QString& name)
{
    return QStringLiteral("importDock > QGroupBox=批量导入 > QPushButton=") + name;
}

} // namespace

bool DesktopOperator::chooseBatch(const QString& directory)
{
    return m_client.click(batchButton(QStringLiteral("打开"))) && m_client.chooseInDialog(directory);
}

bool DesktopOperator::pressImport()
{
    return m_client.click(batchButton(QStringLiteral("导入")));
}

QStringList DesktopOperator::answerBatch()
{
    QStringList texts;
    for (;;) {
        const QString text = m_client.answer(QStringLiteral("OK"));
        if (text.isNull())
            return {};
        texts << text;
        if (text.startsWith(QStringLiteral("当前批号")))
            return texts;
    }
}

QStringList DesktopOperator::importBatch(const QString& directory)
{
    return chooseBatch(directory) && pressImport() ? answerBatch() : QStringList();
}

} // namespace KOZAV::Test
