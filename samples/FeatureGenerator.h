#pragma once

#include "samples/Board.h"
#include "samples/LayerStack.h"
#include "samples/Random.h"
#include "samples/RecordBuffer.h"
#include "samples/SymbolTable.h"

namespace KOZAV::Samples {

/// An endless run of features as a layer of its kind has them, all inside the board's margin: pads, arcs,
/// surfaces with and without holes, and lines that follow one another as a trace does.
class FeatureGenerator final
{
public:
    FeatureGenerator(const Board& board, LayerKind kind, SymbolTable symbols, Random random);

    [[nodiscard]] const SymbolTable& symbols() const { return m_symbols; }

    /// Appends exactly one feature.
    void append(RecordBuffer& out);

private:
    void appendPad(RecordBuffer& out);
    void appendArc(RecordBuffer& out);
    void appendSurface(RecordBuffer& out);
    void appendSegment(RecordBuffer& out);
    void appendHoles(RecordBuffer& out, Point corner, qint64 width, qint64 height);
    void startTrace();
    [[nodiscard]] Point nextCorner();

    Board m_board;
    LayerKind m_kind;
    SymbolTable m_symbols;
    Random m_random;
    Point m_traceEnd;
    quint32 m_traceSymbol = 0;
    int m_segmentsLeft = 0;
};

} // namespace KOZAV::Samples
