#include "tests/fuzz/JsonSplitterCheck.h"

#include <cstddef>
#include <cstdint>

// What a member holds whose name comes a second time is never freed by Qt's reader. Its frames cannot be told
// apart from the rest of the library: its stack ends with the first of them.
extern "C" const char* __lsan_default_suppressions() // NOLINT(bugprone-reserved-identifier)
{
    return "leak:libQt5Core\n";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const QString violation = KOZAV::Test::splitterViolation(input);
    if (!violation.isEmpty())
        qFatal("%s", qUtf8Printable(violation));
    return 0;
}
