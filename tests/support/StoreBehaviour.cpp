#include "tests/support/StoreBehaviour.h"

#include "backend/io/GrowingFile.h"
#include "backend/io/TempFile.h"
#include "tests/support/TestFiles.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace KOZAV::Test {

using namespace Backend;

namespace {

const QByteArray first = randomBytes(600'000, 1);
const QByteArray second = randomBytes(300'000, 2);
const QString identity = QStringLiteral("0a8dbf5e-2f0c-4e1b-9d6b-5f0f6a4d1c22");

constexpr int threadCount = 6;

QString textOf(const std::string& name)
{
    return QString::fromStdString(name);
}

StoreLocation other(StoreLocation location)
{
    location.fileStore += "-other";
    return location;
}

/// Calls work in several threads at once. @return how often it was true
int successesOf(const std::function<bool(int thread)>& work)
{
    std::atomic<int> successes = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i)
        threads.emplace_back([&, i] { successes += work(i) ? 1 : 0; });
    for (std::thread& thread : threads)
        thread.join();
    return successes;
}

/// Writes a file in steps of step bytes, each final at once, under another name than the one that it gets.
Status writeGrowing(const std::string& path, const QByteArray& content, qint64 step, GrowingFile& growing)
{
    auto temp = TempFile::create(path);
    if (!temp.ok())
        return temp.status();
    if (auto begun = growing.begin(temp->path(), path); !begun.ok())
        return begun;
    for (qint64 done = 0; done < content.size() && !growing.isGivenUp();) {
        const qint64 size = std::min<qint64>(step, content.size() - done);
        if (auto written = temp->file().write(content.constData() + done, size); !written.ok())
            return written;
        done += size;
        growing.advance(done);
    }
    auto named = temp->rename(ExistingTarget::Keep);
    if (named.ok())
        growing.finish(content.size());
    return named;
}

} // namespace

QStringList StoreBehaviour::storedNames()
{
    const auto files = store().list(location());
    if (!files.ok())
        return {files.message()};
    QStringList names;
    for (const StoredFile& file : files.value())
        names << textOf(file.name);
    return names;
}

QStringList StoreBehaviour::quarantinedNames()
{
    const auto files = store().listQuarantine(location());
    if (!files.ok())
        return {files.message()};
    QStringList names;
    for (const QuarantinedFile& file : files.value())
        names << textOf(file.file.name);
    return names;
}

QStringList StoreBehaviour::flawNames()
{
    const auto flaws = store().survey(location());
    if (!flaws.ok())
        return {flaws.message()};
    QStringList names;
    for (const StoreFlaw& flaw : flaws.value())
        names << textOf(flaw.name) + QLatin1Char(' ') + flaw.text;
    return names;
}

void StoreBehaviour::quarantinedFileIsNotThere()
{
    const QDateTime before = QDateTime::currentDateTimeUtc();
    QVERIFY(put("a.zip", first).ok());
    const auto stored = put("job.zip", first);
    QVERIFY(stored.ok());
    const auto moved = store().quarantine(location(), "job.zip");
    QVERIFY2(moved.ok(), qPrintable(moved.message()));

    QCOMPARE(store().find(location(), "job.zip").code(), ErrorCode::NotFound);
    QCOMPARE(store().remove(location(), "job.zip").code(), ErrorCode::NotFound);
    QVERIFY(get("job.zip").isNull());
    QVERIFY(store().findSome(location(), {"job.zip"})->empty());
    QCOMPARE(storedNames(), QStringList(QStringLiteral("a.zip")));

    const auto listed = store().listQuarantine(location());
    QVERIFY2(listed.ok(), qPrintable(listed.message()));
    QCOMPARE(listed->size(), size_t{1});
    const QuarantinedFile& file = listed->front();
    QCOMPARE(file.file.name, stored->name);
    QCOMPARE(file.file.length, stored->length);
    QCOMPARE(file.file.sha256, stored->sha256);
    QCOMPARE(file.file.storedAt, stored->storedAt);
    QVERIFY(before <= file.since && file.since <= QDateTime::currentDateTimeUtc());
    QCOMPARE(file.since.timeSpec(), Qt::UTC);
}

void StoreBehaviour::quarantinedFileComesBackAsItWas()
{
    const auto stored = put("job.zip", first);
    QVERIFY(store().quarantine(location(), "job.zip").ok());
    reopen();
    const auto restored = store().restoreQuarantined(location(), "job.zip");
    QVERIFY2(restored.ok(), qPrintable(restored.message()));
    QVERIFY(quarantinedNames().isEmpty());
    QVERIFY(get("job.zip") == first);
    const auto found = store().find(location(), "job.zip");
    QVERIFY(found.ok());
    QCOMPARE(found->sha256, stored->sha256);
    QCOMPARE(found->storedAt, stored->storedAt);
    QCOMPARE(store().restoreQuarantined(location(), "job.zip").code(), ErrorCode::NotFound);
    QCOMPARE(flawNames(), QStringList());
    // As any stored file: it can be put again, and moved again.
    QVERIFY(put("job.zip", first).ok());
    QVERIFY(store().quarantine(location(), "job.zip").ok());
    QVERIFY(store().restoreQuarantined(location(), "job.zip").ok());
    QVERIFY(get("job.zip") == first);
}

void StoreBehaviour::quarantinedFileIsFetched()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("fetched"));
    const std::string target = QFile::encodeName(path).toStdString();
    QVERIFY(put("job.zip", "content").ok());
    QCOMPARE(store().getQuarantined(location(), "job.zip", target).code(), ErrorCode::NotFound);
    QVERIFY(store().quarantine(location(), "job.zip").ok());
    QVERIFY(put("job.zip", "another content").ok());
    for (int i = 0; i < 2; ++i) {
        const auto fetched = store().getQuarantined(location(), "job.zip", target);
        QVERIFY2(fetched.ok(), qPrintable(fetched.message()));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("content"));
    }
    QCOMPARE(quarantinedNames(), QStringList(QStringLiteral("job.zip")));
    QCOMPARE(get("job.zip"), QByteArray("another content"));
    QCOMPARE(store().getQuarantined(location(), "../job.zip", target).code(), ErrorCode::InvalidArgument);
    QVERIFY(store().purgeQuarantined(location(), "job.zip").ok());
    QCOMPARE(store().getQuarantined(location(), "job.zip", target).code(), ErrorCode::NotFound);
}

