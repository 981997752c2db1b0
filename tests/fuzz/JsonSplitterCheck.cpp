// The splitter of the robot's stand-in. The first four bytes of an input say how the rest is cut into
// packets.

#include "robot_server/JsonSplitter.h"
#include "tests/fuzz/FuzzTarget.h"

#include <algorithm>
#include <random>
#include <vector>

namespace KOZAV::Test {

namespace {

using Robot::JsonFault;
using Robot::JsonSplitter;
using Robot::SplitDocument;

constexpr int seedBytes = 4;
constexpr Robot::JsonLimits limits{512, 8};

/// What a splitter makes of a stream.
struct Outcome
{
    std::vector<SplitDocument> documents;
    JsonFault fault = JsonFault::None;
    qint64 faultPosition = 0;
    QString message;
    qint64 work = 0;
};

template <typename PacketSize>
Outcome outcomeOf(const QByteArray& stream, PacketSize packetSize)
{
    JsonSplitter splitter(limits);
    Outcome outcome;
    for (int at = 0; at < stream.size();) {
        const int size = packetSize();
        const auto documents = splitter.feed(stream.mid(at, size));
        outcome.documents.insert(outcome.documents.end(), documents.begin(), documents.end());
        at += size;
    }
    outcome.fault = splitter.fault();
    outcome.faultPosition = splitter.faultPosition();
    outcome.message = splitter.faultMessage();
    outcome.work = splitter.work();
    return outcome;
}

bool equal(const Outcome& one, const Outcome& other)
{
    const auto sameDocument = [](const SplitDocument& a, const SplitDocument& b) {
        return a.json == b.json && a.bytes == b.bytes;
    };
    return one.fault == other.fault && one.message == other.message &&
           std::equal(one.documents.begin(), one.documents.end(), other.documents.begin(),
                      other.documents.end(), sameDocument);
}

QString boundsViolation(const Outcome& outcome, const QByteArray& stream)
{
    qint64 bytes = 0;
    for (const SplitDocument& document : outcome.documents) {
        bytes += document.bytes;
        if (document.bytes < 2 || document.bytes > limits.maxBytes || document.json.isNull())
            return QStringLiteral("a document of %1 bytes").arg(document.bytes);
    }
    const bool failed = outcome.fault != JsonFault::None;
    if (failed && (outcome.faultPosition < bytes || outcome.faultPosition >= stream.size()))
        return QStringLiteral("a fault at byte %1").arg(outcome.faultPosition);
    if (failed == outcome.message.isEmpty())
        return QStringLiteral("the fault's message is '%1'").arg(outcome.message);
    if (bytes > stream.size() || outcome.work > 2 * qint64(stream.size()))
        return QStringLiteral("%1 bytes looked at for %2").arg(outcome.work).arg(stream.size());
    return {};
}

/// A document that is written out again is the same document to the splitter. Writing is what is compared: of
/// an integer beyond 2^53 Qt holds what came, and writes the nearest double.
QString rewritingViolation(const SplitDocument& document)
{
    const QByteArray bytes = document.json.toJson(QJsonDocument::Compact);
    const Outcome again = outcomeOf(bytes, [&] { return bytes.size(); });
    // Written in full, a number or a character can be longer.
    if (again.fault == JsonFault::TooLong)
        return {};
    if (again.fault != JsonFault::None || again.documents.size() != 1 ||
        again.documents.front().json.toJson(QJsonDocument::Compact) != bytes)
        return QStringLiteral("rewritten as %1: %2").arg(QString::fromUtf8(bytes), again.message);
    return {};
}

/// Where Qt's reader takes a whole stream for one document, so does the splitter, but for its limits and for
/// what it refuses in strings.
QString wholenessViolation(const Outcome& outcome, const QByteArray& stream)
{
    const QJsonDocument whole = QJsonDocument::fromJson(stream);
    const bool strict = outcome.fault == JsonFault::TooLong || outcome.fault == JsonFault::TooDeep ||
                        outcome.fault == JsonFault::BadString;
    if (whole.isNull() || strict || stream.startsWith("\xef\xbb\xbf"))
        return {};
    if (outcome.fault == JsonFault::None && outcome.documents.size() == 1 &&
        outcome.documents.front().json == whole)
        return {};
    return QStringLiteral("Qt reads one document where there are %1 and '%2'")
        .arg(outcome.documents.size())
        .arg(outcome.message);
}

quint32 seedOf(const QByteArray& input)
{
    quint32 seed = 0;
    for (const char byte : input.left(seedBytes))
        seed = seed << 8 | static_cast<unsigned char>(byte);
    return seed;
}

QString violationIn(const QByteArray& input, const QByteArray& stream, const Outcome& whole)
{
    std::minstd_rand random(seedOf(input));
    const Outcome cut = outcomeOf(stream, [&] { return static_cast<int>(1 + random() % 7); });
    if (!equal(whole, cut))
        return QStringLiteral("cut, there is '%1' instead of '%2'").arg(cut.message, whole.message);
    QString violation = boundsViolation(whole, stream);
    if (violation.isEmpty())
        violation = boundsViolation(cut, stream);
    if (violation.isEmpty())
        violation = wholenessViolation(whole, stream);
    for (auto document = whole.documents.begin(); document != whole.documents.end() && violation.isEmpty();
         ++document)
        violation = rewritingViolation(*document);
    return violation;
}

FuzzVerdict check(const QByteArray& input)
{
    static const QByteArray faults[] = {"none", "outside", "string", "not JSON", "deep", "long"};
    const QByteArray stream = input.mid(seedBytes);
    const Outcome whole = outcomeOf(stream, [&] { return stream.size(); });
    const bool complete = whole.fault == JsonFault::None && !whole.documents.empty();
    return {violationIn(input, stream, whole),
            complete ? QByteArray("documents") : faults[static_cast<int>(whole.fault)]};
}

const RegisteredFuzzTarget registered({"json_splitter",
                                       check,
                                       {"{",           "}",
                                        "[",           "]",
                                        "\"",          ":",
                                        ",",           "\\",
                                        "\\u00",       "\\ud83d",
                                        "1",           "-",
                                        ".5",          "e+9",
                                        "0",           "true",
                                        "null",        "false",
                                        " ",           "\n",
                                        "{}",          "[]",
                                        "\"a\"",       "\"a\":",
                                        "{\"a\":1",    "[[[[[[",
                                        "]]]]",        "\xe7\x94\xb2",
                                        "\xf0\x9f",    "9007199254740993",
                                        "1e999",       QByteArray(1, '\0'),
                                        "\"jobname\"", "\"msgParams\""},
                                       {"none", "documents", "outside", "string", "not JSON", "deep", "long"},
                                       50'000});

} // namespace

} // namespace KOZAV::Test
