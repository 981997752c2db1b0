#pragma once

#include <vector>

class QTableView;

namespace KOZAV::Host {

/// How the client's tables look: whole rows, alternating colours, the given column widths, the last column to
/// the edge.
void applyTableLook(QTableView& table, const std::vector<int>& columnWidths);

} // namespace KOZAV::Host