void StoreBehaviour::nameInQuarantineIsFree()
{
    QVERIFY(put("job.zip", first).ok());
    QVERIFY(store().quarantine(location(), "job.zip").ok());
    QVERIFY(put("job.zip", second).ok());
    QCOMPARE(store().restoreQuarantined(location(), "job.zip").code(), ErrorCode::AlreadyExists);
    QVERIFY(get("job.zip") == second);
    QCOMPARE(quarantinedNames(), QStringList(QStringLiteral("job.zip")));
    QVERIFY(store().remove(location(), "job.zip").ok());
    QVERIFY(store().restoreQuarantined(location(), "job.zip").ok());
    QVERIFY(get("job.zip") == first);
}

void StoreBehaviour::quarantineKeepsWhatItHas()
{
    QVERIFY(put("job.zip", first).ok());
    QVERIFY(store().quarantine(location(), "job.zip").ok());
    QVERIFY(put("job.zip", second).ok());
    QCOMPARE(store().quarantine(location(), "job.zip").code(), ErrorCode::AlreadyExists);
    QVERIFY(get("job.zip") == second);
    QVERIFY(store().remove(location(), "job.zip").ok());
    QVERIFY(store().restoreQuarantined(location(), "job.zip").ok());
    QVERIFY(get("job.zip") == first);
}

