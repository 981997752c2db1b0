#include "samples/Placement.h"

#include <algorithm>

namespace KOZAV::Samples {

namespace {

constexpr std::array<Package, Placement::kPackageCount> kPackages{{{"c0402", 2, 20, 36},
                                                                   {"r0603", 2, 30, 55},
                                                                   {"c0805", 2, 40, 75},
                                                                   {"sot23", 3, 37, 80},
                                                                   {"so8", 8, 50, 210},
                                                                   {"so16", 16, 50, 210},
                                                                   {"qfp48", 48, 20, 340}}};

/// The packages of ten parts in a row; the step repeats them.
constexpr std::array<quint32, 10> kCycle{{0, 1, 4, 0, 3, 1, 2, 5, 0, 6}};

quint32 pinsBefore(quint32 placeInCycle)
{
    quint32 pins = 0;
    for (quint32 place = 0; place < placeInCycle; ++place)
        pins += kPackages.at(kCycle.at(place)).pins;
    return pins;
}

constexpr quint32 kPartsPerCycle = static_cast<quint32>(kCycle.size());

quint32 pinsPerCycle()
{
    static const quint32 pins = pinsBefore(kPartsPerCycle);
    return pins;
}

} // namespace

Placement::Placement(const Board& board, quint64 seed, quint32 components)
    : m_board(board)
    , m_seed(seed)
    , m_components(components)
{
}

const Package& Placement::packageNumber(quint32 number)
{
    return kPackages.at(number);
}

quint32 Placement::numberOnSide(quint32 component) const
{
    return isTop(component) ? component : component - topComponents();
}

quint32 Placement::packageOf(quint32 component) const
{
    return kCycle.at(component % kPartsPerCycle);
}

bool Placement::isTurned(quint32 component) const
{
    return randomOf(component).percent(50);
}

Point Placement::centre(quint32 component) const
{
    const Package& package = kPackages.at(packageOf(component));
    Random random = randomOf(component);
    const Point place = m_board.place(random, m_board.padGrid);
    const Point pinOne = pinOffset(m_board, package, 0);
    const qint64 alongX = m_board.margin - pinOne.x;
    const qint64 alongY = m_board.margin - pinOne.y;
    return {std::clamp(place.x, alongX, m_board.width - alongX),
            std::clamp(place.y, alongY, m_board.height - alongY)};
}

quint32 Placement::pins() const
{
    return firstPin(m_components);
}

quint32 Placement::firstPin(quint32 component) const
{
    return component / kPartsPerCycle * pinsPerCycle() + pinsBefore(component % kPartsPerCycle);
}

Placement::Pin Placement::pin(quint32 index) const
{
    quint32 place = 0;
    quint32 number = index % pinsPerCycle();
    while (number >= kPackages.at(kCycle.at(place)).pins)
        number -= kPackages.at(kCycle.at(place++)).pins;
    return {index / pinsPerCycle() * kPartsPerCycle + place, number};
}

Point Placement::pinPlace(Pin pin) const
{
    const Point middle = centre(pin.component);
    const Point offset = pinOffset(m_board, kPackages.at(packageOf(pin.component)), pin.number);
    const qint64 sign = isTurned(pin.component) ? -1 : 1;
    return {middle.x + sign * offset.x, middle.y + sign * offset.y};
}

QByteArray Placement::netName(quint32 net) const
{
    static const std::array<QByteArray, 5> kNamed{{"$NONE$", "GND", "VCC_3V3", "VCC_5V", "RESET_N"}};
    return net < kNamed.size() ? kNamed.at(net) : "NET" + QByteArray::number(net);
}

Random Placement::randomOf(quint32 component) const
{
    return Random(m_seed ^ (quint64{component} << 20U));
}

Point pinOffset(const Board& board, const Package& package, quint32 number)
{
    const int columns = static_cast<int>((package.pins + 1) / 2);
    const int column = static_cast<int>(number) % columns;
    const bool upperRow = static_cast<int>(number) >= columns;
    return {board.fromMils(qint64{2 * column - (columns - 1)} * package.pitch) / 2,
            board.fromMils(upperRow ? package.rowDistance : -package.rowDistance) / 2};
}

} // namespace KOZAV::Samples
