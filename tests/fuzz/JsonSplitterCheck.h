#pragma once

#include <QByteArray>
#include <QString>

namespace KOZAV::Test {

/// Feeds a stream to the splitter of the robot's stand-in and checks what must hold for every stream. The
/// first four bytes say how the rest is cut into packets.
/// @return what does not hold; empty where all does
[[nodiscard]] QString splitterViolation(const QByteArray& input);

} // namespace KOZAV::Test
