#pragma once

namespace KOZAV::Robot {

/// What one byte did to a scanner.
enum class ScanStep {
    Continue, ///< taken; more belongs to what is scanned
    Complete, ///< what is scanned is whole
    Fault     ///< the byte cannot stand here; the scanner's fault() says why
};

} // namespace KOZAV::Robot
