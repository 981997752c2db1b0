#include "tests/support/StoreBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <thread>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

/// Runs a role as a user who owns nothing here.
ProgramEnd runAsNobody(const QStringList& role)
{
    return runRole(
        {QStringLiteral("setpriv"), QStringLiteral("--reuid=65534"), QStringLiteral("--clear-groups")}, role);
}

} // namespace

class StoreRefusalsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void settingsThatCannotWork_data();
    void settingsThatCannotWork();
    void sourcesThatAreNoFiles_data();
    void sourcesThatAreNoFiles();
    void targetsThatCannotBeWritten();
    void aSourceThatGrows();
    void aRootThatCannotBeWritten();
    void aSourceThatCannotBeRead();
};

void StoreRefusalsTest::settingsThatCannotWork_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("root");
    QTest::addColumn<QString>("told");
    const QString localKind = QStringLiteral("local");
    QTest::newRow("no root") << localKind << QString() << QStringLiteral("document_store/root");
    QTest::newRow("absent root") << localKind << QStringLiteral("/nonexistent/store")
                                 << QStringLiteral("/nonexistent/store");
    QTest::newRow("a file as root") << localKind << QStringLiteral("/proc/self/status")
                                    << QStringLiteral("/proc/self/status");
#if ZAV_WITH_MONGODB
    const QString mongoDb = QStringLiteral("document_store/uri cannot be used");
#else
    const QString mongoDb = QStringLiteral("this build has no MongoDB support");
#endif
    QTest::newRow("MongoDB without a URI") << QStringLiteral("mongodb") << QString() << mongoDb;
    QTest::newRow("unknown kind") << QStringLiteral("cloud") << QString() << QStringLiteral("cloud");
}

void StoreRefusalsTest::settingsThatCannotWork()
{
    QFETCH(const QString, kind);
    QFETCH(const QString, root);
    QFETCH(const QString, told);
    DocumentStoreSettings settings;
    settings.kind = kind;
    settings.root = root;
    const auto opened = openDocumentStore(settings);
    QCOMPARE(opened.code(), ErrorCode::Configuration);
    QVERIFY2(opened.message().contains(told), qPrintable(opened.message()));
}

void StoreRefusalsTest::sourcesThatAreNoFiles_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<ErrorCode>("code");
    QTest::addColumn<QString>("told");
    QTest::newRow("FIFO") << QStringLiteral("fifo") << ErrorCode::InvalidArgument << QStringLiteral("a FIFO");
    QTest::newRow("folder") << QStringLiteral("folder") << ErrorCode::InvalidArgument
                            << QStringLiteral("a folder");
    QTest::newRow("missing") << QStringLiteral("missing") << ErrorCode::NotFound << QStringLiteral("missing");
    QTest::newRow("dangling link") << QStringLiteral("link") << ErrorCode::NotFound << QStringLiteral("link");
}

void StoreRefusalsTest::sourcesThatAreNoFiles()
{
    QFETCH(const QString, source);
    QFETCH(const ErrorCode, code);
    QFETCH(const QString, told);
    StoreBox box;
    QCOMPARE(::mkfifo(box.beside("fifo").c_str(), S_IRUSR | S_IWUSR), 0);
    QCOMPARE(::symlink("nowhere", box.beside("link").c_str()), 0);
    makeFolder(box.beside("folder"));
    const std::string path = box.beside(source.toStdString());
    const auto put = box.store().put(testLocation(), "job.zip", path);
    QCOMPARE(put.code(), code);
    QVERIFY2(put.message().contains(told), qPrintable(put.message()));
    QCOMPARE(box.store().adopt(testLocation(), "job.zip", path).code(), code);
    QCOMPARE(box.store().find(testLocation(), "job.zip").code(), ErrorCode::NotFound);
}

