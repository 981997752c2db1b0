#include "tests/support/JournalText.h"

#include <algorithm>

namespace KOZAV::Test {

namespace {

QString quoted(const QString& text)
{
    QString result = text;
    result.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    result.replace(QLatin1Char('"'), QStringLiteral("\\\""));
    return QLatin1Char('"') + result + QLatin1Char('"');
}

QString withEscapedBytes(const std::string& text)
{
    QString result;
    for (const char byte : text) {
        const auto code = static_cast<unsigned char>(byte);
        result += code < 0x80 ? QString(QLatin1Char(byte))
                              : QStringLiteral("\\x%1").arg(int(code), 2, 16, QLatin1Char('0'));
    }
    return QLatin1Char('"') + result + QLatin1Char('"');
}

template <typename Map>
QString renderedMap(const Map& conditions)
{
    QStringList pairs;
    for (const auto& [column, value] : conditions)
        pairs << rendered(column) + QStringLiteral(": ") + rendered(value);
    return QLatin1Char('{') + pairs.join(QStringLiteral(", ")) + QLatin1Char('}');
}

QString numbered(const QStringList& entries)
{
    QString result;
    for (int index = 0; index < entries.size(); ++index)
        result += QStringLiteral("  %1 ").arg(index, 3) + entries.at(index) + QLatin1Char('\n');
    return result;
}

} // namespace

QString rendered(const std::string& text)
{
    // Bytes that are no UTF-8 do not survive the way there and back.
    const QString decoded = QString::fromUtf8(text.data(), int(text.size()));
    const bool isUtf8 = decoded.toStdString() == text;
    return isUtf8 ? quoted(decoded) : withEscapedBytes(text);
}

QString rendered(const char* text)
{
    return rendered(std::string(text));
}

QString rendered(const QString& text)
{
    return quoted(text);
}

QString rendered(int number)
{
    return QString::number(number);
}

QString rendered(const std::map<std::string, std::string>& conditions)
{
    return renderedMap(conditions);
}

QString rendered(const std::map<std::string, int>& conditions)
{
    return renderedMap(conditions);
}

QString journalDifference(const QStringList& actual, const QStringList& expected)
{
    if (actual == expected)
        return QString();
    const auto parting = std::mismatch(actual.cbegin(), actual.cend(), expected.cbegin(), expected.cend());
    const auto index = parting.first - actual.cbegin();
    return QStringLiteral("Journals part at entry %1.\nActual:\n").arg(index) + numbered(actual) +
           QStringLiteral("Expected:\n") + numbered(expected);
}

} // namespace KOZAV::Test
