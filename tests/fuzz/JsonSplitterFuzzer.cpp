#include "tests/fuzz/JsonSplitterCheck.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const QString violation = KOZAV::Test::splitterViolation(input);
    if (!violation.isEmpty())
        qFatal("%s", qUtf8Printable(violation));
    return 0;
}
