#pragma once

#include <QMetaType>

#include <string>

namespace KOZAV::Test {

/// Adds a column "text" (std::string) and a row for each text that a careless implementation would change,
/// cut, refuse or run.
void addWeirdTexts();

/// Has the test fail unless a failure is logged that begins with the operation and holds the words.
void expectFailure(const char* operation, const char* words);

/// The same for a key that another row has, in the words of the engine.
void expectTakenKey(const char* operation);

} // namespace KOZAV::Test

Q_DECLARE_METATYPE(std::string)
