#include "backend/database/sqlite/SqliteDialect.h"

#include "backend/io/File.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QSqlQuery>
#include <QtEndian>

#include <array>
#include <cstring>
#include <set>

// What is looked at whenever a database file is opened, however large it is: whether the file is as long as
// it has to be, whether the tables and indexes are there, and the pages on the ways to the first and the last
// entry of each. A file that was cut off, emptied or written over by another program is found so; single bits
// in the middle of a large one are not. Those are the business of the daily check, which takes its time.
//
// The engine itself finds a file too short only where it has no log beside it: it takes the number of pages
// from the log then, and finds out when it misses one.
//
// The database file is never opened here, only looked at by its name: closing any descriptor of it would take
// the locks away that the engine has on it in this process. The log is not locked by itself.

namespace KOZAV::Backend {

namespace {

/// How long the look may take, whatever the size: the start of every program waits for it.
constexpr int longestLookMs = 50;

/// Up to this size the file is read through, which takes less.
constexpr qint64 readThroughLimit = 4LL * 1024 * 1024;

quint32 numberAt(const char* bytes)
{
    return qFromBigEndian<quint32>(bytes);
}

/// The pages above a number that the log beside a database file holds. A log that is being written or begun
/// anew meanwhile is read as far as it is valid.
std::set<quint32> pagesInLog(const std::string& path, quint32 above, int pageSize)
{
    constexpr qint64 headerSize = 32;
    constexpr qint64 frameHeaderSize = 24;
    constexpr int saltSize = 8;
    constexpr int headerSalt = 16;
    constexpr int frameSalt = 8;
    std::set<quint32> pages;
    const auto log = File::openForReading(path);
    std::array<char, headerSize> header = {};
    if (!log.ok())
        return pages;
    if (const auto read = log->readAt(header.data(), headerSize, 0); !read.ok() || read.value() != headerSize)
        return pages;
    std::array<char, frameHeaderSize> frame = {};
    for (qint64 offset = headerSize;; offset += frameHeaderSize + pageSize) {
        const auto read = log->readAt(frame.data(), frameHeaderSize, offset);
        // Frames of an earlier turn of the log have another salt.
        if (!read.ok() || read.value() != frameHeaderSize ||
            std::memcmp(frame.data() + frameSalt, header.data() + headerSalt, saltSize) != 0)
            return pages;
        if (const quint32 page = numberAt(frame.data()); page > above)
            pages.insert(page);
    }
}

Status tooShort(qint64 pages, qint64 expected)
{
    return Status::corrupt(
        QStringLiteral("the file is cut off: it has %1 of its %2 pages").arg(pages).arg(expected));
}

} // namespace

/// Runs work on the database as it is at one moment: others may change its tables or its length meanwhile.
Status SqliteDialect::inSnapshot(const QSqlDatabase& connection, const std::function<Status()>& work) const
{
    if (auto begun = run(connection, beginReadSql()); !begun.ok())
        return begun;
    auto outcome = work();
    const auto ended = run(connection, "ROLLBACK");
    return outcome.ok() ? ended : outcome;
}

/// To be called in a snapshot.
Status SqliteDialect::checkLength(const QSqlDatabase& connection) const
{
    const auto size = scalar(connection, "PRAGMA page_size");
    const auto count = scalar(connection, "PRAGMA page_count");
    for (const Status& status : {size.status(), count.status()})
        if (!status.ok())
            return status;
    const QString path = fileOf(connection);
    const qint64 expected = count->toLongLong();
    const int pageSize = size->toInt();
    const auto pagesInFile = [&] { return QFileInfo(path).size() / pageSize; };
    const qint64 before = pagesInFile();
    if (before >= expected)
        return {};
    const auto logged = pagesInLog(QFile::encodeName(path + QStringLiteral("-wal")).toStdString(),
                                   static_cast<quint32>(before), pageSize);
    // Looked at again: what went from the log into the file since is missing in one of the two looks.
    const qint64 now = pagesInFile();
    for (qint64 page = now + 1; page <= expected; ++page)
        if (logged.count(static_cast<quint32>(page)) == 0)
            return tooShort(now, expected);
    return {};
}

Status SqliteDialect::checkOpened(const QSqlDatabase& connection) const
{
    const QDeadlineTimer deadline(longestLookMs);
    return inSnapshot(connection, [&] {
        if (auto length = checkLength(connection); !length.ok())
            return length;
        const auto tables = scalar(connection, "SELECT count(*) FROM sqlite_master");
        if (!tables.ok() || tables->toInt() == 0)
            return tables.status();
        if (auto ends = checkEnds(connection, deadline); !ends.ok())
            return ends;
        const bool small = QFileInfo(fileOf(connection)).size() <= readThroughLimit;
        return small ? readThrough(connection) : Status();
    });
}

Status SqliteDialect::checkEnds(const QSqlDatabase& connection, const QDeadlineTimer& deadline) const
{
    const auto version = storedVersion(connection);
    if (!version.ok())
        return version.status();
    const auto ours = ownSchema(version.value());
    const auto found = objectsOf(connection);
    for (const Status& status : {ours.status(), found.status()})
        if (!status.ok())
            return status;
    for (const auto& [name, form] : ours->objects) {
        const auto there = found->find(name);
        // What others have added harms nothing that is here; the thorough check tells of it.
        if (there == found->end() || there->second != form)
            return Status::corrupt(QStringLiteral("the %1 is missing or changed").arg(name));
    }
    for (const QString& end : ours->ends) {
        if (deadline.hasExpired())
            return {};
        if (auto read = rows(connection, end, [](const QSqlQuery&) {}); !read.ok())
            return read;
    }
    return {};
}

Status SqliteDialect::readThrough(const QSqlDatabase& connection) const
{
    const auto report = scalar(connection, "PRAGMA quick_check(1)");
    if (!report.ok())
        return report.status();
    if (report->toString() == QLatin1String("ok"))
        return {};
    return Status::corrupt(report->toString().simplified());
}

} // namespace KOZAV::Backend