void StoreBehaviour::purgedFileIsGone()
{
    QVERIFY(put("job.zip", first).ok());
    QCOMPARE(store().purgeQuarantined(location(), "job.zip").code(), ErrorCode::NotFound);
    QVERIFY(get("job.zip") == first);
    QVERIFY(store().quarantine(location(), "job.zip").ok());
    QVERIFY(put("job.zip", second).ok());
    const auto purged = store().purgeQuarantined(location(), "job.zip");
    QVERIFY2(purged.ok(), qPrintable(purged.message()));
    QVERIFY(quarantinedNames().isEmpty());
    QVERIFY(get("job.zip") == second);
    QCOMPARE(store().purgeQuarantined(location(), "job.zip").code(), ErrorCode::NotFound);
    QCOMPARE(store().restoreQuarantined(location(), "job.zip").code(), ErrorCode::NotFound);
    QCOMPARE(flawNames(), QStringList());
}

void StoreBehaviour::unknownNamesAreNotFound()
{
    for (const bool made : {false, true}) {
        if (made)
            QVERIFY(put("other.zip", first).ok());
        QCOMPARE(store().quarantine(location(), "job.zip").code(), ErrorCode::NotFound);
        QCOMPARE(store().restoreQuarantined(location(), "job.zip").code(), ErrorCode::NotFound);
        QCOMPARE(store().purgeQuarantined(location(), "job.zip").code(), ErrorCode::NotFound);
        QVERIFY(quarantinedNames().isEmpty());
    }
}

void StoreBehaviour::unfitNamesAreRefused_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char* name : {"", ".", "..", "a/b", "/etc/passwd", "kozav.quarantine/job.zip"})
        QTest::newRow(name) << QByteArray(name);
}

void StoreBehaviour::unfitNamesAreRefused()
{
    QFETCH(const QByteArray, name);
    QVERIFY(put("job.zip", first).ok());
    QVERIFY(store().quarantine(location(), "job.zip").ok());
    const std::string unfit = name.toStdString();
    QCOMPARE(store().quarantine(location(), unfit).code(), ErrorCode::InvalidArgument);
    QCOMPARE(store().restoreQuarantined(location(), unfit).code(), ErrorCode::InvalidArgument);
    QCOMPARE(store().purgeQuarantined(location(), unfit).code(), ErrorCode::InvalidArgument);
    QCOMPARE(store().survey({unfit, location().fileStore}).code(), ErrorCode::InvalidArgument);
    QCOMPARE(store().siteMark({location().database, unfit}).code(), ErrorCode::InvalidArgument);
    QVERIFY(store().findSome(location(), {unfit})->empty());
    QCOMPARE(quarantinedNames(), QStringList(QStringLiteral("job.zip")));
}

void StoreBehaviour::quarantineIsOfOneLocation()
{
    QVERIFY(put("job.zip", first).ok());
    const StoreLocation elsewhere = other(location());
    QCOMPARE(store().quarantine(elsewhere, "job.zip").code(), ErrorCode::NotFound);
    QVERIFY(store().quarantine(location(), "job.zip").ok());
    QVERIFY(store().listQuarantine(elsewhere)->empty());
    QCOMPARE(store().restoreQuarantined(elsewhere, "job.zip").code(), ErrorCode::NotFound);
}

void StoreBehaviour::readersSeeAFileWholeOrNotAtAll()
{
    constexpr int turns = 40;
    QVERIFY(put("job.zip", second).ok());
    std::atomic<bool> done = false;
    std::atomic<int> failures = 0;
    std::thread mover([&] {
        for (int i = 0; i < turns; ++i) {
            failures += store().quarantine(location(), "job.zip").ok() ? 0 : 1;
            failures += store().restoreQuarantined(location(), "job.zip").ok() ? 0 : 1;
        }
        done = true;
    });
    QStringList wrong;
    while (!done) {
        const auto found = store().find(location(), "job.zip");
        if (!found.ok() && found.code() != ErrorCode::NotFound)
            wrong << found.message();
        if (const QByteArray content = get("job.zip"); !content.isNull() && content != second)
            wrong << QStringLiteral("other content");
    }
    mover.join();
    QCOMPARE(wrong, QStringList());
    QCOMPARE(failures.load(), 0);
    QVERIFY(get("job.zip") == second);
}

