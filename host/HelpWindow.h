#pragma once

class QWidget;

namespace KOZAV::Host {

/// Shows a page on what the client does and which keys it has, beside the window; in front where it is there
/// already.
void showHelp(QWidget& window);

} // namespace KOZAV::Host
