#include "tests/support/PackBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

void makeSocket(const std::string& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        qFatal("cannot make the socket %s", path.c_str());
    ::close(listener);
}

} // namespace

class PackRefusalsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void entriesThatCannotBePacked_data();
    void entriesThatCannotBePacked();
    void requestsThatCannotBeMet_data();
    void requestsThatCannotBeMet();
    void anExistingTarget();
    void whatThisUserMayNotRead_data();
    void whatThisUserMayNotRead();
};

void PackRefusalsTest::entriesThatCannotBePacked_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("told");
    QTest::newRow("FIFO") << QByteArray("fifo") << QStringLiteral("sub/fifo: it is a FIFO");
    QTest::newRow("socket") << QByteArray("socket") << QStringLiteral("sub/socket: it is a socket");
    QTest::newRow("device") << QByteArray("device") << QStringLiteral("sub/device: it is a device");
    QTest::newRow("not UTF-8") << QByteArray("caf\xe9.txt") << QStringLiteral("sub/caf\\xE9.txt: its name");
    QTest::newRow("overlong UTF-8") << QByteArray("a\xc0\xaf") << QStringLiteral("sub/a\\xC0\\xAF: its name");
    QTest::newRow("surrogate") << QByteArray("\xed\xa0\x80")
                               << QStringLiteral("sub/\\xED\\xA0\\x80: its name");
    QTest::newRow("control") << QByteArray("a\x01"
                                           "b")
                             << QStringLiteral("sub/a\\x01b: its name");
}

void PackRefusalsTest::entriesThatCannotBePacked()
{
    QFETCH(const QByteArray, name);
    QFETCH(const QString, told);
    PackBox box;
    writeFile(box.in("sub/file"), "content");
    const std::string path = box.in("sub/" + name.toStdString());
    if (name == "fifo")
        QCOMPARE(::mkfifo(path.c_str(), S_IRUSR | S_IWUSR), 0);
    else if (name == "socket")
        makeSocket(path);
    else if (name != "device")
        writeFile(path, "content");
    else if (::mknod(path.c_str(), S_IFCHR | S_IRUSR, makedev(1, 3)) != 0)
        QSKIP("this user cannot make devices");
    const auto packed = box.pack();
    ::unlink(path.c_str()); // a name that is not UTF-8 would outlive the temporary folder
    QCOMPARE(packed.code(), ErrorCode::InvalidArgument);
    QVERIFY2(packed.message().contains(told), qPrintable(packed.message()));
    QVERIFY(namesOf(box.archiveFolder()).isEmpty());
}

void PackRefusalsTest::requestsThatCannotBeMet_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("target");
    QTest::addColumn<int>("threads");
    QTest::addColumn<int>("level");
    QTest::addColumn<ErrorCode>("code");
    const QString job = QStringLiteral("job");
    const QString zip = QStringLiteral("cache/job.zip");
    QTest::newRow("folder missing") << QStringLiteral("none") << zip << 0 << 5 << ErrorCode::NotFound;
    QTest::newRow("folder is a file") << QStringLiteral("job/file") << zip << 0 << 5 << ErrorCode::NotFound;
    QTest::newRow("target's folder missing")
        << job << QStringLiteral("none/job.zip") << 0 << 5 << ErrorCode::NotFound;
    QTest::newRow("target inside") << job << QStringLiteral("job/sub/job.zip") << 0 << 5
                                   << ErrorCode::InvalidArgument;
    QTest::newRow("target inside, over a link")
        << job << QStringLiteral("link/job.zip") << 0 << 5 << ErrorCode::InvalidArgument;
    QTest::newRow("negative threads") << job << zip << -1 << 5 << ErrorCode::InvalidArgument;
    QTest::newRow("level 0") << job << zip << 0 << 0 << ErrorCode::InvalidArgument;
    QTest::newRow("level 10") << job << zip << 0 << 10 << ErrorCode::InvalidArgument;
}

void PackRefusalsTest::requestsThatCannotBeMet()
{
    QFETCH(const QString, folder);
    QFETCH(const QString, target);
    QFETCH(const int, threads);
    QFETCH(const int, level);
    QFETCH(const ErrorCode, code);
    PackBox box;
    writeFile(box.in("file"), "content");
    makeFolder(box.in("sub"));
    QCOMPARE(::symlink("job/sub", local(box.beside(QStringLiteral("link"))).c_str()), 0);
    const auto packed = packFolder({local(box.beside(folder)), local(box.beside(target)), threads, level});
    QCOMPARE(packed.code(), code);
    QVERIFY(!packed.message().isEmpty());
    QVERIFY(namesOf(box.archiveFolder()).isEmpty());
    QCOMPARE(namesOf(QString::fromStdString(box.folder())),
             QStringList({QStringLiteral("file"), QStringLiteral("sub")}));
}

void PackRefusalsTest::anExistingTarget()
{
    PackBox box;
    writeFile(box.in("file"), "content");
    writeFile(local(box.archive()), "before");
    const auto packed = box.pack();
    QCOMPARE(packed.code(), ErrorCode::AlreadyExists);
    QCOMPARE(readFile(local(box.archive())), QByteArray("before"));
    QCOMPARE(namesOf(box.archiveFolder()), QStringList(QStringLiteral("job.zip")));
}

void PackRefusalsTest::whatThisUserMayNotRead_data()
{
    QTest::addColumn<QString>("locked");
    QTest::newRow("file") << QStringLiteral("sub/file");
    QTest::newRow("folder") << QStringLiteral("sub");
}

void PackRefusalsTest::whatThisUserMayNotRead()
{
    QFETCH(const QString, locked);
    PackBox box;
    writeFile(box.in("sub/file"), "content");
    const QString opening = QStringLiteral("chmod -R 777 \"$0\"; chmod 000 \"$0/job/$1\"");
    QCOMPARE(runProgram(QStringLiteral("sh"),
                        {QStringLiteral("-c"), opening, box.beside(QStringLiteral(".")), locked})
                 .exitCode,
             0);
    const ProgramEnd end = runRole(
        {QStringLiteral("setpriv"), QStringLiteral("--reuid=65534"), QStringLiteral("--clear-groups")},
        {QStringLiteral("--pack"), QString::fromStdString(box.folder()), box.archive()});
    if (end.exitCode != 1 || end.output.startsWith("setpriv: "))
        QSKIP(("cannot become another user here: " + end.output).constData());
    QVERIFY2(reportedCode(end.output) == ErrorCode::NotPermitted, end.output.constData());
    QVERIFY2(end.output.contains(QStringLiteral("job/%1:").arg(locked).toUtf8()), end.output.constData());
    QVERIFY(namesOf(box.archiveFolder()).isEmpty());
}

ZAV_REGISTER_ROLE("--pack", runPackRole, QCoreApplication)
ZAV_REGISTER_TEST(pack_refusals, PackRefusalsTest, QCoreApplication)

#include "pack_refusals.moc"
