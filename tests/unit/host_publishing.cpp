// A file that the client puts into a folder of somebody else's: whole or not at all, never over anything.

#include "host/odb/WorkFolder.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>

using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

const QByteArray content = "new content";

QString target()
{
    return QStringLiteral("readme.json");
}

/// Has the kernel refuse files without a name in this process, as many network file systems do.
bool refuseNamelessFiles()
{
    constexpr unsigned nameless = O_TMPFILE & ~O_DIRECTORY;
    std::array<sock_filter, 6> filter = {{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])),
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, nameless, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EOPNOTSUPP),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    sock_fprog program = {filter.size(), filter.data()};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0 &&
           ::open("/tmp", O_TMPFILE | O_WRONLY, 0600) < 0 && errno == EOPNOTSUPP;
}

/// Role of another process: publishes the file in the folder that is named, and tells the error.
int publish(const QStringList& arguments)
{
    if (arguments.at(3) == QLatin1String("named") && !refuseNamelessFiles())
        return 2;
    WorkFolder folder;
    if (folder.open(arguments.at(2)))
        return 3;
    const std::error_code error = folder.publishFile(target(), content);
    std::printf("%d", error.value());
    return 0;
}

} // namespace

class HostPublishingTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_place = std::make_unique<QTemporaryDir>(); }
    void aFileIsMadeWhole_data() { addWays(); }
    void aFileIsMadeWhole();
    void nothingIsReplaced_data();
    void nothingIsReplaced();
    void whatAnInterruptedRunLeftIsNoHindrance_data() { addWays(); }
    void whatAnInterruptedRunLeftIsNoHindrance();

private:
    static void addWays();
    /// @return the error number; -1 where the other process did not come to it
    [[nodiscard]] int publishInRole(const QString& way) const;
    [[nodiscard]] QString path(const QString& name) const { return m_place->filePath(name); }
    [[nodiscard]] QStringList names() const
    {
        return QDir(m_place->path())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

    std::unique_ptr<QTemporaryDir> m_place;
};

void HostPublishingTest::addWays()
{
    QTest::addColumn<QString>("way");
    QTest::newRow("by a file without a name") << QStringLiteral("nameless");
    QTest::newRow("by a file of another name") << QStringLiteral("named");
}

int HostPublishingTest::publishInRole(const QString& way) const
{
    QProcess other;
    other.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--publish-file"), m_place->path(), way});
    if (!other.waitForFinished(30000) || other.exitStatus() != QProcess::NormalExit || other.exitCode() != 0)
        return -1;
    return other.readAllStandardOutput().toInt();
}

void HostPublishingTest::aFileIsMadeWhole()
{
    QFETCH(const QString, way);
    QCOMPARE(publishInRole(way), 0);
    QFile file(path(target()));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), content);
    QCOMPARE(names(), QStringList(target()));
}

void HostPublishingTest::nothingIsReplaced_data()
{
    QTest::addColumn<QString>("way");
    QTest::addColumn<QString>("there");
    for (const char* way : {"nameless", "named"})
        for (const char* there : {"file", "link", "dangling link", "pipe", "folder"})
            QTest::addRow("%s, %s", there, way) << QString::fromLatin1(way) << QString::fromLatin1(there);
}

void HostPublishingTest::nothingIsReplaced()
{
    QFETCH(const QString, way);
    QFETCH(const QString, there);
    const QString elsewhere = path(QStringLiteral("elsewhere"));
    QFile file(there == QLatin1String("file") ? path(target()) : elsewhere);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write("old"), qint64{3});
    file.close();
    const QByteArray native = QFile::encodeName(path(target()));
    if (there == QLatin1String("link"))
        QVERIFY(QFile::link(elsewhere, path(target())));
    else if (there == QLatin1String("dangling link"))
        QVERIFY(QFile::link(path(QStringLiteral("nowhere")), path(target())));
    else if (there == QLatin1String("pipe"))
        QCOMPARE(::mkfifo(native.constData(), 0600), 0);
    else if (there == QLatin1String("folder"))
        QVERIFY(QDir().mkdir(path(target())));
    const QStringList before = names();
    QCOMPARE(publishInRole(way), EEXIST);
    QCOMPARE(names(), before);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("old"));
}

void HostPublishingTest::whatAnInterruptedRunLeftIsNoHindrance()
{
    QFETCH(const QString, way);
    QFile part(path(QStringLiteral("readme.json.part")));
    QVERIFY(part.open(QIODevice::WriteOnly));
    QVERIFY(part.write("half") > 0);
    part.close();
    QCOMPARE(publishInRole(way), 0);
    QVERIFY(QFileInfo(path(target())).size() == content.size());
    QCOMPARE(names().contains(QStringLiteral("readme.json.part")), way == QLatin1String("nameless"));
}

ZAV_REGISTER_ROLE("--publish-file", publish, QCoreApplication)
ZAV_REGISTER_TEST(host_publishing, HostPublishingTest, QCoreApplication)

#include "host_publishing.moc"
