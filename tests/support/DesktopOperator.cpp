#include "tests/support/DesktopOperator.h"

namespace KOZAV::Test {

namespace {

constexpr int dialogMs = 10'000;

QString batchButton(const QString& name)
{
    return QStringLiteral("importDock > QGroupBox=批量导入 > QPushButton=") + name;
}

} // namespace

bool DesktopOperator::chooseBatch(const QString& directory)
{
    // A click that came while the window was raised may have gone to the window manager alone.
    for (int times = 0; times < 3; ++times) {
        if (!m_client.click(batchButton(QStringLiteral("打开"))))
            return false;
        if (m_client.waitUntilShown(QStringLiteral("QFileDialog"), dialogMs))
            return m_client.chooseInDialog(directory);
    }
    qWarning("the panel's dialog does not open");
    return false;
}

bool DesktopOperator::pressImport()
{
    return m_client.click(batchButton(QStringLiteral("导入")));
}

QStringList DesktopOperator::answerBatch(const QString& button)
{
    QStringList texts;
    for (;;) {
        const QString text = m_client.answer(button);
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
