#include "samples/FeatureFile.h"

#include <algorithm>

namespace KOZAV::Samples {

namespace {

constexpr quint64 kPiece = 1U << 20U;

QByteArray attributeNames(LayerKind kind)
{
    return kind == LayerKind::Drill ? "@0 .geometry\n@1 .drill\n" : "@0 .geometry\n@1 .pad_usage\n";
}

QByteArray attributeTexts()
{
    return "&0 VIA_10\n&1 VIA_12\n&2 SMD_0402\n&3 SMD_0603\n&4 SMD_QFP\n&5 TH_35\n&6 TH_42\n&7 FIDUCIAL\n";
}

void writePiece(OutputFile& file, RecordBuffer& piece)
{
    file.write(piece.data(), static_cast<qint64>(piece.size()));
    piece.clear();
}

void writeFeatures(OutputFile& file, RecordBuffer& piece, FeatureGenerator& generator, quint64 count)
{
    for (quint64 i = 0; i < count; ++i) {
        generator.append(piece);
        if (piece.size() >= kPiece)
            writePiece(file, piece);
    }
    writePiece(file, piece);
}

} // namespace

QByteArray featureFileHeader(const Board& board, LayerKind kind, const SymbolTable& symbols, quint64 count)
{
    QByteArray text = "UNITS=" + board.unitsName() + "\n#\n#Num Features\n#\nF " + QByteArray::number(count) +
                      "\n\n#\n#Feature symbol names\n#\n";
    int number = 0;
    for (const QByteArray& symbol : symbols.names)
        text += "$" + QByteArray::number(number++) + " " + symbol + "\n";
    text += "\n#\n#Feature attribute names\n#\n" + attributeNames(kind);
    text += "\n#\n#Feature attribute text strings\n#\n" + attributeTexts();
    return text + "\n#\n#Layer features\n#\n";
}

quint64 writeFeatureFile(JobTree& tree, const QString& name, const Board& board, LayerKind kind,
                         FeatureGenerator generator, quint64 bytes)
{
    const auto headerBytes =
        static_cast<quint64>(featureFileHeader(board, kind, generator.symbols(), 0).size());
    const quint64 wanted = bytes > headerBytes ? bytes - headerBytes : 0;
    // The header states the number of features. It follows from the size of the first ones, which are then
    // the first piece of the file.
    RecordBuffer piece;
    quint64 begun = 0;
    do {
        generator.append(piece);
        ++begun;
    } while (piece.size() < std::min(wanted, kPiece));
    const quint64 count = std::max(begun, begun * wanted / piece.size());

    OutputFile file = tree.create(name);
    file.write(featureFileHeader(board, kind, generator.symbols(), count));
    writeFeatures(file, piece, generator, count - begun);
    tree.finishWithSum(file, name);
    return count;
}

} // namespace KOZAV::Samples