void StoreBehaviour::oneOfManyMovesAFile()
{
    QVERIFY(put("job.zip", second).ok());
    const auto taken = [this](int) { return store().quarantine(location(), "job.zip").ok(); };
    QCOMPARE(successesOf(taken), 1);
    const auto restored = [this](int) { return store().restoreQuarantined(location(), "job.zip").ok(); };
    QCOMPARE(successesOf(restored), 1);
    QVERIFY(get("job.zip") == second);
    QVERIFY(store().quarantine(location(), "job.zip").ok());
    const auto purged = [this](int) { return store().purgeQuarantined(location(), "job.zip").ok(); };
    QCOMPARE(successesOf(purged), 1);
    QCOMPARE(flawNames(), QStringList());
}

void StoreBehaviour::someNamesAreFound()
{
    QVERIFY(store().findSome(location(), {"a"})->empty());
    QVERIFY(put("b", first).ok());
    QVERIFY(put("a", second).ok());
    QVERIFY(put("c", second).ok());
    QVERIFY(store().findSome(location(), {})->empty());
    const auto found = store().findSome(location(), {"b", "nothing", "a", "b", "..", "x/y"});
    QVERIFY2(found.ok(), qPrintable(found.message()));
    QCOMPARE(found->size(), size_t{2});
    for (const StoredFile& file : found.value()) {
        const auto known = store().find(location(), file.name);
        QCOMPARE(file.length, known->length);
        QCOMPARE(file.sha256, known->sha256);
        QCOMPARE(file.storedAt, known->storedAt);
    }
    QCOMPARE(found->at(0).name, std::string("a"));
    QCOMPARE(found->at(1).name, std::string("b"));
    QVERIFY(store().findSome(other(location()), {"a"})->empty());
}

void StoreBehaviour::manyNamesAreFound()
{
    std::vector<std::string> names;
    for (int i = 0; i < 2500; ++i)
        names.push_back("name" + std::to_string(i));
    for (const int number : {0, 999, 1000, 1001, 2499})
        QVERIFY(put(names.at(static_cast<size_t>(number)), "x").ok());
    QCOMPARE(store().findSome(location(), names)->size(), size_t{5});
}

void StoreBehaviour::pagesHoldEveryFileOnce()
{
    const auto none = store().listInPages(location());
    QVERIFY2(none.ok(), qPrintable(none.message()));
    QVERIFY(none.value()()->empty());
    for (int i = 0; i < 1005; ++i)
        QVERIFY(put("name" + std::to_string(i), "x").ok());
    QVERIFY(store().quarantine(location(), "name7").ok());
    std::vector<std::string> listed;
    const auto all = store().list(location());
    QVERIFY2(all.ok(), qPrintable(all.message()));
    for (const StoredFile& file : all.value())
        listed.push_back(file.name);
    std::vector<std::string> paged;
    const auto pages = store().listInPages(location());
    QVERIFY2(pages.ok(), qPrintable(pages.message()));
    int count = 0;
    for (auto page = pages.value()(); !page->empty(); page = pages.value()(), ++count) {
        for (const StoredFile& file : page.value()) {
            QCOMPARE(file.length, qint64(1));
            paged.push_back(file.name);
        }
    }
    QVERIFY(pages.value()()->empty());
    QCOMPARE(count, 2);
    QCOMPARE(paged.size(), std::size_t(1004));
    QVERIFY(paged == listed);
}

