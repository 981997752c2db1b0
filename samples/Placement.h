#pragma once

#include "samples/Board.h"

#include <QByteArray>

#include <array>

namespace KOZAV::Samples {

struct Package
{
    const char* name;
    quint32 pins;
    /// Distance of neighbouring pins and of the two rows of pins, in mils.
    int pitch;
    int rowDistance;
};

/// The parts on a step and the nets that join their pins. Everything follows from an index, so the files that
/// speak of the same pin agree without a table of them in memory.
class Placement final
{
public:
    /// A pin of the whole step: the part, and the number of the pin on it from 0.
    struct Pin
    {
        quint32 component;
        quint32 number;
    };

    Placement(const Board& board, quint64 seed, quint32 components);

    static constexpr quint32 kPackageCount = 7;
    [[nodiscard]] static const Package& packageNumber(quint32 number);

    [[nodiscard]] quint32 components() const { return m_components; }
    /// Parts from 0 to topComponents() - 1 stand on the top side, the others on the bottom.
    [[nodiscard]] quint32 topComponents() const { return m_components - m_components / 3; }
    [[nodiscard]] bool isTop(quint32 component) const { return component < topComponents(); }
    /// The part's number on its own side.
    [[nodiscard]] quint32 numberOnSide(quint32 component) const;
    [[nodiscard]] quint32 packageOf(quint32 component) const;
    [[nodiscard]] bool isTurned(quint32 component) const;
    [[nodiscard]] Point centre(quint32 component) const;

    [[nodiscard]] quint32 pins() const;
    /// Number of the part's first pin among all pins of the step.
    [[nodiscard]] quint32 firstPin(quint32 component) const;
    [[nodiscard]] Pin pin(quint32 index) const;
    [[nodiscard]] Point pinPlace(Pin pin) const;

    /// Nets are numbered from 1; 0 is the net of what is not connected.
    [[nodiscard]] quint32 nets() const { return pins() / 4 + 1; }
    [[nodiscard]] quint32 netOf(quint32 pinIndex) const { return 1 + pinIndex % nets(); }
    [[nodiscard]] quint32 subnetOf(quint32 pinIndex) const { return pinIndex / nets(); }
    [[nodiscard]] QByteArray netName(quint32 net) const;

private:
    [[nodiscard]] Random randomOf(quint32 component) const;

    Board m_board;
    quint64 m_seed;
    quint32 m_components;
};

/// Where a pin stands relative to the middle of its package, unturned.
[[nodiscard]] Point pinOffset(const Board& board, const Package& package, quint32 number);

} // namespace KOZAV::Samples
