#pragma once

#include "samples/Random.h"
#include "samples/RecordBuffer.h"

namespace KOZAV::Samples {

enum class Units { Inch, Millimetre };

/// A place in millionths of the board's unit.
struct Point
{
    qint64 x = 0;
    qint64 y = 0;
};

/// The outline of a step: a rectangle from (0, 0) with rounded corners. All lengths are millionths of the
/// unit.
struct Board
{
    Units units = Units::Inch;
    qint64 width = 0;
    qint64 height = 0;
    qint64 cornerRadius = 0;
    /// Features keep at least this far from the rectangle's sides, which also keeps them clear of the
    /// corners.
    qint64 margin = 0;
    qint64 padGrid = 0;
    qint64 traceGrid = 0;

    /// `mils` thousandths of an inch in millionths of the board's unit.
    [[nodiscard]] qint64 fromMils(qint64 mils) const
    {
        return units == Units::Inch ? mils * 1000 : mils * 25400;
    }
    [[nodiscard]] QByteArray unitsName() const { return units == Units::Inch ? "INCH" : "MM"; }
    /// The board that holds `columns` by `rows` of this one with rails around them.
    [[nodiscard]] Board panel(int columns, int rows) const;
    /// A place inside the margin, on a multiple of `grid`.
    [[nodiscard]] Point place(Random& random, qint64 grid) const;
    /// Moves a length between the two margins of a side of the given extent.
    [[nodiscard]] qint64 inside(qint64 value, qint64 extent) const;
};

/// A board of believable size.
[[nodiscard]] Board makeBoard(Random& random);

/// The outline as one island contour: the lines between "OB" and "OE" of a surface.
void appendOutlineContour(RecordBuffer& out, const Board& board);

/// The outline as lines and arcs drawn with symbol 0: eight features.
void appendOutlineFeatures(RecordBuffer& out, const Board& board);

} // namespace KOZAV::Samples
