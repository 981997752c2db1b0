#pragma once

#include <QMetaType>

#include <string>

namespace KOZAV::Test {

/// Adds a column "text" (std::string) and a row for each text that a careless implementation would change,
/// cut, refuse or run.
void addWeirdTexts();

} // namespace KOZAV::Test

Q_DECLARE_METATYPE(std::string)
