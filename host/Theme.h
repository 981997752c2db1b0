#pragma once

class QApplication;

namespace KOZAV::Host {

/// Gives the whole client the dark look that goes with the panels' own style sheets.
void applyTheme(QApplication& application);

} // namespace KOZAV::Host
