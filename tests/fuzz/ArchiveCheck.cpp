// Unpacking a job archive. The first byte of an input says what the rest is: 't' a tar, 'g' a tar that is
// packed with gzip before it is read, anything else an archive as it is. Tars get good checksums, without
// which nearly every change of a header would end in the same refusal.

#include "host/odb/JobUnpacker.h"
#include "host/odb/OdbJob.h"
#include "tests/fuzz/FuzzTarget.h"

#include <QDir>

#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace KOZAV::Test {

namespace {

namespace fs = std::filesystem;

using Host::UnpackLimits;
using Host::UnpackRequest;
using Host::UnpackResult;

constexpr int tarBlock = 512;

/// A small file tells as much as a large one.
UnpackLimits smallLimits()
{
    UnpackLimits limits;
    limits.entries = 20;
    limits.totalBytes = 64LL * 1024;
    limits.ratio = 20;
    limits.ratioFromBytes = 16LL * 1024;
    limits.depth = 4;
    return limits;
}

void setChecksum(char* header)
{
    char* const field = header + 148;
    std::memset(field, ' ', 8);
    unsigned sum = 0;
    for (int i = 0; i < tarBlock; ++i)
        sum += static_cast<unsigned char>(header[i]);
    std::snprintf(field, 8, "%06o", sum);
}

/// Each header gets its checksum; a header's size, where it is octal, leads to the next.
QByteArray withChecksums(QByteArray tar)
{
    for (int at = 0; at + tarBlock <= tar.size();) {
        char* const header = tar.data() + at;
        if (std::all_of(header, header + tarBlock, [](char byte) { return byte == 0; })) {
            at += tarBlock;
            continue;
        }
        setChecksum(header);
        const qint64 size = tar.mid(at + 124, 11).trimmed().toLongLong(nullptr, 8);
        const qint64 blocks = 1 + (qBound<qint64>(0, size, tar.size()) + tarBlock - 1) / tarBlock;
        at += static_cast<int>(blocks) * tarBlock;
    }
    return tar;
}

QByteArray gzipped(QByteArray bytes)
{
    z_stream stream = {};
    constexpr int gzipWindow = 15 + 16;
    if (deflateInit2(&stream, 1, Z_DEFLATED, gzipWindow, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return {};
    QByteArray packed(static_cast<int>(deflateBound(&stream, static_cast<uLong>(bytes.size()))), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FINISH);
    packed.truncate(static_cast<int>(stream.total_out));
    deflateEnd(&stream);
    return packed;
}

QByteArray archiveOf(const QByteArray& input)
{
    const QByteArray rest = input.mid(1);
    if (input.startsWith('t'))
        return withChecksums(rest);
    return input.startsWith('g') ? gzipped(withChecksums(rest)) : rest;
}

/// What lies in the work folder, found without following a link.
struct Unpacked
{
    qint64 files = 0;
    qint64 bytes = 0;
    QString violation;
};

QString kindViolation(const fs::path& work, const fs::directory_entry& entry)
{
    const QString shown = QString::fromLocal8Bit(entry.path().c_str());
    if (entry.is_symlink()) {
        const fs::path target = fs::weakly_canonical(entry.path());
        const auto [inside, behind] = std::mismatch(work.begin(), work.end(), target.begin(), target.end());
        return inside == work.end() ? QString() : QStringLiteral("%1 leads out").arg(shown);
    }
    if (!entry.is_directory() && !entry.is_regular_file())
        return QStringLiteral("%1 is neither a file nor a folder").arg(shown);
    return {};
}

Unpacked whatLiesIn(const fs::path& work)
{
    Unpacked unpacked;
    for (auto entry = fs::recursive_directory_iterator(work); entry != fs::recursive_directory_iterator();
         ++entry) {
        unpacked.violation = kindViolation(work, *entry);
        if (unpacked.violation.isEmpty() && entry.depth() > smallLimits().depth)
            unpacked.violation = QStringLiteral("a folder lies %1 deep").arg(entry.depth());
        if (!unpacked.violation.isEmpty())
            return unpacked;
        if (!entry->is_symlink() && entry->is_regular_file()) {
            ++unpacked.files;
            unpacked.bytes += static_cast<qint64>(entry->file_size());
        }
    }
    return unpacked;
}

QString violationIn(const UnpackResult& result, const fs::path& work)
{
    const UnpackLimits limits = smallLimits();
    const Unpacked unpacked = whatLiesIn(work);
    if (!unpacked.violation.isEmpty())
        return unpacked.violation;
    // A refused archive leaves one file more than were taken whole.
    if (unpacked.files < result.files || unpacked.files > result.files + (result.ok() ? 0 : 1) ||
        unpacked.files > limits.entries)
        return QStringLiteral("%1 files lie there, %2 are told").arg(unpacked.files).arg(result.files);
    if (unpacked.bytes > limits.totalBytes || unpacked.bytes > result.bytes)
        return QStringLiteral("%1 bytes lie there, %2 are told").arg(unpacked.bytes).arg(result.bytes);
    const Host::OdbJob job = Host::openOdbJob(QString::fromLocal8Bit(work.c_str()));
    if (job.error.isEmpty() && (job.matrix.layers.empty() || !QDir(job.folder).exists()))
        return QStringLiteral("a job without layers is opened");
    return {};
}

QByteArray outcomeOf(const UnpackResult& result)
{
    if (result.ok())
        return result.files > 0 ? "files" : "nothing";
    if (result.error.startsWith(QLatin1String("the archive cannot be read")))
        return "unreadable";
    return result.error.contains(QLatin1String("more than")) ? "too much" : "refused";
}

FuzzVerdict check(const QByteArray& input)
{
    const fs::path folder = fs::path(fuzzFolder().toStdString()) / "archive";
    const fs::path work = folder / "around" / "work";
    const QByteArray archive = archiveOf(input);
    UnpackRequest request;
    request.archive = fuzzFolder() + QStringLiteral("/archive/packed");
    request.folder = QString::fromLocal8Bit(work.c_str());
    request.limits = smallLimits();
    fs::create_directories(folder);
    if (!writeFuzzFile(request.archive, archive))
        return {QStringLiteral("the archive cannot be written"), "refused"};
    qint64 farthest = 0;
    request.progress = [&farthest](qint64 packed) { farthest = std::max(farthest, packed); };

    const UnpackResult result = unpackJob(request);
    QString violation = violationIn(result, work);
    const auto entriesIn = [](const fs::path& place) {
        return std::distance(fs::directory_iterator(place), fs::directory_iterator());
    };
    if (violation.isEmpty() && (entriesIn(folder) != 2 || entriesIn(folder / "around") != 1))
        violation = QStringLiteral("something lies beside the work folder");
    if (violation.isEmpty() && farthest > archive.size())
        violation = QStringLiteral("%1 of %2 bytes are done").arg(farthest).arg(archive.size());
    std::error_code failure;
    fs::remove_all(folder / "around", failure);
    if (failure)
        violation = QStringLiteral("what was unpacked cannot be removed");
    return {violation, outcomeOf(result)};
}

const RegisteredFuzzTarget registered({"archive",
                                       check,
                                       {"../",
                                        "/",
                                        "..",
                                        "C:",
                                        "\\",
                                        "matrix/matrix",
                                        "STEP {\n",
                                        "0",
                                        "1",
                                        "2",
                                        "3",
                                        "5",
                                        "6",
                                        "L",
                                        "x",
                                        "g",
                                        "S",
                                        "00000000777",
                                        "\x80",
                                        "\xff",
                                        "ustar",
                                        "PK\x01\x02",
                                        "PK\x03\x04",
                                        "PK\x05\x06",
                                        "27 linkpath=../../../etc/xx\n",
                                        "15 path=../up\n",
                                        "22 GNU.sparse.major=1\n",
                                        QByteArray(1, '\0'),
                                        QByteArray(12, '\0'),
                                        QByteArray(512, '\0')},
                                       {"files", "nothing", "unreadable", "too much", "refused"},
                                       3'000});

} // namespace

} // namespace KOZAV::Test