void StoreRefusalsTest::targetsThatCannotBeWritten()
{
    StoreBox box;
    QVERIFY(box.put("job.zip", "content").ok());
    makeFolder(box.beside("folder"));
    const Status absent = box.store().get(testLocation(), "job.zip", box.beside("absent/target"));
    QCOMPARE(absent.code(), ErrorCode::InvalidArgument);
    QVERIFY2(absent.message().contains(QStringLiteral("absent")), qPrintable(absent.message()));
    QVERIFY(!box.store().get(testLocation(), "job.zip", box.beside("folder")).ok());
    QCOMPARE(namesOf(QString::fromStdString(box.beside(""))),
             QStringList({QStringLiteral("folder"), QStringLiteral("source")}));
}

void StoreRefusalsTest::aSourceThatGrows()
{
    StoreBox box;
    writeFile(box.beside("growing"), featureLines(20 << 20, 1));
    std::atomic_bool started = false;
    std::atomic_bool stop = false;
    std::thread writer([&] {
        std::ofstream file(box.beside("growing"), std::ios::binary | std::ios::app);
        while (!stop) {
            file << "one more line\n" << std::flush;
            started = true;
        }
    });
    const bool writing = QTest::qWaitFor([&] { return started.load(); });
    const auto put = box.store().put(testLocation(), "job.zip", box.beside("growing"));
    stop = true;
    writer.join();
    QVERIFY(writing);
    QCOMPARE(put.code(), ErrorCode::ChangedWhileRead);
    QVERIFY2(put.message().contains(QStringLiteral("growing")), qPrintable(put.message()));
    QCOMPARE(box.store().find(testLocation(), "job.zip").code(), ErrorCode::NotFound);
    QCOMPARE(namesOf(QString::fromStdString(box.temps())), QStringList());
}

void StoreRefusalsTest::aRootThatCannotBeWritten()
{
    const QTemporaryDir place;
    QCOMPARE(::chmod(local(place.path()).c_str(), S_IRWXU | S_IRGRP | S_IXGRP | S_IROTH | S_IXOTH), 0);
    const QString root = place.filePath(QStringLiteral("store"));
    makeFolder(local(root));
    QCOMPARE(::chmod(local(root).c_str(), S_IRUSR | S_IXUSR | S_IROTH | S_IXOTH), 0);
    const ProgramEnd end = runAsNobody({QStringLiteral("--store"), QStringLiteral("put"), root,
                                        QStringLiteral("x"), QStringLiteral("/etc/hostname")});
    if (end.exitCode != 1)
        QSKIP("cannot become another user here");
    QCOMPARE(reportedCode(end.output), ErrorCode::NotPermitted);
    QVERIFY2(end.output.contains(root.toUtf8()), end.output.constData());
}

void StoreRefusalsTest::aSourceThatCannotBeRead()
{
    const QTemporaryDir place;
    QCOMPARE(::chmod(local(place.path()).c_str(), S_IRWXU | S_IRWXG | S_IRWXO), 0);
    const QString root = place.filePath(QStringLiteral("store"));
    const QString source = place.filePath(QStringLiteral("secret"));
    makeFolder(local(root));
    markRoot(local(root));
    for (const char* folder : {"/marked", "/marked/site"})
        QCOMPARE(::chmod((local(root) + folder).c_str(), S_IRWXU | S_IRGRP | S_IXGRP | S_IROTH | S_IXOTH), 0);
    QCOMPARE(::chmod(local(root).c_str(), S_IRWXU | S_IRWXG | S_IRWXO), 0);
    writeFile(local(source), "content");
    QCOMPARE(::chmod(local(source).c_str(), 0), 0);
    const ProgramEnd end =
        runAsNobody({QStringLiteral("--store"), QStringLiteral("put"), root, QStringLiteral("x"), source});
    if (end.exitCode != 1)
        QSKIP("cannot become another user here");
    QCOMPARE(reportedCode(end.output), ErrorCode::NotPermitted);
    QVERIFY2(end.output.contains(source.toUtf8()), end.output.constData());
    QCOMPARE(openLocalStore(local(root))->find(testLocation(), "x").code(), ErrorCode::NotFound);
}

ZAV_REGISTER_ROLE("--store", runStoreRole, QCoreApplication)
ZAV_REGISTER_TEST(store_refusals, StoreRefusalsTest, QCoreApplication)

#include "store_refusals.moc"
