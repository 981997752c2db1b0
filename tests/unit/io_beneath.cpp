#include "backend/io/Folder.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

#include <memory>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

/// Opens a file beneath a folder, and its folder as such.
Status openBeneath(const std::string& root, const std::string& relativePath)
{
    const auto folder = Folder::open(root);
    if (!folder.ok())
        return folder.status();
    const auto slash = relativePath.rfind('/');
    if (slash != std::string::npos) {
        const auto parent = folder->openFolder(relativePath.substr(0, slash));
        if (!parent.ok())
            return parent.status();
    }
    return File::openForReadingIn(folder.value(), relativePath).status();
}

/// Role of another process: opens a file beneath a folder and reports the outcome.
int openInRole(const QStringList& arguments)
{
    return reportRole(openBeneath(local(arguments.at(2)), local(arguments.at(3))));
}

} // namespace

/// Both ways to stay beneath a folder: the system's own, and the one for systems without it.
class IoBeneathTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void filesAreOpened_data();
    void filesAreOpened();

private:
    std::unique_ptr<QTemporaryDir> m_place;
};

void IoBeneathTest::init()
{
    m_place = std::make_unique<QTemporaryDir>();
    const auto path = [this](const char* name) { return local(m_place->filePath(QLatin1String(name))); };
    writeFile(path("outside"), "content");
    writeFile(path("root/file"), "content");
    writeFile(path("root/a/b/file"), "content");
    QCOMPARE(::symlink("file", path("root/link").c_str()), 0);
    QCOMPARE(::symlink("b", path("root/a/link").c_str()), 0);
    QCOMPARE(::symlink("../..", path("root/a/out").c_str()), 0);
    QCOMPARE(::mkfifo(path("root/a/fifo").c_str(), S_IRUSR | S_IWUSR), 0);
}

void IoBeneathTest::filesAreOpened_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("opens");
    QTest::addColumn<bool>("hasCall");
    for (const bool hasCall : {true, false}) {
        const auto row = [hasCall](const char* path, bool opens) {
            QTest::addRow("%s, %s the system call", path, hasCall ? "with" : "without")
                << QString::fromLatin1(path) << opens << hasCall;
        };
        row("file", true);
        row("a/b/file", true);
        row("missing", false);
        row("a/missing/file", false);
        row("link", false);
        row("a/link/file", false);
        row("a/out/outside", false);
        row("../outside", false);
        row("a/../../outside", false);
        row("a/fifo", false);
        row("a/b", false);
        row("/etc/hostname", false);
    }
}

void IoBeneathTest::filesAreOpened()
{
    QFETCH(const QString, path);
    QFETCH(const bool, opens);
    QFETCH(const bool, hasCall);
    const QString root = m_place->filePath(QStringLiteral("root"));
    if (hasCall) {
        QCOMPARE(openBeneath(local(root), local(path)).ok(), opens);
        return;
    }
    if (!canInject())
        QSKIP("strace cannot inject faults here");
    for (const char* error : {"ENOSYS", "EPERM"}) {
        const QString inject = QStringLiteral("inject=openat2:error=") + QLatin1String(error);
        const ProgramEnd end =
            runRole({QStringLiteral("strace"), QStringLiteral("-o"), QStringLiteral("/dev/null"),
                     QStringLiteral("-e"), QStringLiteral("trace=openat2"), QStringLiteral("-e"), inject},
                    {QStringLiteral("--open"), root, path});
        QVERIFY2(end.exitCode == (opens ? 0 : 1), end.output.constData());
    }
}

ZAV_REGISTER_ROLE("--open", openInRole, QCoreApplication)
ZAV_REGISTER_TEST(io_beneath, IoBeneathTest, QCoreApplication)

#include "io_beneath.moc"
