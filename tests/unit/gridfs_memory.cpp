// The memory of a put or a get does not depend on the size of the file.

#include "tests/support/GridFsPeer.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include "backend/store/DocumentStore.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>

#include <cstdio>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

constexpr qint64 megabyte = 1'000'000;
const StoreLocation location{"memory", "files"};

/// Role of another process: puts and fetches a file, and tells its own peak of memory in kilobytes.
int runTransfer(const QStringList& arguments)
{
    DocumentStoreSettings settings;
    settings.kind = QStringLiteral("mongodb");
    settings.uri = arguments.at(2);
    const std::string source = local(arguments.at(3));
    const auto store = openDocumentStore(settings);
    if (!store.ok())
        return reportRole(store.status());
    const auto stored = store.value()->put(location, source.substr(source.rfind('/') + 1), source);
    if (!stored.ok())
        return reportRole(stored.status());
    const Status fetched = store.value()->get(location, stored->name, source + ".fetched");
    if (!fetched.ok())
        return reportRole(fetched);
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    std::printf("%ld\n", usage.ru_maxrss);
    return 0;
}

} // namespace

class GridFsMemoryTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void doesNotGrowWithTheFile();
};

void GridFsMemoryTest::doesNotGrowWithTheFile()
{
    // Seven replies of 2 MB, which is what a fetch with two connections holds; of 8 MB where the server is
    // slow to answer, which a busy machine may make it.
    constexpr qint64 allowedKb = 90'000;
    const GridFsPeer peer;
    if (!peer.problem().isEmpty())
        QSKIP(qPrintable(peer.problem()));
    const QTemporaryDir folder;
    const auto peakOf = [&](qint64 size) {
        QFile file(folder.filePath(QString::number(size)));
        if (!file.open(QIODevice::WriteOnly) || !file.resize(size))
            qFatal("%s", qPrintable(file.errorString()));
        file.close();
        const ProgramEnd end = runRole({}, {QStringLiteral("--transfer"), peer.uri(), file.fileName()});
        if (end.exitCode != 0)
            qWarning("%s", end.output.constData());
        return end.exitCode == 0 ? end.output.trimmed().toLongLong() : -1;
    };
    const qint64 small = peakOf(20 * megabyte);
    const qint64 large = peakOf(400 * megabyte);
    qInfo("peak of 20 MB: %lld KB, of 400 MB: %lld KB", small, large);
    QVERIFY(small > 0 && large > 0);
    QVERIFY(small < allowedKb);
    QVERIFY(large < allowedKb);
}

ZAV_REGISTER_ROLE("--transfer", runTransfer, QCoreApplication)
ZAV_REGISTER_TEST(gridfs_memory, GridFsMemoryTest, QCoreApplication)

#include "gridfs_memory.moc"
