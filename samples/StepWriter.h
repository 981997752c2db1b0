#pragma once

#include "samples/DesignData.h"
#include "samples/JobPlan.h"
#include "samples/JobTree.h"

#include <QString>

#include <vector>

namespace KOZAV::Samples {

/// Writes one step of a job: its header, layers, parts and nets.
class StepWriter final
{
public:
    /// The step ends when the tree holds about `endBytes` bytes.
    StepWriter(JobTree& tree, const JobPlan& plan, const StepPlan& step, quint64 endBytes);

    void write();

private:
    void writeHeader();
    void writeLayers(bool (*belongs)(const Layer&));
    void writeLayer(const Layer& layer);
    void writeOutlineLayer(const Layer& layer);
    void writeGrowingLayer(const Layer& layer);
    void writeNets();
    [[nodiscard]] quint64 nextShare(const Layer& layer);
    [[nodiscard]] QString layerFile(const Layer& layer, const char* file) const;

    JobTree& m_tree;
    const JobPlan& m_plan;
    const StepPlan& m_step;
    QString m_folder;
    quint64 m_seed;
    quint64 m_endBytes;
    Placement m_placement;
    /// Bytes that the nets will take, until they are written.
    quint64 m_reserved = 0;
    /// Weight of the layers that are not written yet.
    quint64 m_weightLeft = 0;
    std::vector<NetLayer> m_netLayers;
};

} // namespace KOZAV::Samples
