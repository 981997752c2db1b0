#include "backend/io/TempFile.h"
#include "backend/pack/FolderListing.h"
#include "backend/pack/ZipWriter.h"
#include "tests/support/PackBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <thread>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

using Change = std::function<void(const PackBox&)>;
Q_DECLARE_METATYPE(Change)

namespace {

const QByteArray content = featureLines(100'000, 1);

/// Lists the folder, changes it, and packs what was listed.
Status packChanged(const PackBox& box, const Change& change)
{
    const auto listing = listFolder(box.folder());
    if (!listing.ok())
        return listing.status();
    change(box);
    auto file = TempFile::create(local(box.archive()));
    if (!file.ok())
        return file.status();
    return writeZip(listing.value(), {}, file.value()).status();
}

void remove(const PackBox& box, const std::string& name)
{
    if (::unlink(box.in(name).c_str()) != 0)
        qFatal("cannot remove %s", name.c_str());
}

} // namespace

class PackChangesTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void ofAFileAfterItsListing_data();
    void ofAFileAfterItsListing();
    void ofSeveralFilesNameTheFirst();
    void ofAnythingAreNoticedAtTheEnd_data();
    void ofAnythingAreNoticedAtTheEnd();
    void whileItIsPacked();
};

void PackChangesTest::ofAFileAfterItsListing_data()
{
    QTest::addColumn<Change>("change");
    const std::string name = "sub/file";
    QTest::newRow("removed") << Change([=](const PackBox& box) { remove(box, name); });
    QTest::newRow("grown") << Change([=](const PackBox& box) { writeFile(box.in(name), content + "x"); });
    QTest::newRow("shrunk") << Change([=](const PackBox& box) { writeFile(box.in(name), content.left(7)); });
    QTest::newRow("emptied") << Change([=](const PackBox& box) { writeFile(box.in(name), ""); });
    QTest::newRow("changed in place") << Change([=](const PackBox& box) {
        QByteArray other = content;
        other[0] = 'X';
        writeFile(box.in(name), other);
    });
    QTest::newRow("replaced by the same") << Change([=](const PackBox& box) {
        writeFile(box.in("sub/new"), content);
        std::rename(box.in("sub/new").c_str(), box.in(name).c_str());
    });
    QTest::newRow("replaced by a link") << Change([=](const PackBox& box) {
        remove(box, name);
        QCOMPARE(::symlink("/etc/passwd", box.in(name).c_str()), 0);
    });
    QTest::newRow("replaced by a FIFO") << Change([=](const PackBox& box) {
        remove(box, name);
        QCOMPARE(::mkfifo(box.in(name).c_str(), S_IRUSR | S_IWUSR), 0);
    });
    QTest::newRow("its folder replaced by a link") << Change([=](const PackBox& box) {
        std::rename(box.in("sub").c_str(), box.in("moved").c_str());
        QCOMPARE(::symlink("moved", box.in("sub").c_str()), 0);
    });
}

void PackChangesTest::ofAFileAfterItsListing()
{
    QFETCH(const Change, change);
    PackBox box;
    writeFile(box.in("sub/file"), content);
    setModified(box.in("sub/file"), 1'700'000'000);
    const Status packed = packChanged(box, change);
    QCOMPARE(packed.code(), ErrorCode::ChangedWhileRead);
    QVERIFY2(packed.message().contains(QStringLiteral("sub/file")), qPrintable(packed.message()));
    QVERIFY(namesOf(box.archiveFolder()).isEmpty());
}

void PackChangesTest::ofSeveralFilesNameTheFirst()
{
    PackBox box;
    for (int i = 100; i < 200; ++i)
        writeFile(box.in("file" + std::to_string(i)), i == 120 ? featureLines(9 << 20, 1) : content);
    const Status packed = packChanged(box, [](const PackBox& changed) {
        for (const char* name : {"file190", "file121", "file150"})
            remove(changed, name);
    });
    QCOMPARE(packed.code(), ErrorCode::ChangedWhileRead);
    QVERIFY2(packed.message().contains(QStringLiteral("file121")), qPrintable(packed.message()));
}

void PackChangesTest::ofAnythingAreNoticedAtTheEnd_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<QString>("told");
    const Change nothing = [](const PackBox&) {};
    QTest::newRow("nothing") << nothing << QString();
    QTest::newRow("file added") << Change([](const PackBox& box) { writeFile(box.in("sub/new"), "new"); })
                                << QStringLiteral("job/sub");
    QTest::newRow("file added at the top")
        << Change([](const PackBox& box) { writeFile(box.in("new"), "new"); }) << QStringLiteral("job");
    QTest::newRow("file changed") << Change([](const PackBox& box) { writeFile(box.in("sub/file"), "new"); })
                                  << QStringLiteral("job/sub/file");
    QTest::newRow("empty file filled")
        << Change([](const PackBox& box) { writeFile(box.in("sub/empty"), "new"); })
        << QStringLiteral("job/sub/empty");
    QTest::newRow("link redirected") << Change([](const PackBox& box) {
        remove(box, "sub/link");
        QCOMPARE(::symlink("empty", box.in("sub/link").c_str()), 0);
    }) << QStringLiteral("job/sub");
}

void PackChangesTest::ofAnythingAreNoticedAtTheEnd()
{
    QFETCH(const Change, change);
    QFETCH(const QString, told);
    PackBox box;
    writeFile(box.in("sub/file"), content);
    writeFile(box.in("sub/empty"), "");
    QCOMPARE(::symlink("file", box.in("sub/link").c_str()), 0);
    for (const char* path : {"sub/file", "sub/empty", "sub", "."})
        setModified(box.in(path), 1'700'000'000);
    const auto listing = listFolder(box.folder());
    QVERIFY(listing.ok());
    change(box);
    const Status verified = verifyUnchanged(listing.value());
    QCOMPARE(verified.code(), told.isNull() ? ErrorCode::None : ErrorCode::ChangedWhileRead);
    QVERIFY2(verified.message().contains(told), qPrintable(verified.message()));
}

void PackChangesTest::whileItIsPacked()
{
    PackBox box;
    writeFile(box.in("growing"), featureLines(12 << 20, 1));
    writeFile(box.in("other"), content);
    std::atomic_bool started = false;
    std::atomic_bool stop = false;
    std::thread writer([&] {
        std::ofstream file(box.in("growing"), std::ios::binary | std::ios::app);
        while (!stop) {
            file << "one more line\n" << std::flush;
            started = true;
        }
    });
    const bool writing = QTest::qWaitFor([&] { return started.load(); });
    const auto packed = box.pack();
    stop = true;
    writer.join();
    QVERIFY(writing);
    QCOMPARE(packed.code(), ErrorCode::ChangedWhileRead);
    QVERIFY2(packed.message().contains(QStringLiteral("growing")), qPrintable(packed.message()));
    QVERIFY(namesOf(box.archiveFolder()).isEmpty());
}

ZAV_REGISTER_TEST(pack_changes, PackChangesTest, QCoreApplication)

#include "pack_changes.moc"
