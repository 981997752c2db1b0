#pragma once

#include <vector>

class QApplication;
class QTableView;

namespace KOZAV::Host {

/// Gives the whole client the dark look that goes with the panels' own style sheets.
void applyTheme(QApplication& application);

/// How the client's tables look: whole rows, alternating colours, the given column widths, the last column to
/// the edge.
void applyTableLook(QTableView& table, const std::vector<int>& columnWidths);

} // namespace KOZAV::Host
