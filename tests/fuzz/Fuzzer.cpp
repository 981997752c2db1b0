#include "tests/fuzz/FuzzTarget.h"

#include <cstddef>
#include <cstdint>

// What a member holds whose name comes a second time is never freed by Qt's reader of JSON. Its frames cannot
// be told apart from the rest of the library: its stack ends with the first of them.
extern "C" const char* __lsan_default_suppressions() // NOLINT(bugprone-reserved-identifier)
{
    return "leak:libQt5Core\n";
}

// The one target of this program, as libFuzzer calls it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const KOZAV::Test::FuzzTarget& target = KOZAV::Test::fuzzTargets().front();
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const QString violation = target.check(input).violation;
    if (!violation.isEmpty())
        qFatal("%s: %s", target.name, qUtf8Printable(violation));
    return 0;
}
