#pragma once

#include <QMetaType>

#include <string>

namespace KOZAV::Test {

/// Adds a column "text" (std::string) and a row for each text that a careless implementation would change,
/// cut, refuse or run.
void addWeirdTexts();

/// Has the test fail unless a failure is logged that begins with the operation and holds the words.
void expectFailure(const char* operation, const char* words);

} // namespace KOZAV::Test

Q_DECLARE_METATYPE(std::string)
