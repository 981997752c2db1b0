// What the client foresees of a batch, against what becomes of it: an import after the look has to agree with
// it entry by entry.

#include "tests/support/ClientProgram.h"
#include "tests/support/FreshSite.h"
#include "tests/support/SiteContent.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QTest>

#include <filesystem>
#include <memory>

#include <sys/stat.h>

using namespace KOZAV::Test;

class ClientCheck final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void anImportAgreesWithIt();
    void nothingIsChanged();
    void aWholeBatchIsASuccess();
    void runsBeforeTellTheTime();
    void linksThatLeadOutAreTold();
    void spaceThatIsMissingIsTold();
    void whatIsFoundIsPrinted();
    void noDirectoryIsNoStart();

private:
    void write(const QByteArray& name, const QByteArray& content) const
    {
        writeFile(local(m_batch) + '/' + name.toStdString(), content);
    }
    void makeFifo(const char* name) const;
    void makeLink(const char* name, const char* target) const;
    void fillWithEveryKind() const;
    [[nodiscard]] ClientRun run(const QString& task, const QStringList& options = {}) const
    {
        return runClient(QStringList({QStringLiteral("--config"), m_site->configuration(), task, m_batch}) +
                         options);
    }

    std::unique_ptr<FreshSite> m_site;
    QString m_batch;
};

namespace {

const QString check = QStringLiteral("--check");
const QString batch = QStringLiteral("--batch");
const QString json = QStringLiteral("--json");
const QString allowLinks = QStringLiteral("--allow-links");

QJsonObject documentOf(const ClientRun& run)
{
    QJsonParseError error;
    const auto document = QJsonDocument::fromJson(run.output.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError)
        qWarning("%s: %s", qPrintable(error.errorString()), run.everything().constData());
    return document.object();
}

QStringList codesOf(const QJsonValue& remarks)
{
    QStringList codes;
    for (const QJsonValue remark : remarks.toArray())
        codes << remark.toObject().value(QLatin1String("code")).toString();
    codes.sort();
    return codes;
}

/// What can be known only when it is done: what became of requests to the robot; and the row of a source that
/// was still written says that twice.
bool isKnownAfterwards(const QString& code)
{
    return code.startsWith(QLatin1String("robot-")) || code == QLatin1String("still-written");
}

/// The rows of a document by "company/entry": result, code of the reason, codes of the warnings.
QMap<QString, QString> rowsOf(const QJsonObject& document, const char* result)
{
    QMap<QString, QString> rows;
    for (const QJsonValue value : document.value(QLatin1String("rows")).toArray()) {
        const QJsonObject row = value.toObject();
        QStringList warnings;
        for (const QString& code : codesOf(row.value(QLatin1String("warnings")))) {
            if (!isKnownAfterwards(code))
                warnings << code;
        }
        rows.insert(
            row.value(QLatin1String("company")).toString() + QLatin1Char('/') +
                row.value(QLatin1String("entry")).toString(),
            QStringList({row.value(QLatin1String(result)).toString(),
                         row.value(QLatin1String("reason_code")).toString(), warnings.join(QLatin1Char(','))})
                .join(QLatin1Char(' ')));
    }
    return rows;
}

/// All that lies below a folder: names, kinds, lengths, times of change and targets of links.
QStringList stateOf(const QString& folder)
{
    namespace fs = std::filesystem;
    QStringList state;
    for (const auto& entry : fs::recursive_directory_iterator(local(folder))) {
        struct stat info = {};
        if (::lstat(entry.path().c_str(), &info) != 0)
            qFatal("%s cannot be looked at", entry.path().c_str());
        state << QStringLiteral("%1 %2 %3 %4.%5")
                     .arg(QString::fromLatin1(QByteArray::fromStdString(entry.path().native()).toHex()))
                     .arg(info.st_mode)
                     .arg(info.st_size)
                     .arg(info.st_ctim.tv_sec)
                     .arg(info.st_ctim.tv_nsec);
    }
    state.sort();
    return state;
}

} // namespace

void ClientCheck::init()
{
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    m_site->addCompany(QStringLiteral("CD"), QStringLiteral("乙"));
    m_batch = m_site->path(QStringLiteral("batch"));
}

void ClientCheck::cleanup()
{
    // Qt does not remove files whose names are no text.
    std::filesystem::remove_all(local(m_site->path(QStringLiteral("batch"))));
    m_site.reset();
}

void ClientCheck::makeFifo(const char* name) const
{
    const std::string path = local(m_batch) + '/' + name;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    QCOMPARE(::mkfifo(path.c_str(), 0600), 0);
}

void ClientCheck::makeLink(const char* name, const char* target) const
{
    const std::string path = local(m_batch) + '/' + name;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::filesystem::create_symlink(target, path);
}

