#include "samples/Features.h"

#include <algorithm>
#include <array>
#include <charconv>

// A features file is text, one record a line: its units, the number of its features, the tables of symbols
// and attributes that features refer to by number, then the features. P is a pad, L a line, S a surface with
// the corners of its island, clockwise, as OS records. The format is that of "features" in the ODB++ format,
// release 8.
//
// Real jobs pack to about a fifth, since designs repeat themselves: parts have their pads in rows, a line
// begins where the last one ended, islands are alike. So features come in runs that differ in a number or two
// from record to record; only where a run begins is random. This is what an archive's size and the time to
// pack a job depend on.

namespace KOZAV::Samples {

namespace {

constexpr qint64 kMil = 1000;
constexpr qint64 kMargin = 150 * kMil;

/// Symbols are named by their shape and size in mils. The first ones are round: only these draw lines.
constexpr std::array<const char*, 14> kSymbols{{"r5", "r6", "r8", "r10", "r12", "r20", "r24", "r40",
                                                "rect20x24", "rect30x35", "rect12x60", "oval60x30",
                                                "oval70x110", "s60"}};
constexpr quint32 kRoundSymbols = 8;
constexpr quint32 kTexts = 24;

/// How a kind of layer differs from the others.
struct Mix
{
    quint32 weight;
    /// How many runs of a hundred are pads and surfaces, and how long the lines of the others are at most.
    quint32 pads;
    quint32 surfaces;
    qint64 lineLength;
};

/// In the order of LayerKind. In real jobs copper and silk screen take nearly all of the bytes.
constexpr std::array<Mix, 9> kMixes{{
    {0, 0, 0, 0},            // Component
    {1, 98, 2, 0},           // Paste
    {7, 2, 0, 60 * kMil},    // Silk
    {2, 98, 2, 0},           // Mask
    {10, 30, 2, 300 * kMil}, // Signal
    {6, 45, 50, 300 * kMil}, // Plane
    {1, 100, 0, 0},          // Drill
    {1, 0, 0, 300 * kMil},   // Rout
    {1, 0, 0, 300 * kMil},   // Outline
}};

const Mix& mixOf(LayerKind kind)
{
    return kMixes.at(static_cast<std::size_t>(kind));
}

struct Point
{
    qint64 x = 0;
    qint64 y = 0;
};

Point operator+(Point a, Point b)
{
    return {a.x + b.x, a.y + b.y};
}

Point operator*(Point a, qint64 factor)
{
    return {a.x * factor, a.y * factor};
}

/// Writes millionths of an inch as inches, and returns where they end.
char* putInches(char* begin, qint64 millionths)
{
    constexpr qint64 kMillion = 1000000;
    char* const point = std::to_chars(begin, begin + 20, millionths / kMillion).ptr;
    // A one in front keeps the zeros at the fraction's beginning; the point then takes its place.
    char* end = std::to_chars(point, point + 8, kMillion + millionths % kMillion).ptr;
    *point = '.';
    while (end[-1] == '0')
        --end;
    return end - 1 == point ? point : end;
}

/// The coordinates as records have them.
QByteArray at(Point point)
{
    std::array<char, 64> text;
    text.front() = ' ';
    char* const between = putInches(text.data() + 1, point.x);
    *between = ' ';
    const char* const end = putInches(between + 1, point.y);
    return {text.data(), static_cast<int>(end - text.data())};
}

/// An endless sequence of features. No expression may draw two random numbers where their order is the
/// compiler's choice, as it is for the operands of + and *.
class FeatureGenerator final
{
public:
    FeatureGenerator(const Board& board, LayerKind kind, Random random)
        : m_board(board)
        , m_mix(mixOf(kind))
        , m_random(random)
    {
    }

    /// Exactly one feature.
    QByteArray next();

private:
    void startRun(bool pads);
    [[nodiscard]] Point nextCorner();
    [[nodiscard]] QByteArray surface();
    [[nodiscard]] Point placeFor(Point extent);

