#include "backend/io/ProcessFolder.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <optional>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

/// Role of another process: makes a folder with a file in it, tells its path and waits to be ended.
int holdFolder(const QStringList& arguments)
{
    const auto folder = ProcessFolder::make(local(arguments.at(2)));
    if (!folder.ok())
        return 1;
    writeFile(folder->path() + "/content", "content");
    std::puts(folder->path().c_str());
    std::fflush(stdout);
    return std::getchar() == EOF ? 0 : 1;
}

} // namespace

/// Folders that live as long as their processes.
class IoProcessFolderTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void aFolderIsItsProcesssOwn();
    void aLivingProcesssFolderIsNotTaken();
    void aKilledProcesssFolderIsTakenOnce();
    void whatIsNoProcesssFolderStays();
    void aFolderWithContentIsNotRemovedAsEmpty();
    void linksInAFolderAreNotFollowed();

private:
    [[nodiscard]] std::string shared() const { return local(m_place->filePath(QStringLiteral("work"))); }
    [[nodiscard]] size_t abandoned() const { return ProcessFolder::takeAbandoned(shared())->size(); }

    std::unique_ptr<QTemporaryDir> m_place;
};

void IoProcessFolderTest::init()
{
    m_place = std::make_unique<QTemporaryDir>();
}

void IoProcessFolderTest::aFolderIsItsProcesssOwn()
{
    QCOMPARE(abandoned(), size_t{0});
    QVERIFY(!QFileInfo::exists(m_place->filePath(QStringLiteral("work"))));
    const auto one = ProcessFolder::make(shared());
    const auto two = ProcessFolder::make(shared());
    QVERIFY2(one.ok() && two.ok(), qPrintable(one.message()));
    QVERIFY(one->path() != two->path());
    struct stat status = {};
    QCOMPARE(::stat(one->path().c_str(), &status), 0);
    QCOMPARE(status.st_mode & 0777U, 0700U);
}

void IoProcessFolderTest::aLivingProcesssFolderIsNotTaken()
{
    auto own = std::make_optional(ProcessFolder::make(shared()));
    QCOMPARE(abandoned(), size_t{0});
    QVERIFY(QFileInfo::exists(QString::fromStdString((*own)->path())));
    own.reset();
    QCOMPARE(abandoned(), size_t{1});
}

void IoProcessFolderTest::aKilledProcesssFolderIsTakenOnce()
{
    QProcess other;
    other.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--hold-folder"), QString::fromStdString(shared())});
    QVERIFY(other.waitForReadyRead(30000));
    const QString path = QString::fromLocal8Bit(other.readLine()).trimmed();
    QVERIFY2(QFileInfo::exists(path + QStringLiteral("/content")), qPrintable(path));
    QCOMPARE(abandoned(), size_t{0});
    other.kill();
    QVERIFY(other.waitForFinished(30000));

    auto taken = ProcessFolder::takeAbandoned(shared());
    QVERIFY2(taken.ok(), qPrintable(taken.message()));
    QCOMPARE(taken->size(), size_t{1});
    QCOMPARE(QString::fromStdString(taken->front().path()), path);
    QCOMPARE(abandoned(), size_t{0});
    QVERIFY(taken->front().remove().ok());
    QVERIFY(!QFileInfo::exists(path));
}

void IoProcessFolderTest::whatIsNoProcesssFolderStays()
{
    writeFile(shared() + "/job-x/file", "content");
    writeFile(shared() + "/process-file", "content");
    QCOMPARE(abandoned(), size_t{0});
    QCOMPARE(namesOf(QString::fromStdString(shared())),
             QStringList({QStringLiteral("job-x"), QStringLiteral("lock"), QStringLiteral("process-file")}));
}

void IoProcessFolderTest::aFolderWithContentIsNotRemovedAsEmpty()
{
    auto folder = ProcessFolder::make(shared());
    const QString path = QString::fromStdString(folder->path());
    writeFile(folder->path() + "/content", "content");
    folder->removeIfEmpty();
    QVERIFY(QFileInfo::exists(path + QStringLiteral("/content")));
    QVERIFY(QFile::remove(path + QStringLiteral("/content")));
    folder->removeIfEmpty();
    QVERIFY(!QFileInfo::exists(path));
}

void IoProcessFolderTest::linksInAFolderAreNotFollowed()
{
    const QString outside = m_place->filePath(QStringLiteral("outside"));
    writeFile(local(outside + QStringLiteral("/file")), "content");
    auto folder = ProcessFolder::make(shared());
    QVERIFY(QFile::link(outside, QString::fromStdString(folder->path() + "/link")));
    QVERIFY(folder->remove().ok());
    QVERIFY(QFileInfo::exists(outside + QStringLiteral("/file")));
}

ZAV_REGISTER_TEST(io_process_folder, IoProcessFolderTest, QCoreApplication)
ZAV_REGISTER_ROLE("--hold-folder", holdFolder, QCoreApplication)

#include "io_process_folder.moc"
