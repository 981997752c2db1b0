// Storing and fetching one large file and many small ones in GridFS: the document store, pymongo's gridfs (as
// it is, without its MD5, and with the store's checks), and a bare socket that only moves the bytes, in turns
// on the same server: the tests' own peer, or the one that $ZAV_TEST_MONGODB_URI names. All of it passes
// through a proxy, which may delay it. Prints what the server is, and the seconds of every round as JSON.
//
//     bench_gridfs [--large MB] [--count SMALL FILES] [--rounds N] [--delay-ms MS] [--gets-only]
//
// With none of the large or of the small the work with them is left out; with --gets-only each contender
// stores once before the rounds. Files are in $TMPDIR. The bare socket is left out where the server wants a
// login or TLS.

#include "backend/store/DocumentStore.h"
#include "bench/BenchSite.h"
#include "bench/Report.h"
#include "tests/support/TestFiles.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>

#include <functional>
#include <vector>

using namespace KOZAV;
using namespace KOZAV::Backend;
using namespace KOZAV::Bench;

namespace {

constexpr int smallSize = 100'000;
const Backend::StoreLocation location{"bench_store", "archives"};

using Bench::require;

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
        : m_largeBytes(largeBytes)
        , m_count(count)
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
    [[nodiscard]] bool hasLarge() const { return m_largeBytes > 0; }
    [[nodiscard]] int count() const { return m_count; }
    [[nodiscard]] QString folder() const { return m_folder.path(); }

    /// Ends the program where a contender has brought something else than was stored.
    void check() const
    {
        if (hasLarge())
            require(Test::readFile(fetched("large")) == Test::readFile(large()), "comparing the large file");
        for (int i = 0; i < m_count; ++i)
            require(Test::readFile(fetched(std::to_string(i))) == Test::readFile(small(i)),
                    "comparing a small file");
        for (const QString& name : Test::namesOf(folder() + QStringLiteral("/out")))
            require(QFile::remove(folder() + QStringLiteral("/out/") + name), "removing a fetched file");
    }

private:
    QTemporaryDir m_folder;
    int m_largeBytes;
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
        if (work == QLatin1String("remove") && m_files.hasLarge())
            require(m_store->remove(location, "large"));
    }

    const BenchFiles& m_files;
    std::unique_ptr<DocumentStore> m_store;
};

/// The contenders in Python.
class PythonContenders final
{
public:
    PythonContenders(const QString& uri, const BenchFiles& files)
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(ZAV_TEST_PYTHON),
                        {QStringLiteral("-B"), QStringLiteral(ZAV_GRIDFS_PYMONGO), uri, files.folder(),
                         QString::number(files.count())});
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

/// What is timed, in this order.
QStringList timedWork(const BenchFiles& files)
{
    QStringList work;
    if (files.hasLarge())
        work << QStringLiteral("put-large") << QStringLiteral("get-large");
    if (files.count() > 0)
        work << QStringLiteral("put-many") << QStringLiteral("get-many");
    return work;
}

struct Options
{
    int megabytes = 0;
    int count = 0;
    int rounds = 0;
    int delayMs = 0;
    bool getsOnly = false;
};

/// The first round, of number 0, does not count.
void runRound(Contender& contender, const QStringList& timed, const BenchFiles& files, const Options& options,
              int round)
{
    for (const QString& work : timed) {
        if (options.getsOnly && round > 0 && work.startsWith(QLatin1String("put")))
            continue;
        const double seconds = contender.run(work);
        // What is stored once counts though nothing has run before it.
        if (round > 0 || (options.getsOnly && work.startsWith(QLatin1String("put"))))
            contender.times[work].push_back(seconds);
    }
    if (!options.getsOnly || round == options.rounds)
        contender.run(QStringLiteral("remove"));
    if (contender.fetchesToFiles)
        files.check();
}

Options readOptions(const QCoreApplication& application)
{
    QCommandLineParser parser;
    const auto option = [](const char* name, const char* byDefault) {
        return QCommandLineOption(QLatin1String(name), {}, QStringLiteral("N"), QLatin1String(byDefault));
    };
    const QCommandLineOption getsOnly(QStringLiteral("gets-only"));
    parser.addOption(getsOnly);
    parser.addOptions(
        {option("large", "200"), option("count", "1000"), option("rounds", "5"), option("delay-ms", "0")});
    parser.process(application);
    const auto number = [&parser](const char* name) { return parser.value(QLatin1String(name)).toInt(); };
    return {number("large"), number("count"), number("rounds"), number("delay-ms"), parser.isSet(getsOnly)};
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const Options options = readOptions(application);
    const FileServer server;
    print({{QStringLiteral("servers"), server.description()}});
    const auto proxy = server.proxy(std::chrono::milliseconds(options.delayMs));
    const QString uri = server.uriAt(proxy->port());

    const BenchFiles files(options.megabytes * 1'000'000, options.count);
    StoreContender store(uri, files);
    PythonContenders python(uri, files);
    std::vector<Contender> contenders{
        {QStringLiteral("ours"), [&](const QString& work) { return store.run(work); }, true, {}}};
    QStringList others{QStringLiteral("pymongo"), QStringLiteral("pymongo-checked")};
    if (!options.getsOnly)
        others << QStringLiteral("pymongo-no-md5");
    if (!uri.contains(QLatin1Char('@')) && !uri.contains(QStringLiteral("tls=true")))
        others << QStringLiteral("bare");
    for (const QString& name : qAsConst(others))
        contenders.push_back({name,
                              [&python, name](const QString& work) { return python.run(name, work); },
                              name != QLatin1String("bare"),
                              {}});
    const QStringList timed = timedWork(files);
    for (int round = 0; round <= options.rounds; ++round) {
        for (Contender& contender : contenders)
            runRound(contender, timed, files, options, round);
    }
    for (const QString& work : timed)
        for (const Contender& contender : contenders)
            report(work, contender.name, options.delayMs, QStringLiteral("s"), contender.times[work]);
    return 0;
}
