#include "backend/io/TempFile.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

const QByteArray content = "new content";

Status publish(const std::string& target, ExistingTarget existing, qint64 expectedLength)
{
    auto temp = TempFile::create(target, TempFile::Access::AsUserDefault);
    if (!temp.ok())
        return temp.status();
    if (auto written = temp->file().write(content.constData(), content.size()); !written.ok())
        return written;
    return temp->publish(expectedLength, existing);
}

QString target(const QTemporaryDir& place)
{
    return place.filePath(QStringLiteral("target"));
}

/// Publishes in another process, whose n-th call of the kind fails.
ProgramEnd publishWithFault(const QTemporaryDir& place, const QString& call, int number,
                            const QString& existing)
{
    const QStringList tool = {QStringLiteral("strace"),
                              QStringLiteral("-o"),
                              QStringLiteral("/dev/null"),
                              QStringLiteral("-e"),
                              QStringLiteral("trace=") + call,
                              QStringLiteral("-e"),
                              QStringLiteral("inject=%1:error=EIO:when=%2").arg(call).arg(number)};
    return runRole(tool, {QStringLiteral("--publish"), target(place), existing});
}

/// Role of another process: publishes a file, beside or over what is there, and reports the outcome.
int publishInRole(const QStringList& arguments)
{
    const bool keeps = arguments.at(3) == QLatin1String("keep");
    return reportRole(publish(local(arguments.at(2)), keeps ? ExistingTarget::Keep : ExistingTarget::Replace,
                              content.size()));
}

} // namespace

class IoPublishingTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void givesTheNameToTheWholeFile();
    void isPrivateUntilItIsWhole();
    void ofAShortFileFails();
    void keepsWhatIsThereWhereAsked();
    void replacesAFileWhereAsked();
    void replacesNoFileThatIsImmutable();
    void replacesNothingButRegularFiles_data();
    void replacesNothingButRegularFiles();
    void thatFailsLeavesNothing_data();
    void thatFailsLeavesNothing();
};

void IoPublishingTest::givesTheNameToTheWholeFile()
{
    const QTemporaryDir place;
    const mode_t before = ::umask(S_IWGRP | S_IRWXO);
    const Status published = publish(local(target(place)), ExistingTarget::Keep, content.size());
    ::umask(before);
    QVERIFY2(published.ok(), qPrintable(published.message()));
    QCOMPARE(readFile(local(target(place))), content);
    QCOMPARE(namesOf(place.path()), QStringList(QStringLiteral("target")));
    const auto info = fileInfo(local(target(place)));
    QVERIFY(info.ok());
    QCOMPARE(info->permissions, quint32{S_IRUSR | S_IWUSR | S_IRGRP});
}

void IoPublishingTest::isPrivateUntilItIsWhole()
{
    const QTemporaryDir place;
    const mode_t before = ::umask(0);
    auto temp = TempFile::create(local(target(place)), TempFile::Access::AsUserDefault);
    auto other = TempFile::create(local(target(place)), TempFile::Access::AsUserDefault);
    ::umask(before);
    QVERIFY(temp.ok() && other.ok());
    QVERIFY(temp->file().write(content.constData(), content.size()).ok());
    const QStringList names = namesOf(place.path());
    QCOMPARE(names.size(), 2); // no two have the same name
    for (const QString& name : names) {
        const auto info = fileInfo(local(place.filePath(name)));
        QVERIFY(info.ok());
        QCOMPARE(info->permissions, quint32{S_IRUSR | S_IWUSR});
    }
}

void IoPublishingTest::ofAShortFileFails()
{
    const QTemporaryDir place;
    const Status published = publish(local(target(place)), ExistingTarget::Keep, content.size() + 1);
    QCOMPARE(published.code(), ErrorCode::Io);
    QVERIFY2(published.message().contains(target(place)), qPrintable(published.message()));
    QCOMPARE(namesOf(place.path()), QStringList());
}

void IoPublishingTest::keepsWhatIsThereWhereAsked()
{
    const QTemporaryDir place;
    writeFile(local(target(place)), "before");
    const Status published = publish(local(target(place)), ExistingTarget::Keep, content.size());
    QCOMPARE(published.code(), ErrorCode::AlreadyExists);
    QVERIFY2(published.message().contains(target(place)), qPrintable(published.message()));
    QCOMPARE(readFile(local(target(place))), QByteArray("before"));
    QCOMPARE(namesOf(place.path()), QStringList(QStringLiteral("target")));
}

void IoPublishingTest::replacesAFileWhereAsked()
{
    const QTemporaryDir place;
    writeFile(local(target(place)), "before");
    QVERIFY(publish(local(target(place)), ExistingTarget::Replace, content.size()).ok());
    QCOMPARE(readFile(local(target(place))), content);
    QCOMPARE(namesOf(place.path()), QStringList(QStringLiteral("target")));
}

