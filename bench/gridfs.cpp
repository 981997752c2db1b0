// Storing and fetching one large file and many small ones in GridFS: the document store, pymongo's gridfs (as
// it is, without its MD5, and with the store's checks), and a bare socket that only moves the bytes, in turns
// on the same server. Prints medians and their ratios.
// Usage: bench_gridfs [large MB] [number of small files] [rounds]; files are in $TMPDIR.

#include "backend/store/DocumentStore.h"
#include "tests/support/GridFsPeer.h"
#include "tests/support/TestFiles.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <functional>
#include <vector>

using namespace KOZAV;
using namespace KOZAV::Backend;

namespace {

constexpr int smallSize = 100'000;
const Backend::StoreLocation location{"bench_store", "archives"};

void require(bool done, const char* what)
{
    if (!done)
        qFatal("%s failed", what);
}

void require(const Status& status)
{
    if (!status.ok())
        qFatal("%s", qPrintable(status.message()));
}

/// The files that are stored and fetched.
class BenchFiles final
{
public:
    BenchFiles(int largeBytes, int count)
        : m_count(count)
    {
        Test::writeFile(large(), Test::randomBytes(largeBytes, 1));
        for (int i = 0; i < count; ++i)
            Test::writeFile(small(i), Test::randomBytes(smallSize, static_cast<quint32>(i)));
        Test::makeFolder(path("out"));
    }

    [[nodiscard]] std::string path(const std::string& name) const
    {
        return Test::local(m_folder.path()) + '/' + name;
    }
    [[nodiscard]] std::string large() const { return path("large"); }
    [[nodiscard]] std::string small(int number) const { return path("small/" + std::to_string(number)); }
    [[nodiscard]] std::string fetched(const std::string& name) const { return path("out/" + name); }
    [[nodiscard]] int count() const { return m_count; }
    [[nodiscard]] QString folder() const { return m_folder.path(); }

    /// Ends the program where a contender has brought something else than was stored.
    void check() const
    {
        require(Test::readFile(fetched("large")) == Test::readFile(large()), "comparing the large file");
        for (int i = 0; i < m_count; ++i)
            require(Test::readFile(fetched(std::to_string(i))) == Test::readFile(small(i)),
                    "comparing a small file");
        for (const QString& name : Test::namesOf(folder() + QStringLiteral("/out")))
            require(QFile::remove(folder() + QStringLiteral("/out/") + name), "removing a fetched file");
    }

private:
    QTemporaryDir m_folder;
    int m_count;
};

/// The document store.
class StoreContender final
{
public:
    StoreContender(const QString& uri, const BenchFiles& files)
        : m_files(files)
    {
        DocumentStoreSettings settings;
        settings.kind = QStringLiteral("mongodb");
        settings.uri = uri;
        auto opened = openDocumentStore(settings);
        require(opened.status());
        m_store = std::move(opened.value());
    }

    double run(const QString& work)
    {
        QElapsedTimer timer;
        timer.start();
        if (work == QLatin1String("put-large"))
            put("large", m_files.large());
        else if (work == QLatin1String("get-large"))
            get("large");
        else
            runMany(work);
        return static_cast<double>(timer.nsecsElapsed()) / 1e9;
    }

private:
    void put(const std::string& name, const std::string& path)
    {
        require(m_store->put(location, name, path).status());
    }
    void get(const std::string& name) { require(m_store->get(location, name, m_files.fetched(name))); }

    void runMany(const QString& work)
    {
        for (int i = 0; i < m_files.count(); ++i) {
            const std::string name = std::to_string(i);
            if (work == QLatin1String("put-many"))
                put(name, m_files.small(i));
            else if (work == QLatin1String("get-many"))
                get(name);
            else
                require(m_store->remove(location, name));
        }
        if (work == QLatin1String("remove"))
            require(m_store->remove(location, "large"));
    }

    const BenchFiles& m_files;
    std::unique_ptr<DocumentStore> m_store;
};

/// The contenders in Python.
class PythonContenders final
{
public:
    PythonContenders(quint16 port, const BenchFiles& files)
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(ZAV_TEST_PYTHON),
                        {QStringLiteral("-B"), QStringLiteral(ZAV_GRIDFS_PYMONGO), QString::number(port),
                         files.folder(), QString::number(files.count())});
        require(m_process.waitForStarted(), "starting Python");
    }
    ~PythonContenders()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }
    Q_DISABLE_COPY(PythonContenders)

    double run(const QString& contender, const QString& work)
    {
        m_process.write((contender + QLatin1Char(' ') + work + QLatin1Char('\n')).toUtf8());
        while (!m_process.canReadLine())
            require(m_process.waitForReadyRead(600'000), "waiting for Python");
        return m_process.readLine().trimmed().toDouble();
    }

private:
    QProcess m_process;
};

struct Contender
{
    QString name;
    std::function<double(const QString&)> run;
    bool fetchesToFiles;
    QMap<QString, std::vector<double>> times;
};

const char* const timedWork[] = {"put-large", "get-large", "put-many", "get-many"};

void runRound(Contender& contender, const BenchFiles& files, bool counts)
{
    for (const char* work : timedWork) {
        const double seconds = contender.run(QLatin1String(work));
        if (counts)
            contender.times[QLatin1String(work)].push_back(seconds);
    }
    contender.run(QStringLiteral("remove"));
    if (contender.fetchesToFiles)
        files.check();
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

void print(const std::vector<Contender>& contenders, const char* work, double megabytes)
{
    QTextStream out(stdout);
    out.setRealNumberNotation(QTextStream::FixedNotation);
    out.setRealNumberPrecision(2);
    const QString key = QLatin1String(work);
    const double ours = median(contenders.front().times[key]);
    out << work << '\n';
    for (const Contender& contender : contenders) {
        const double seconds = median(contender.times[key]);
        out << "  " << contender.name.leftJustified(16) << seconds * 1000 << " ms, " << megabytes / seconds
            << " MB/s, " << seconds / ours << " times as long as the store\n";
    }
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const auto argument = [&](int number, int byDefault) {
        return application.arguments().value(number, QString::number(byDefault)).toInt();
    };
    const int megabytes = argument(1, 200);
    const int count = argument(2, 1000);
    const int rounds = argument(3, 5);

    Test::GridFsPeer peer;
    if (const QString refusal = peer.refusal(); !refusal.isEmpty())
        qFatal("%s", qPrintable(refusal));
    const BenchFiles files(megabytes * 1'000'000, count);
    StoreContender store(peer.uri(), files);
    PythonContenders python(peer.port(), files);
    std::vector<Contender> contenders{
        {QStringLiteral("store"), [&](const QString& work) { return store.run(work); }, true, {}}};
    for (const char* name : {"pymongo", "pymongo-no-md5", "pymongo-checked", "bare"}) {
        const QString key = QLatin1String(name);
        contenders.push_back({key,
                              [&python, key](const QString& work) { return python.run(key, work); },
                              key != QLatin1String("bare"),
                              {}});
    }
    for (int round = 0; round <= rounds; ++round) {
        for (Contender& contender : contenders)
            runRound(contender, files, round > 0);
    }
    QTextStream(stdout) << megabytes << " MB in one file, " << count << " files of " << smallSize
                        << " bytes, " << rounds << " rounds, medians\n";
    for (const char* work : timedWork)
        print(contenders, work, QByteArray(work).endsWith("large") ? megabytes : count * smallSize / 1e6);
    return 0;
}