/// Every kind of entry that a batch directory can hold.
void ClientCheck::fillWithEveryKind() const
{
    const QByteArray known = emptyZip("the site has it");
    write("甲/known.zip", known);
    write("甲/known folder/file", "the site has it, too");
    QCOMPARE(run(batch).exitCode, 0);

    const QByteArray gzip = QByteArray::fromHex("1f8b080000000000000303000000000000000000");
    write("乙/known of another.zip", known);
    write("乙/same of another.zip", emptyZip("same"));
    write("甲/same.zip", emptyZip("same"));
    write("甲/same again.zip", emptyZip("same"));
    write("甲/same folder/file", "same");
    write("甲/same folder again/file", "same");
    write("甲/whole.tgz", gzip);
    write("甲/cut.tgz", gzip.chopped(9));
    write("甲/cut.zip", emptyZip("cut").chopped(2));
    write("甲/damaged.tgz", QByteArray(gzip).replace(10, 2, "\xff\xff"));
    write("甲/none.rar", "no archive at all");
    write("甲/saved.kos", "a saved job");
    write("甲/empty.zip", {});
    write("甲/notes.txt", "not a job");
    write("甲/upper.ZIP", emptyZip("upper"));
    write("甲/.hidden", "hidden");
    write("甲/\xef\xbb\xbfmarked.zip", emptyZip("marked"));
    write("甲/\xef\xbb\xbfmarked folder/file", "marked");
    write("甲/no text \xe9.zip", emptyZip("no text"));
    makeFifo("甲/pipe");
    makeLink("甲/broken link", "nowhere");
    makeLink("甲/link inside.zip", "same.zip");
    makeLink("甲/link outside.zip", "../../outside.zip");
    write("../outside.zip", emptyZip("outside"));
    makeLink("戊", "../outside company");
    write("../outside company/job.zip", emptyZip("job outside"));

    write("甲/manifest/readme.json", R"({"customer2": "fine"})");
    write("甲/manifest broken/readme.json", "{");
    write("甲/manifest no text/readme.json", R"({"customer2": 2})");
    write("甲/manifest with NUL/readme.json", R"({"resource": "a\u0000b"})");
    write("甲/manifest with mark/readme.json", R"({"customer2": "\ufeffa"})");
    write("甲/manifest with surrogate/readme.json", R"({"customer3": "\ud800"})");
    write("甲/manifest large/readme.json", QByteArray(2 << 20, ' '));
    write("甲/manifest folder/readme.json/file", "a folder");
    makeLink("甲/manifest link/readme.json", "../../nowhere");
    makeFifo("甲/manifest pipe/readme.json");
    makeFifo("甲/pipe inside/pipe");
    makeLink("甲/leads out/link", "../whole.tgz");
    write("甲/empty folder/readme.json", "{}");
    QVERIFY(QFile::remove(m_batch + QStringLiteral("/甲/empty folder/readme.json")));

    write("丙/a.zip", emptyZip("nobody's"));
    write("丙/cut.zip", emptyZip("nobody's").chopped(1));
    write("丙/folder/readme.json", "{");
    write("丙/pipe inside/readme.json", "{}");
    makeFifo("丙/pipe inside/pipe");
    QVERIFY(QDir().mkpath(m_batch + QStringLiteral("/丁")));
    write("beside.zip", emptyZip("beside"));
    write("甲/written.zip", emptyZip("written"));
}

void ClientCheck::anImportAgreesWithIt()
{
    fillWithEveryKind();
    QFile writer(m_batch + QStringLiteral("/甲/written.zip"));
    QVERIFY(writer.open(QIODevice::Append));

    const ClientRun checked = run(check, {json, allowLinks});
    const ClientRun imported = run(batch, {json, allowLinks});
    QCOMPARE(checked.exitCode, 1);
    QCOMPARE(imported.exitCode, 1);
    const auto foreseen = rowsOf(documentOf(checked), "outlook");
    const auto reported = rowsOf(documentOf(imported), "result");
    QCOMPARE(foreseen.keys(), reported.keys());
    QVERIFY(foreseen.size() > 40);
    for (const QString& entry : reported.keys())
        QVERIFY2(foreseen.value(entry) == reported.value(entry),
                 qPrintable(QStringLiteral("%1: foreseen %2, but it was %3")
                                .arg(entry, foreseen.value(entry), reported.value(entry))));
    // The two agree on something.
    for (const char* const code :
         {"company-unknown", "suffix-refused", "not-a-job", "hidden", "name-not-text", "beside-companies",
          "invalid-value", "still-written", "known-content", "same-content", "archive-cut-short",
          "archive-unreadable", "manifest-broken", "manifest-too-large", "manifest-not-regular",
          "manifest-not-storable", "leads-out"})
        QVERIFY2(QStringList(foreseen.values()).join(QLatin1Char('\n')).contains(QLatin1String(code)), code);
}

