#include "robot_server/PrintableText.h"

#include <QVector>

namespace KOZAV::Robot {

namespace {

constexpr int longestShown = 200;

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

QString codePoint(uint character)
{
    return QStringLiteral("\\u{%1}").arg(character, 4, 16, QLatin1Char('0'));
}

QString escaped(const QString& text, bool withQuotes)
{
    QString line;
    for (const uint character : text.left(longestShown).toUcs4()) {
        if (character == '\\' || (withQuotes && character == '"'))
            line += QLatin1Char('\\');
        line += isPrintable(character) ? QString::fromUcs4(&character, 1) : codePoint(character);
    }
    return line;
}

QString mark(const QString& text)
{
    return text.size() > longestShown ? QStringLiteral("...") : QString();
}

} // namespace

QString printableText(const QString& text)
{
    return QLatin1Char('"') + escaped(text, true) + QLatin1Char('"') + mark(text);
}

QString printableLine(const QString& text)
{
    return escaped(text, false) + mark(text);
}

} // namespace KOZAV::Robot