void StoreBehaviour::fileIsReadThrough()
{
    const QByteArray content(3'000'000, 'c');
    const auto stored = put("large", content);
    QVERIFY2(stored.ok(), qPrintable(stored.message()));
    qint64 told = 0;
    const auto read = store().verify(location(), "large", [&told](qint64 bytes) { told += bytes; });
    QVERIFY2(read.ok(), qPrintable(read.message()));
    QCOMPARE(read->length, qint64(content.size()));
    QCOMPARE(read->sha256, stored->sha256);
    QCOMPARE(told, read->length);
    QVERIFY(put("empty", "").ok());
    QCOMPARE(store().verify(location(), "empty")->length, qint64(0));
    QCOMPARE(store().verify(location(), "absent").code(), ErrorCode::NotFound);
    QCOMPARE(store().verify(location(), "..").code(), ErrorCode::InvalidArgument);
}

void StoreBehaviour::growingFileIsStored_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<qint64>("step");
    QTest::newRow("empty") << 0 << qint64(1);
    QTest::newRow("one byte") << 1 << qint64(1);
    QTest::newRow("in one step") << 700'000 << qint64(700'000);
    QTest::newRow("in small steps") << 700'000 << qint64(1013);
    QTest::newRow("in many blocks") << 5'000'000 << qint64(300'007);
}

void StoreBehaviour::growingFileIsStored()
{
    QFETCH(int, size);
    QFETCH(qint64, step);
    const QTemporaryDir place;
    const std::string source = local(place.filePath(QStringLiteral("source")));
    const QByteArray content = randomBytes(size, 7);
    GrowingFile growing;
    Status written;
    std::thread writer([&] { written = writeGrowing(source, content, step, growing); });
    const auto stored = store().adoptGrowing(location(), "growing", source, growing);
    writer.join();
    QVERIFY2(written.ok(), qPrintable(written.message()));
    QVERIFY2(stored.ok(), qPrintable(stored.message()));
    QCOMPARE(stored->length, qint64(size));
    QVERIFY(!QFile::exists(QFile::decodeName(source.c_str())));
    reopen();
    QCOMPARE(get("growing"), content);
    QCOMPARE(store().find(location(), "growing")->sha256, stored->sha256);
}

void StoreBehaviour::growingFileOfAFailedWriterIsNotStored()
{
    const QTemporaryDir place;
    const std::string source = local(place.filePath(QStringLiteral("source")));
    writeFile(source, first);
    for (const qint64 finalBytes : {qint64(0), qint64(first.size() / 2), qint64(first.size())}) {
        GrowingFile growing;
        QVERIFY(growing.begin(source, source).ok());
        growing.advance(finalBytes);
        growing.fail(Status::changedWhileRead(QStringLiteral("the folder was changed")));
        const auto stored = store().adoptGrowing(location(), "growing", source, growing);
        QCOMPARE(stored.code(), ErrorCode::ChangedWhileRead);
        QVERIFY2(stored.message().contains(QLatin1String("the folder was changed")),
                 qPrintable(stored.message()));
        QCOMPARE(storedNames(), QStringList());
        QCOMPARE(flawNames(), QStringList());
    }
}

void StoreBehaviour::growingFileThatIsRefusedIsGivenUp()
{
    QVERIFY(put("taken", second).ok());
    const QTemporaryDir place;
    const std::string source = local(place.filePath(QStringLiteral("source")));
    for (const std::string& name : {std::string("taken"), std::string("..")}) {
        GrowingFile growing;
        Status written;
        std::thread writer([&] { written = writeGrowing(source, first, 1000, growing); });
        const auto stored = store().adoptGrowing(location(), name, source, growing);
        writer.join();
        QCOMPARE(stored.code(), name == ".." ? ErrorCode::InvalidArgument : ErrorCode::AlreadyExists);
        QVERIFY(growing.isGivenUp());
        QVERIFY(QFile::remove(QFile::decodeName(source.c_str())));
    }
    QCOMPARE(get("taken"), second);
    QCOMPARE(storedNames(), QStringList{QStringLiteral("taken")});
}