void ClientCheck::nothingIsChanged()
{
    fillWithEveryKind();
    const SiteContent site = readSite(m_site->configuration());
    const QStringList files = stateOf(m_batch);
    QCOMPARE(run(check).exitCode, 1);
    QCOMPARE(difference(site, readSite(m_site->configuration())), QString());
    QCOMPARE(stateOf(m_batch), files);
}

void ClientCheck::aWholeBatchIsASuccess()
{
    write("甲/a.zip", emptyZip("a"));
    write("甲/b/file", "b");
    const ClientRun run = this->run(check, {json});
    QVERIFY2(run.exitCode == 0, run.everything().constData());
    const QJsonObject document = documentOf(run);
    const QJsonObject counts = document.value(QLatin1String("counts")).toObject();
    QCOMPARE(counts.value(QLatin1String("imported")).toInt(), 2);
    QCOMPARE(counts.value(QLatin1String("not_imported")).toInt(), 0);
    QCOMPARE(document.value(QLatin1String("bytes")).toInt(), emptyZip("a").size() + 1);
    const QJsonObject space = document.value(QLatin1String("space")).toArray().first().toObject();
    QVERIFY(space.value(QLatin1String("free")).toDouble() > 0);
    QVERIFY(space.value(QLatin1String("needed")).toInt() >= emptyZip("a").size());
}

void ClientCheck::runsBeforeTellTheTime()
{
    write("甲/a.zip", emptyZip("a"));
    write("甲/b/file", "b");
    QVERIFY(documentOf(run(check, {json})).value(QLatin1String("seconds")).isNull());
    const QJsonObject imported = documentOf(run(batch, {json}));
    double took = 0;
    for (const QJsonValue row : imported.value(QLatin1String("rows")).toArray())
        took += row.toObject().value(QLatin1String("seconds")).toDouble();
    const QJsonValue foreseen = documentOf(run(check, {json})).value(QLatin1String("seconds"));
    QVERIFY(foreseen.isDouble());
    // The same again takes as long.
    QVERIFY2(qAbs(foreseen.toDouble() - took) < 1e-6,
             qPrintable(QStringLiteral("%1, but it took %2").arg(foreseen.toDouble()).arg(took)));
}

void ClientCheck::linksThatLeadOutAreTold()
{
    write("甲/a.zip", emptyZip("a"));
    write("../outside.zip", emptyZip("outside"));
    makeLink("甲/link.zip", "../../outside.zip");
    const ClientRun refused = run(check, {json});
    QVERIFY2(refused.exitCode == 1, refused.everything().constData());
    QCOMPARE(codesOf(documentOf(refused).value(QLatin1String("remarks"))),
             QStringList(QStringLiteral("links-out")));
    QCOMPARE(run(batch).exitCode, 2);
    QCOMPARE(run(check, {allowLinks}).exitCode, 0);
}

/// A file of holes is longer than any disk.
void ClientCheck::spaceThatIsMissingIsTold()
{
    write("甲/a.kos", "a");
    constexpr qint64 tooMuch = qint64(1) << 42;
    if (!QFile::resize(m_batch + QStringLiteral("/甲/a.kos"), tooMuch))
        QSKIP("this file system takes no such long file");
    const ClientRun run = this->run(check, {json});
    QVERIFY2(run.exitCode == 1, run.everything().constData());
    QCOMPARE(codesOf(documentOf(run).value(QLatin1String("remarks"))),
             QStringList(QStringLiteral("no-space")));
}

void ClientCheck::whatIsFoundIsPrinted()
{
    write("甲/a.zip", emptyZip("a"));
    write("甲/notes.txt", "notes");
    write("丙/c.zip", emptyZip("c").chopped(1));
    const ClientRun run = this->run(check);
    QCOMPARE(run.exitCode, 1);
    for (const char* const line :
         {"Would be imported: 1\n", "Would not be imported: 2\n", "Warnings: 1\n", "suffix-refused",
          "company-unknown", "unknown company: 丙, 1 entries", "archive-cut-short", "time: not known"})
        QVERIFY2(run.output.contains(QString::fromUtf8(line)), run.everything().constData());
}

void ClientCheck::noDirectoryIsNoStart()
{
    m_batch = QStringLiteral("/absent");
    const ClientRun run = this->run(check, {json});
    QCOMPARE(run.exitCode, 2);
    QCOMPARE(run.output, QString());
    QVERIFY2(run.errors.contains(QStringLiteral("error: /absent is not a directory")),
             run.everything().constData());
}

ZAV_REGISTER_TEST(client_check, ClientCheck, QCoreApplication)

#include "client_check.moc"
