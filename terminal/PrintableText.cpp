#include "terminal/PrintableText.h"

#include <QChar>
#include <QVector>

#include <algorithm>
#include <iterator>

namespace KOZAV::Terminal {

namespace {

struct Range
{
    uint first;
    uint last;
};

/// Blocks whose characters are wide or fullwidth by the Unicode East Asian Width property (UAX #11).
constexpr Range wideBlocks[] = {
    {0x1100, 0x115f},   {0x2e80, 0x303e},   {0x3041, 0xa4cf},   {0xa960, 0xa97f},   {0xac00, 0xd7a3},
    {0xf900, 0xfaff},   {0xfe30, 0xfe6f},   {0xff00, 0xff60},   {0xffe0, 0xffe6},   {0x1f300, 0x1f64f},
    {0x1f680, 0x1f6ff}, {0x1f900, 0x1f9ff}, {0x20000, 0x2fffd}, {0x30000, 0x3fffd},
};

int characterWidth(uint character)
{
    const auto category = QChar::category(character);
    if (category == QChar::Mark_NonSpacing || category == QChar::Mark_Enclosing ||
        category == QChar::Other_Format)
        return 0;
    const bool wide =
        std::any_of(std::begin(wideBlocks), std::end(wideBlocks), [character](const Range& block) {
            return character >= block.first && character <= block.last;
        });
    return wide ? 2 : 1;
}

bool isPrintable(uint character)
{
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Other_Surrogate:
    case QChar::Other_NotAssigned:
    case QChar::Other_PrivateUse:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return false;
    default:
        return true;
    }
}

QString escape(uint character)
{
    if (character == '\n')
        return QStringLiteral("\\n");
    if (character == '\t')
        return QStringLiteral("\\t");
    const QString form = character < 0x100 ? QStringLiteral("\\x%1") : QStringLiteral("\\u{%1}");
    return form.arg(character, 2, 16, QLatin1Char('0'));
}

} // namespace

int displayWidth(const QString& text)
{
    int width = 0;
    for (const uint character : text.toUcs4())
        width += characterWidth(character);
    return width;
}

QString printable(const QString& text)
{
    QString result;
    result.reserve(text.size());
    for (const uint character : text.toUcs4())
        result += isPrintable(character) ? QString::fromUcs4(&character, 1) : escape(character);
    return result;
}

} // namespace KOZAV::Terminal
