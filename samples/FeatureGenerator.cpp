#include "samples/FeatureGenerator.h"

#include <algorithm>
#include <array>
#include <utility>

namespace KOZAV::Samples {

namespace {

/// Shares of the kinds of features in percent; traces are the rest.
struct Mix
{
    int pads;
    int arcs;
    int surfaces;
};

Mix mixOf(LayerKind kind)
{
    switch (kind) {
    case LayerKind::Plane:
        return {75, 1, 12};
    case LayerKind::Silk:
        return {5, 15, 2};
    case LayerKind::Mask:
        return {94, 0, 3};
    case LayerKind::Paste:
        return {96, 0, 4};
    case LayerKind::Drill:
        return {100, 0, 0};
    default:
        return {30, 5, 3};
    }
}

void appendPoint(RecordBuffer& out, Point point)
{
    out.letter(' ').length(point.x).letter(' ').length(point.y);
}

void appendVertex(RecordBuffer& out, Point point)
{
    out.text("OS");
    appendPoint(out, point);
    out.letter('\n');
}

} // namespace

FeatureGenerator::FeatureGenerator(const Board& board, LayerKind kind, SymbolTable symbols, Random random)
    : m_board(board)
    , m_kind(kind)
    , m_symbols(std::move(symbols))
    , m_random(random)
{
}

void FeatureGenerator::append(RecordBuffer& out)
{
    if (m_segmentsLeft > 0)
        return appendSegment(out);
    const Mix mix = mixOf(m_kind);
    const int draw = m_random.between(0, 99);
    if (draw < mix.pads)
        return appendPad(out);
    if (draw < mix.pads + mix.arcs)
        return appendArc(out);
    if (draw < mix.pads + mix.arcs + mix.surfaces)
        return appendSurface(out);
    startTrace();
    appendSegment(out);
}

void FeatureGenerator::appendPad(RecordBuffer& out)
{
    out.letter('P');
    appendPoint(out, m_board.place(m_random, m_board.padGrid));
    const auto symbols = static_cast<quint32>(m_symbols.names.size());
    out.letter(' ').number(m_random.below(symbols)).text(" P 0 ").number(m_random.below(4));
    out.text(";0=").number(m_random.below(8)).text(",1=").number(m_random.below(3)).letter('\n');
}

void FeatureGenerator::appendArc(RecordBuffer& out)
{
    static constexpr std::array<Point, 5> kQuarters{{{1, 0}, {0, 1}, {-1, 0}, {0, -1}, {1, 0}}};
    const qint64 radius = m_board.fromMils(m_random.between(5, 100));
    Point centre = m_board.place(m_random, m_board.padGrid);
    const qint64 keep = m_board.margin + radius;
    centre.x = std::clamp(centre.x, keep, m_board.width - keep);
    centre.y = std::clamp(centre.y, keep, m_board.height - keep);
    const quint32 quarter = m_random.below(4);
    const auto end = [&](quint32 number) {
        return Point{centre.x + radius * kQuarters.at(number).x, centre.y + radius * kQuarters.at(number).y};
    };
    out.letter('A');
    appendPoint(out, end(quarter));
    appendPoint(out, end(quarter + 1));
    appendPoint(out, centre);
    out.letter(' ').number(m_random.below(m_symbols.roundCount)).text(" P 0 N\n");
}

void FeatureGenerator::appendSurface(RecordBuffer& out)
{
    const int steps = m_kind == LayerKind::Plane ? m_random.between(8, 40) : m_random.between(2, 10);
    const qint64 width = m_board.width / m_random.between(6, 40);
    const qint64 height = m_board.height / m_random.between(6, 40);
    Point corner = m_board.place(m_random, m_board.padGrid);
    corner.x = std::min(corner.x, m_board.width - m_board.margin - width);
    corner.y = std::min(corner.y, m_board.height - m_board.margin - height);
    // A jagged band: the upper edge stays in the upper quarter and the lower edge in the lower one, so the
    // contour never crosses itself. Islands run clockwise.
    const auto jag = [&] { return height / 4 * m_random.below(9) / 8; };
    const Point start{corner.x, corner.y + jag()};
    out.text("S P 0;0=").number(m_random.below(8)).text("\nOB");
    appendPoint(out, start);
    out.text(" I\n");
    for (int i = 0; i <= steps; ++i)
        appendVertex(out, {corner.x + width * i / steps, corner.y + height - jag()});
    for (int i = steps; i > 0; --i)
        appendVertex(out, {corner.x + width * i / steps, corner.y + jag()});
    appendVertex(out, start);
    out.text("OE\n");
    if (m_kind == LayerKind::Plane)
        appendHoles(out, corner, width, height);
    out.text("SE\n");
}

void FeatureGenerator::appendHoles(RecordBuffer& out, Point corner, qint64 width, qint64 height)
{
    const int count = m_random.between(0, 3);
    for (int i = 0; i < count; ++i) {
        const Point low{corner.x + width * (3 * i + 1) / (qint64{3} * count), corner.y + height * 3 / 8};
        const Point high{corner.x + width * (3 * i + 2) / (qint64{3} * count), corner.y + height * 5 / 8};
        out.text("OB");
        appendPoint(out, low);
        out.text(" H\n");
        appendVertex(out, {high.x, low.y});
        appendVertex(out, high);
        appendVertex(out, {low.x, high.y});
        appendVertex(out, low);
        out.text("OE\n");
    }
}

void FeatureGenerator::startTrace()
{
    m_traceEnd = m_board.place(m_random, m_board.padGrid);
    m_traceSymbol = m_random.below(m_symbols.roundCount);
    m_segmentsLeft = m_random.between(2, 9);
}

Point FeatureGenerator::nextCorner()
{
    static constexpr std::array<Point, 8> kDirections{
        {{1, 0}, {1, 1}, {0, 1}, {-1, 1}, {-1, 0}, {-1, -1}, {0, -1}, {1, -1}}};
    const Point direction = kDirections.at(m_random.below(8));
    const qint64 reach = m_board.traceGrid * m_random.between(1, 600);
    const auto along = [&](qint64 from, qint64 sign, qint64 extent) {
        const qint64 to = from + sign * reach;
        return m_board.inside(to, extent) == to ? to : m_board.inside(from - sign * reach, extent);
    };
    return {along(m_traceEnd.x, direction.x, m_board.width),
            along(m_traceEnd.y, direction.y, m_board.height)};
}

void FeatureGenerator::appendSegment(RecordBuffer& out)
{
    const Point next = nextCorner();
    out.letter('L');
    appendPoint(out, m_traceEnd);
    appendPoint(out, next);
    out.letter(' ').number(m_traceSymbol).text(" P 0\n");
    m_traceEnd = next;
    --m_segmentsLeft;
}

} // namespace KOZAV::Samples
