#include "samples/DesignData.h"

namespace KOZAV::Samples {

namespace {

constexpr quint64 kPiece = 1U << 20U;

void writePiece(OutputFile& file, RecordBuffer& piece)
{
    file.write(piece.data(), static_cast<qint64>(piece.size()));
    piece.clear();
}

void writeFullPiece(OutputFile& file, RecordBuffer& piece)
{
    if (piece.size() >= kPiece)
        writePiece(file, piece);
}

void appendPoint(RecordBuffer& out, Point point)
{
    out.letter(' ').length(point.x).letter(' ').length(point.y);
}

void appendRectangle(RecordBuffer& out, Point middle, qint64 halfWidth, qint64 halfHeight)
{
    out.text("RC");
    appendPoint(out, {middle.x - halfWidth, middle.y - halfHeight});
    appendPoint(out, {2 * halfWidth, 2 * halfHeight});
    out.letter('\n');
}

void appendComponent(RecordBuffer& out, const Placement& placement, quint32 component)
{
    const quint32 number = placement.numberOnSide(component);
    const Package& package = Placement::packageNumber(placement.packageOf(component));
    const char* orientation = placement.isTurned(component) ? " 180" : " 0";
    const char mirror = placement.isTop(component) ? 'N' : 'M';
    const char letter = package.pins > 2 ? 'U' : (package.name[0] == 'c' ? 'C' : 'R');

    out.text("# CMP ").number(number).text("\nCMP ").number(placement.packageOf(component));
    appendPoint(out, placement.centre(component));
    out.text(orientation).letter(' ').letter(mirror).letter(' ').letter(letter).number(component + 1);
    out.letter(' ').text(package.name).text("_std ;0=1,1=0.05\n");
    for (quint32 pin = 0; pin < package.pins; ++pin) {
        const quint32 index = placement.firstPin(component) + pin;
        out.text("TOP ").number(pin);
        appendPoint(out, placement.pinPlace({component, pin}));
        out.text(orientation).letter(' ').letter(mirror).letter(' ').number(placement.netOf(index));
        out.letter(' ').number(placement.subnetOf(index)).letter(' ').number(pin + 1).letter('\n');
    }
    out.text("#\n");
}

void appendFeatureReference(RecordBuffer& out, const std::vector<NetLayer>& layers, std::size_t layer,
                            Random& random)
{
    const quint64 feature = random.next() % layers.at(layer).features;
    out.text(layers.at(layer).drilled ? "FID H " : "FID C ")
        .number(layer)
        .letter(' ')
        .number(feature)
        .letter('\n');
}

std::size_t anyLayer(const std::vector<NetLayer>& layers, bool drilled, Random& random)
{
    const auto count = static_cast<quint32>(layers.size());
    std::size_t layer = random.below(count);
    while (layers.at(layer).drilled != drilled)
        layer = (layer + 1) % count;
    return layer;
}

void appendNet(RecordBuffer& out, const Placement& placement, quint32 net,
               const std::vector<NetLayer>& layers, Random& random)
{
    out.text("# NET ").number(net).text("\nNET ").text(placement.netName(net)).letter('\n');
    if (net == 0)
        return;
    for (quint32 index = net - 1; index < placement.pins(); index += placement.nets()) {
        const Placement::Pin pin = placement.pin(index);
        out.text(placement.isTop(pin.component) ? "SNT TOP T " : "SNT TOP B ");
        out.number(placement.numberOnSide(pin.component)).letter(' ').number(pin.number).letter('\n');
        appendFeatureReference(out, layers, anyLayer(layers, false, random), random);
    }
    out.text("SNT TRC\n");
    appendFeatureReference(out, layers, anyLayer(layers, false, random), random);
    out.text("SNT VIA\n");
    appendFeatureReference(out, layers, anyLayer(layers, true, random), random);
}

void appendPackage(RecordBuffer& out, const Board& board, quint32 number)
{
    const Package& package = Placement::packageNumber(number);
    const Point pinOne = pinOffset(board, package, 0);
    const qint64 halfWidth = board.fromMils(10) - pinOne.x;
    const qint64 halfHeight = board.fromMils(12) - pinOne.y;
    out.text("# PKG ")
        .number(number)
        .text("\nPKG ")
        .text(package.name)
        .letter(' ')
        .length(board.fromMils(package.pitch));
    appendPoint(out, {-halfWidth, -halfHeight});
    appendPoint(out, {halfWidth, halfHeight});
    out.letter('\n');
    appendRectangle(out, {}, halfWidth, halfHeight);
    for (quint32 pin = 0; pin < package.pins; ++pin) {
        const Point place = pinOffset(board, package, pin);
        out.text("PIN ").number(pin + 1).text(" S");
        appendPoint(out, place);
        out.text(" 0 E S\n");
        appendRectangle(out, place, board.fromMils(10), board.fromMils(12));
    }
    out.text("#\n");
}

} // namespace

void writeComponents(JobTree& tree, const QString& name, const Board& board, const Placement& placement,
                     bool top)
{
    OutputFile file = tree.create(name);
    RecordBuffer piece;
    piece.text("UNITS=").text(board.unitsName());
    piece.text("\n#\n#Component attribute names\n#\n@0 .comp_mount_type\n@1 .comp_height\n\n");
    const quint32 first = top ? 0 : placement.topComponents();
    const quint32 end = top ? placement.topComponents() : placement.components();
    for (quint32 component = first; component < end; ++component) {
        appendComponent(piece, placement, component);
        writeFullPiece(file, piece);
    }
    writePiece(file, piece);
    tree.finishWithSum(file, name);
}

void writeDesignData(JobTree& tree, const QString& name, const Board& board, const Placement& placement,
                     const std::vector<NetLayer>& layers, Random random)
{
    OutputFile file = tree.create(name);
    RecordBuffer piece;
    piece.text("#\nHDR ZAV samples\nUNITS=").text(board.unitsName()).text("\nLYR");
    for (const NetLayer& layer : layers)
        piece.letter(' ').text(layer.name);
    piece.text("\n#\n");
    for (quint32 net = 0; net <= placement.nets(); ++net) {
        appendNet(piece, placement, net, layers, random);
        writeFullPiece(file, piece);
    }
    for (quint32 package = 0; package < Placement::kPackageCount; ++package)
        appendPackage(piece, board, package);
    writePiece(file, piece);
    tree.finishWithSum(file, name);
}

void writeNetlist(JobTree& tree, const QString& name, const Board& board, const Placement& placement)
{
    OutputFile file = tree.create(name);
    RecordBuffer piece;
    piece.text("H optimize n staggered n\nUNITS=").text(board.unitsName()).letter('\n');
    for (quint32 net = 0; net <= placement.nets(); ++net) {
        piece.letter('$').number(net).letter(' ').text(placement.netName(net)).letter('\n');
        writeFullPiece(file, piece);
    }
    piece.text("#\n#Netlist points\n#\n");
    for (quint32 index = 0; index < placement.pins(); ++index) {
        const Placement::Pin pin = placement.pin(index);
        piece.number(placement.netOf(index)).text(" 0");
        appendPoint(piece, placement.pinPlace(pin));
        piece.text(placement.isTop(pin.component) ? " T" : " B");
        appendPoint(piece, {board.fromMils(20), board.fromMils(24)});
        piece.text(" e e staggered 0 0 0\n");
        writeFullPiece(file, piece);
    }
    writePiece(file, piece);
    tree.finishWithSum(file, name);
}

} // namespace KOZAV::Samples
