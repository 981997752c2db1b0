#include "samples/StepWriter.h"

#include "samples/FeatureFile.h"
#include "samples/JobTexts.h"

#include <algorithm>

namespace KOZAV::Samples {

namespace {

/// Parts grow with the step's bytes up to the densest boards there are.
quint32 componentCount(quint64 stepBytes)
{
    constexpr quint64 kBytesPerComponent = 12000;
    return static_cast<quint32>(std::clamp<quint64>(stepBytes / kBytesPerComponent, 6, 20000));
}

bool hasFixedSize(const Layer& layer)
{
    return layer.weight() == 0;
}

bool isReferredToByNets(const Layer& layer)
{
    return layer.isCopper() || layer.kind == LayerKind::Drill;
}

bool isLeft(const Layer& layer)
{
    return !hasFixedSize(layer) && !isReferredToByNets(layer);
}

} // namespace

StepWriter::StepWriter(JobTree& tree, const JobPlan& plan, const StepPlan& step, quint64 endBytes)
    : m_tree(tree)
    , m_plan(plan)
    , m_step(step)
    , m_folder(QStringLiteral("steps/") + QString::fromLatin1(step.name))
    , m_seed(Random::forPurpose(plan.seed, "steps/" + step.name).next())
    , m_endBytes(endBytes)
    , m_placement(step.board, m_seed, componentCount(endBytes - std::min(endBytes, tree.bytes())))
    , m_reserved(m_placement.pins() * kDesignBytesPerPin)
{
    for (const Layer& layer : plan.layers)
        m_weightLeft += layer.weight();
}

void StepWriter::write()
{
    writeHeader();
    writeLayers(hasFixedSize);
    writeLayers(isReferredToByNets);
    writeNets();
    // What the nets took more or less than was reserved for them, these layers make good.
    writeLayers(isLeft);
}

void StepWriter::writeHeader()
{
    m_tree.makeFolder(m_folder);
    m_tree.writeWithSum(m_folder + QStringLiteral("/stephdr"), stepHeader(m_step));
    m_tree.writeWithSum(m_folder + QStringLiteral("/profile"), stepProfile(m_step));
    m_tree.writeWithSum(m_folder + QStringLiteral("/attrlist"), stepAttributes(m_step));
}

void StepWriter::writeLayers(bool (*belongs)(const Layer&))
{
    for (const Layer& layer : m_plan.layers)
        if (belongs(layer))
            writeLayer(layer);
}

void StepWriter::writeLayer(const Layer& layer)
{
    m_tree.makeFolder(m_folder + QStringLiteral("/layers/") + QString::fromLatin1(layer.name));
    if (layer.kind == LayerKind::Component) {
        m_tree.write(layerFile(layer, "attrlist"), layerAttributes(m_step, layer));
        m_tree.write(layerFile(layer, "features"), {});
        writeComponents(m_tree, layerFile(layer, "components"), m_step.board, m_placement,
                        layer.name.endsWith("top"));
        return;
    }
    if (hasFixedSize(layer))
        writeOutlineLayer(layer);
    else
        writeGrowingLayer(layer);
}

void StepWriter::writeOutlineLayer(const Layer& layer)
{
    constexpr quint64 kOutlineFeatures = 8;
    const SymbolTable symbols = symbolTable(layer.kind, m_step.board.units);
    RecordBuffer features;
    features.text(featureFileHeader(m_step.board, layer.kind, symbols, kOutlineFeatures));
    appendOutlineFeatures(features, m_step.board);
    m_tree.write(layerFile(layer, "attrlist"), layerAttributes(m_step, layer));
    m_tree.writeWithSum(layerFile(layer, "features"), features.bytes());
}

void StepWriter::writeGrowingLayer(const Layer& layer)
{
    constexpr quint64 kSumFileBytes = 95;
    const quint64 end = m_tree.bytes() + nextShare(layer);
    m_tree.write(layerFile(layer, "attrlist"), layerAttributes(m_step, layer));
    if (layer.isDrilled())
        m_tree.writeWithSum(layerFile(layer, "tools"), drillTools(m_step));
    const quint64 begun = m_tree.bytes() + kSumFileBytes;
    FeatureGenerator generator(m_step.board, layer.kind, symbolTable(layer.kind, m_step.board.units),
                               Random::forPurpose(m_seed, layer.name));
    const quint64 count = writeFeatureFile(m_tree, layerFile(layer, "features"), m_step.board, layer.kind,
                                           std::move(generator), end > begun ? end - begun : 0);
    if (isReferredToByNets(layer))
        m_netLayers.push_back({layer.name, count, layer.isDrilled()});
}

void StepWriter::writeNets()
{
    m_tree.makeFolder(m_folder + QStringLiteral("/eda"));
    writeDesignData(m_tree, m_folder + QStringLiteral("/eda/data"), m_step.board, m_placement, m_netLayers,
                    Random::forPurpose(m_seed, "eda/data"));
    m_tree.makeFolder(m_folder + QStringLiteral("/netlists/cadnet"));
    writeNetlist(m_tree, m_folder + QStringLiteral("/netlists/cadnet/netlist"), m_step.board, m_placement);
    m_reserved = 0;
}

quint64 StepWriter::nextShare(const Layer& layer)
{
    const quint64 used = m_tree.bytes() + m_reserved;
    const quint64 left = m_endBytes > used ? m_endBytes - used : 0;
    const quint64 share = left * layer.weight() / m_weightLeft;
    m_weightLeft -= layer.weight();
    return share;
}

QString StepWriter::layerFile(const Layer& layer, const char* file) const
{
    return m_folder + QStringLiteral("/layers/") + QString::fromLatin1(layer.name) + QLatin1Char('/') +
           QString::fromLatin1(file);
}

} // namespace KOZAV::Samples
