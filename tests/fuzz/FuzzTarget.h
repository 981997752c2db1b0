#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

/// Fuzz targets: what reads bytes that others wrote, and the properties that hold for every input. A target
/// is a source that ends in
///
///     static const RegisteredFuzzTarget registered({"matrix", check, tokens, outcomes, 20'000});
///
/// Each program holds those that it is linked from: libFuzzer's one (Fuzzer.cpp), the test of the corpus all.

namespace KOZAV::Test {

/// What became of one input.
struct FuzzVerdict
{
    QString violation;  ///< which property does not hold; empty where all do
    QByteArray outcome; ///< one of the target's outcomes
};

struct FuzzTarget
{
    const char* name; ///< of its folder in the corpus
    FuzzVerdict (*check)(const QByteArray& input);
    std::vector<QByteArray> tokens;   ///< what mutations put into an input
    std::vector<QByteArray> outcomes; ///< all are reached by the mutations of a test
    int mutations;                    ///< how many inputs a test makes: for a few seconds
};

class RegisteredFuzzTarget
{
public:
    explicit RegisteredFuzzTarget(FuzzTarget target);
};

/// The targets of this program.
const std::vector<FuzzTarget>& fuzzTargets();

/// A folder of this process's own in memory, where there is such a file system; it goes with the process.
QString fuzzFolder();

/// Replaces what a file in that folder holds, mode 0600; false where that fails.
bool writeFuzzFile(const QString& path, const QByteArray& content);

} // namespace KOZAV::Test