    Board m_board;
    Mix m_mix;
    Random m_random;
    int m_left = 0;       ///< features of the run that are still to come
    bool m_pads = false;  ///< whether they are pads; lines otherwise
    Point m_place;        ///< of the next pad, or of the next line's beginning
    Point m_step;         ///< from pad to pad
    QByteArray m_drawing; ///< what stands behind the coordinates, the same in all of a run
};

QByteArray FeatureGenerator::next()
{
    if (m_left == 0) {
        const quint32 draw = m_random.below(100);
        if (draw < m_mix.surfaces)
            return surface();
        startRun(draw < m_mix.surfaces + m_mix.pads);
    }
    --m_left;
    const Point from = m_place;
    m_place = m_pads ? from + m_step : nextCorner();
    return m_pads ? 'P' + at(from) + m_drawing : 'L' + at(from) + at(m_place) + m_drawing;
}

void FeatureGenerator::startRun(bool pads)
{
    m_pads = pads;
    m_left = m_random.between(2, 12);
    const qint64 pitch = pads ? 5 * kMil * m_random.between(4, 20) : 0;
    m_step = m_random.below(2) == 0 ? Point{pitch, 0} : Point{0, pitch};
    m_place = placeFor(m_step * m_left);
    const auto number = [&](quint32 bound) { return QByteArray::number(m_random.below(bound)); };
    m_drawing = ' ' + number(pads ? static_cast<quint32>(kSymbols.size()) : kRoundSymbols) + " P 0";
    if (pads)
        m_drawing += ' ' + number(4);
    m_drawing += ";0=" + number(8);
    m_drawing += ",1=" + number(kTexts) + '\n';
}

Point FeatureGenerator::nextCorner()
{
    static constexpr std::array<Point, 8> kDirections{
        {{1, 0}, {1, 1}, {0, 1}, {-1, 1}, {-1, 0}, {-1, -1}, {0, -1}, {1, -1}}};
    const Point direction = kDirections.at(m_random.below(8));
    const Point way = direction * (m_mix.lineLength / 60 * m_random.between(1, 60));
    // The longest line takes less than half of a board: where one way leads off it, the other does not.
    const auto along = [](qint64 from, qint64 step, qint64 side) {
        const qint64 to = from + step;
        return to >= kMargin && to <= side - kMargin ? to : from - step;
    };
    return {along(m_place.x, way.x, m_board.width), along(m_place.y, way.y, m_board.height)};
}

/// An island of eight corners.
QByteArray FeatureGenerator::surface()
{
    const qint64 outer = 2 * kMil * m_random.between(6, 60);
    const qint64 inner = outer * 5 / 12;
    const Point middle = placeFor(Point{2, 2} * outer) + Point{outer, outer};
    QByteArray text = "S P 0\nOB" + at(middle + Point{-outer, -inner}) + " I\n";
    for (const Point corner :
         {Point{-outer, inner}, Point{-inner, outer}, Point{inner, outer}, Point{outer, inner},
          Point{outer, -inner}, Point{inner, -outer}, Point{-inner, -outer}, Point{-outer, -inner}})
        text += "OS" + at(middle + corner) + '\n';
    return text + "OE\nSE\n";
}

/// Where something of that extent has its lower left corner, so that it keeps clear of the board's edges.
Point FeatureGenerator::placeFor(Point extent)
{
    constexpr qint64 kGrid = 100;
    const auto along = [&](qint64 side, qint64 length) {
        const qint64 room = side - length - 2 * kMargin;
        return kMargin + kGrid * m_random.below(static_cast<quint32>(room / kGrid));
    };
    const qint64 x = along(m_board.width, extent.x);
    return {x, along(m_board.height, extent.y)};
}

QByteArray featuresHeader(quint64 count)
{
    QByteArray text = "UNITS=INCH\n#\n#Num Features\n#\nF " + QByteArray::number(count) +
                      "\n\n#\n#Feature symbol names\n#\n";
    for (std::size_t number = 0; number < kSymbols.size(); ++number)
        text += '$' + QByteArray::number(static_cast<quint64>(number)) + ' ' + kSymbols.at(number) + '\n';
    text += "\n#\n#Feature attribute names\n#\n@0 .geometry\n@1 .string\n"
            "\n#\n#Feature attribute text strings\n#\n";
    for (quint32 number = 0; number < kTexts; ++number)
        text += '&' + QByteArray::number(number) + " NET" + QByteArray::number(100 + number) + '\n';
    return text + "\n#\n#Layer features\n#\n";
}

} // namespace

quint32 featuresWeight(LayerKind kind)
{
    return mixOf(kind).weight;
}

Board makeBoard(Random& random)
{
    const qint64 width = 50 * kMil * random.between(60, 320);
    return {width, 50 * kMil * random.between(50, 240)};
}

QByteArray inches(qint64 millionths)
{
    std::array<char, 32> text;
    return {text.data(), static_cast<int>(putInches(text.data(), millionths) - text.data())};
}

QByteArray profileText(const Board& board)
{
    return "UNITS=INCH\n#\n#Num Features\n#\nF 1\n\n#\n#Layer features\n#\nS P 0\nOB 0 0 I\nOS" +
           at({0, board.height}) + "\nOS" + at({board.width, board.height}) + "\nOS" + at({board.width, 0}) +
           "\nOS 0 0\nOE\nSE\n";
}

void writeFeatures(OutputFile& file, const Board& board, LayerKind kind, Random random, quint64 bytes)
{
    if (featuresWeight(kind) == 0)
        return;
    constexpr quint64 kPiece = 1U << 20U;
    const auto headerBytes = static_cast<quint64>(featuresHeader(0).size());
    const quint64 wanted = bytes > headerBytes ? bytes - headerBytes : 0;
    FeatureGenerator generator(board, kind, random);
    // The header states the number of features. It follows from the size of the first ones, which are then
    // the first piece of the file.
    QByteArray piece;
    quint64 begun = 0;
    do {
        piece += generator.next();
        ++begun;
    } while (static_cast<quint64>(piece.size()) < std::min(wanted, kPiece));
    const quint64 count = std::max(begun, begun * wanted / static_cast<quint64>(piece.size()));

    file.write(featuresHeader(count));
    for (quint64 written = begun; written < count; ++written) {
        piece += generator.next();
        if (static_cast<quint64>(piece.size()) >= kPiece) {
            file.write(piece);
            piece.resize(0);
        }
    }
    file.write(piece);
}

} // namespace KOZAV::Samples