void IoPublishingTest::replacesNoFileThatIsImmutable()
{
    // Memory has no such attribute.
    const QTemporaryDir place(QDir::currentPath() + QStringLiteral("/XXXXXX"));
    writeFile(local(target(place)), "before");
    const auto chattr = [&](const char* flag) {
        return runProgram(QStringLiteral("chattr"), {QString::fromLatin1(flag), target(place)}).exitCode;
    };
    if (chattr("+i") != 0)
        QSKIP("files cannot be made immutable here");
    const Status published = publish(local(target(place)), ExistingTarget::Replace, content.size());
    QCOMPARE(chattr("-i"), 0);
    QCOMPARE(published.code(), ErrorCode::NotPermitted);
    QVERIFY2(published.message().contains(target(place)), qPrintable(published.message()));
    QCOMPARE(readFile(local(target(place))), QByteArray("before"));
    QCOMPARE(namesOf(place.path()), QStringList(QStringLiteral("target")));
}

void IoPublishingTest::replacesNothingButRegularFiles_data()
{
    QTest::addColumn<QString>("make");
    QTest::addColumn<QString>("kind");
    QTest::newRow("folder") << QStringLiteral("mkdir target") << QStringLiteral("a folder");
    QTest::newRow("link to a file") << QStringLiteral("ln -s ../other target")
                                    << QStringLiteral("a symbolic link");
    QTest::newRow("dangling link") << QStringLiteral("ln -s nowhere target")
                                   << QStringLiteral("a symbolic link");
    QTest::newRow("FIFO") << QStringLiteral("mkfifo target") << QStringLiteral("a FIFO");
    QTest::newRow("device") << QStringLiteral("mknod target c 1 3") << QStringLiteral("a device");
}

void IoPublishingTest::replacesNothingButRegularFiles()
{
    QFETCH(const QString, make);
    QFETCH(const QString, kind);
    const QTemporaryDir place;
    const QTemporaryDir folder(place.filePath(QStringLiteral("XXXXXX")));
    writeFile(local(place.filePath(QStringLiteral("other"))), "other");
    const ProgramEnd made = runProgram(
        QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("cd \"$0\" && ") + make, folder.path()});
    if (made.exitCode != 0)
        QSKIP("such a thing cannot be made by this user here");
    const auto before = fileInfo(local(target(folder)));
    QVERIFY(before.ok());
    const Status published = publish(local(target(folder)), ExistingTarget::Replace, content.size());
    QCOMPARE(published.code(), ErrorCode::InvalidArgument);
    QCOMPARE(published.message(),
             QStringLiteral("cannot replace %1: it is %2, not a regular file").arg(target(folder), kind));
    const auto after = fileInfo(local(target(folder)));
    QVERIFY(after.ok());
    QVERIFY(after->isSameFile(before.value()));
    QCOMPARE(namesOf(folder.path()), QStringList(QStringLiteral("target")));
    QCOMPARE(readFile(local(place.filePath(QStringLiteral("other")))), QByteArray("other"));
}

void IoPublishingTest::thatFailsLeavesNothing_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("existing");
    QTest::addColumn<QByteArray>("left");
    const QString keep = QStringLiteral("keep");
    const QString replace = QStringLiteral("replace");
    const QByteArray before = "before";
    QTest::newRow("sync") << QStringLiteral("fsync") << 1 << keep << QByteArray();
    QTest::newRow("name") << QStringLiteral("renameat2") << 1 << keep << QByteArray();
    QTest::newRow("sync of the folder") << QStringLiteral("fsync") << 2 << keep << QByteArray();
    QTest::newRow("sync before replacing") << QStringLiteral("fsync") << 1 << replace << before;
    QTest::newRow("name before replacing") << QStringLiteral("rename") << 1 << replace << before;
    QTest::newRow("sync of the folder after replacing") << QStringLiteral("fsync") << 2 << replace << content;
}

void IoPublishingTest::thatFailsLeavesNothing()
{
    QFETCH(const QString, call);
    QFETCH(const int, number);
    QFETCH(const QString, existing);
    QFETCH(const QByteArray, left);
    if (!canInject())
        QSKIP("strace cannot inject faults here");
    const QTemporaryDir place;
    if (existing == QLatin1String("replace"))
        writeFile(local(target(place)), "before");
    const ProgramEnd end = publishWithFault(place, call, number, existing);
    QCOMPARE(end.exitCode, 1);
    QCOMPARE(reportedCode(end.output), ErrorCode::Io);
    QCOMPARE(readFile(local(target(place))), left);
    QCOMPARE(namesOf(place.path()), left.isEmpty() ? QStringList() : QStringList(QStringLiteral("target")));
}

ZAV_REGISTER_ROLE("--publish", publishInRole, QCoreApplication)
ZAV_REGISTER_TEST(io_publishing, IoPublishingTest, QCoreApplication)

#include "io_publishing.moc"
