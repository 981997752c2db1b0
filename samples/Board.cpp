#include "samples/Board.h"

#include <algorithm>
#include <array>

namespace KOZAV::Samples {

namespace {

struct Corner
{
    Point from;
    Point to;
    Point centre;
};

/// The four arcs in the clockwise order in which the outline meets them, starting at the upper left.
std::array<Corner, 4> corners(const Board& board)
{
    const qint64 r = board.cornerRadius;
    const qint64 w = board.width;
    const qint64 h = board.height;
    return {{{{0, h - r}, {r, h}, {r, h - r}},
             {{w - r, h}, {w, h - r}, {w - r, h - r}},
             {{w, r}, {w - r, 0}, {w - r, r}},
             {{r, 0}, {0, r}, {r, r}}}};
}

void appendPoint(RecordBuffer& out, Point point)
{
    out.letter(' ').length(point.x).letter(' ').length(point.y);
}

} // namespace

Board Board::panel(int columns, int rows) const
{
    Board larger = *this;
    larger.width = width * columns + fromMils(600);
    larger.height = height * rows + fromMils(600);
    return larger;
}

Point Board::place(Random& random, qint64 grid) const
{
    const auto along = [&](qint64 extent) {
        const qint64 first = (margin + grid - 1) / grid;
        const qint64 last = (extent - margin) / grid;
        return (first + random.below(static_cast<quint32>(last - first + 1))) * grid;
    };
    const qint64 x = along(width);
    return {x, along(height)};
}

qint64 Board::inside(qint64 value, qint64 extent) const
{
    return std::clamp(value, margin, extent - margin);
}

Board makeBoard(Random& random)
{
    Board board;
    board.units = random.percent(50) ? Units::Inch : Units::Millimetre;
    const bool inch = board.units == Units::Inch;
    board.width = board.fromMils(qint64{50} * random.between(60, 320));
    board.height = board.fromMils(qint64{50} * random.between(50, 240));
    board.cornerRadius = inch ? 100000 : 2500000;
    board.margin = inch ? 150000 : 4000000;
    board.padGrid = inch ? 5000 : 50000;
    board.traceGrid = inch ? 500 : 10000;
    return board;
}

void appendOutlineContour(RecordBuffer& out, const Board& board)
{
    const auto arcs = corners(board);
    out.text("OB");
    appendPoint(out, arcs.back().to);
    out.text(" I\n");
    for (const Corner& corner : arcs) {
        out.text("OS");
        appendPoint(out, corner.from);
        out.text("\nOC");
        appendPoint(out, corner.to);
        appendPoint(out, corner.centre);
        out.text(" Y\n");
    }
    out.text("OE\n");
}

void appendOutlineFeatures(RecordBuffer& out, const Board& board)
{
    const auto arcs = corners(board);
    Point from = arcs.back().to;
    for (const Corner& corner : arcs) {
        out.letter('L');
        appendPoint(out, from);
        appendPoint(out, corner.from);
        out.text(" 0 P 0\nA");
        appendPoint(out, corner.from);
        appendPoint(out, corner.to);
        appendPoint(out, corner.centre);
        out.text(" 0 P 0 Y\n");
        from = corner.to;
    }
}

} // namespace KOZAV::Samples
