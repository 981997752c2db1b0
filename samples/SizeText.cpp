#include "samples/SizeText.h"

#include <array>
#include <limits>

namespace KOZAV::Samples {

namespace {

struct Unit
{
    char letter;
    unsigned shift;
};

constexpr std::array<Unit, 3> kUnits{{{'G', 30}, {'M', 20}, {'K', 10}}};

bool isDecimal(const QString& text)
{
    for (const QChar letter : text)
        if (letter < QLatin1Char('0') || letter > QLatin1Char('9'))
            return false;
    return !text.isEmpty();
}

} // namespace

std::optional<quint64> parseSize(const QString& text)
{
    QString digits = text;
    unsigned shift = 0;
    for (const Unit& unit : kUnits)
        if (text.endsWith(QLatin1Char(unit.letter), Qt::CaseInsensitive)) {
            digits.chop(1);
            shift = unit.shift;
            break;
        }
    bool fits = false;
    const quint64 number = isDecimal(digits) ? digits.toULongLong(&fits) : 0;
    if (!fits || number > (std::numeric_limits<quint64>::max() >> shift))
        return std::nullopt;
    return number << shift;
}

QString readableSize(quint64 bytes)
{
    for (const Unit& unit : kUnits)
        if (bytes >= (quint64{1} << unit.shift)) {
            const quint64 tenths = bytes * 10 >> unit.shift;
            const QString fraction = tenths % 10 == 0 ? QString() : QStringLiteral(".%1").arg(tenths % 10);
            return QStringLiteral("%1%2 %3")
                .arg(tenths / 10)
                .arg(fraction, QString(QLatin1Char(unit.letter)));
        }
    return QStringLiteral("%1 bytes").arg(bytes);
}

} // namespace KOZAV::Samples
