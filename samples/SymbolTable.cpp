#include "samples/SymbolTable.h"

namespace KOZAV::Samples {

namespace {

/// Symbols are named by their size: in mils on an inch board, in microns on a metric one.
QByteArray symbolSize(Units units, quint64 mils)
{
    if (units == Units::Inch)
        return QByteArray::number(mils);
    const quint64 tenthsOfMicron = mils * 254;
    const QByteArray fraction =
        tenthsOfMicron % 10 == 0 ? QByteArray() : "." + QByteArray::number(tenthsOfMicron % 10);
    return QByteArray::number(tenthsOfMicron / 10) + fraction;
}

class TableBuilder
{
public:
    explicit TableBuilder(Units units)
        : m_units(units)
    {
    }

    void round(std::initializer_list<quint64> diameters)
    {
        for (const quint64 mils : diameters)
            m_table.names.push_back("r" + symbolSize(m_units, mils));
        m_table.roundCount = static_cast<quint32>(m_table.names.size());
    }
    void rectangle(quint64 width, quint64 height) { pad("rect", width, height); }
    void oval(quint64 width, quint64 height) { pad("oval", width, height); }
    void user(const QByteArray& name) { m_table.names.push_back(name); }
    [[nodiscard]] SymbolTable table() const { return m_table; }

private:
    void pad(const QByteArray& shape, quint64 width, quint64 height)
    {
        m_table.names.push_back(shape + symbolSize(m_units, width) + "x" + symbolSize(m_units, height));
    }

    Units m_units;
    SymbolTable m_table;
};

void addPads(TableBuilder& builder, quint64 growth)
{
    builder.rectangle(20 + growth, 24 + growth);
    builder.rectangle(30 + growth, 35 + growth);
    builder.rectangle(12 + growth, 60 + growth);
    builder.rectangle(50 + growth, 50 + growth);
    builder.oval(60 + growth, 30 + growth);
    builder.oval(70 + growth, 110 + growth);
}

} // namespace

SymbolTable symbolTable(LayerKind kind, Units units)
{
    constexpr quint64 kMaskClearance = 4;
    TableBuilder builder(units);
    switch (kind) {
    case LayerKind::Signal:
        builder.round({5, 6, 8, 10, 12, 20, 24, 40, 60});
        addPads(builder, 0);
        builder.user("fid_40");
        break;
    case LayerKind::Plane:
        builder.round({8, 10, 15, 24, 40, 60});
        builder.user("therm_60");
        break;
    case LayerKind::Mask:
        builder.round({24, 28, 44, 64});
        addPads(builder, kMaskClearance);
        break;
    case LayerKind::Paste:
        builder.round({20, 40});
        addPads(builder, 0);
        break;
    case LayerKind::Silk:
        builder.round({5, 6, 8, 10});
        builder.user("logo_1");
        break;
    case LayerKind::Drill:
        builder.round({8, 10, 12, 15, 20, 28, 35, 40, 42, 51, 63, 125});
        break;
    case LayerKind::Rout:
        builder.round({94});
        break;
    case LayerKind::Component:
    case LayerKind::Outline:
        builder.round({10});
        break;
    }
    return builder.table();
}

std::vector<QByteArray> userSymbols()
{
    return {"fid_40", "logo_1", "therm_60"};
}

QByteArray userSymbolFeatures(const QByteArray& symbol, const Board& board)
{
    const qint64 reach = board.fromMils(symbol == "fid_40" ? 20 : 30);
    RecordBuffer out;
    out.text("UNITS=")
        .text(board.unitsName())
        .text("\n#\n#Num Features\n#\nF 3\n\n#\n#Feature symbol names\n#\n$0 r");
    out.text(symbolSize(board.units, 10)).text("\n\n#\n#Layer features\n#\n");
    out.text("L ").length(-reach).text(" 0 ").length(reach).text(" 0 0 P 0\n");
    out.text("L 0 ").length(-reach).text(" 0 ").length(reach).text(" 0 P 0\n");
    out.text("A ").length(reach).text(" 0 ").length(reach).text(" 0 0 0 0 P 0 N\n");
    return out.bytes();
}

} // namespace KOZAV::Samples