void StoreBehaviour::markStays()
{
    const auto none = store().siteMark(location());
    QVERIFY2(none.ok(), qPrintable(none.message()));
    QVERIFY(none->isEmpty());
    const auto marked = store().setSiteMark(location(), identity);
    QVERIFY2(marked.ok(), qPrintable(marked.message()));
    reopen();
    QCOMPARE(store().siteMark(location()).value(), identity);
    QVERIFY(store().setSiteMark(location(), identity).ok());
    QVERIFY(put("site", first).ok());
    QVERIFY(store().remove(location(), "site").ok());
    QCOMPARE(store().siteMark(location()).value(), identity);
    QCOMPARE(flawNames(), QStringList());
    QVERIFY(storedNames().isEmpty());
}

void StoreBehaviour::markOfAnotherSiteIsRefused()
{
    QVERIFY(store().setSiteMark(location(), identity).ok());
    const auto refused = store().setSiteMark(location(), QStringLiteral("another"));
    QCOMPARE(refused.code(), ErrorCode::AlreadyExists);
    QVERIFY2(refused.message().contains(identity), qPrintable(refused.message()));
    QCOMPARE(store().siteMark(location()).value(), identity);
}

void StoreBehaviour::markIsOfOneLocation()
{
    QVERIFY(store().setSiteMark(location(), identity).ok());
    QVERIFY(store().siteMark(other(location()))->isEmpty());
    QVERIFY(store().setSiteMark(other(location()), QStringLiteral("another")).ok());
    QCOMPARE(store().siteMark(location()).value(), identity);
}

void StoreBehaviour::unfitMarksAreRefused_data()
{
    QTest::addColumn<QString>("mark");
    QTest::newRow("empty") << QString();
    QTest::newRow("newline") << QStringLiteral("abc\n");
    QTest::newRow("blank") << QStringLiteral("a b");
    QTest::newRow("too long") << QString(65, QLatin1Char('a'));
    QTest::newRow("other letters") << QStringLiteral("\u00e4");
}

void StoreBehaviour::unfitMarksAreRefused()
{
    QFETCH(const QString, mark);
    QCOMPARE(store().setSiteMark(location(), mark).code(), ErrorCode::InvalidArgument);
    QVERIFY(store().siteMark(location())->isEmpty());
}

void StoreBehaviour::oneOfManyMarks()
{
    const auto mark = [this](int thread) {
        return store().setSiteMark(location(), QStringLiteral("site-%1").arg(thread)).ok();
    };
    QCOMPARE(successesOf(mark), 1);
    QVERIFY(store().siteMark(location())->startsWith(QLatin1String("site-")));
}

void StoreBehaviour::surveyOfAWholeStoreIsEmpty()
{
    QVERIFY(store().setSiteMark(location(), identity).ok());
    QVERIFY(put("empty", "").ok());
    QVERIFY(put("one", "1").ok());
    QVERIFY(put("job.zip", first).ok());
    QVERIFY(put("in quarantine", first).ok());
    QVERIFY(store().quarantine(location(), "in quarantine").ok());
    QCOMPARE(flawNames(), QStringList());
}

void StoreBehaviour::surveyOfNothingIsEmpty()
{
    QCOMPARE(flawNames(), QStringList());
}

void StoreBehaviour::damageCannotBeRemoved_data()
{
    QTest::addColumn<int>("kind");
    for (const auto kind :
         {StoreFlaw::Kind::SumUnreadable, StoreFlaw::Kind::WrongLength, StoreFlaw::Kind::NotRegular,
          StoreFlaw::Kind::ChunksMissing, StoreFlaw::Kind::ChunksSurplus})
        QTest::addRow("%d", static_cast<int>(kind)) << static_cast<int>(kind);
}

void StoreBehaviour::damageCannotBeRemoved()
{
    QFETCH(const int, kind);
    QVERIFY(put("job.zip", first).ok());
    StoreFlaw flaw;
    flaw.kind = static_cast<StoreFlaw::Kind>(kind);
    flaw.name = "job.zip";
    QCOMPARE(store().removeFlaw(location(), flaw).code(), ErrorCode::InvalidArgument);
    QVERIFY(get("job.zip") == first);
}

} // namespace KOZAV::Test
