// What a survey of GridFS finds, planted by another driver.

#include "tests/support/GridFsBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <thread>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

using Kind = StoreFlaw::Kind;
Q_DECLARE_METATYPE(Kind)

namespace {

constexpr int usualChunk = 255 * 1024;
const QByteArray content = randomBytes(3 * usualChunk + 100, 5); // four chunks

} // namespace

class GridFsSurveyTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init() { m_box = std::make_unique<GridFsBox>(); }
    void cleanup() { m_box.reset(); }

    void findsDamage_data();
    void findsDamage();
    void findsFilesWithoutSize();
    void findsDamageInTheQuarantine();
    void findsOldChunksWithoutFile();
    void youngChunksAreUnderWay();
    void findsMissingIndexes_data();
    void findsMissingIndexes();
    void findsFlawsAmongMany();
    void filesOfOtherProgramsAreWhole_data();
    void filesOfOtherProgramsAreWhole();
    void filesOfOtherProgramsAreCounted();
    void chunksOfAFileAreNotRemoved();
    void onlyChunksAreNamed_data();
    void onlyChunksAreNamed();
    void knowsNoWorkAsFlaw();

private:
    QJsonDocument other(const QStringList& arguments);
    QString strand(int count, double days);
    std::vector<StoreFlaw> flaws();
    int chunks();

    std::unique_ptr<GridFsBox> m_box;
};

void GridFsSurveyTest::initTestCase()
{
    GridFsBox probe;
    if (const QString problem = probe.peer().problem(); !problem.isEmpty())
        QSKIP(qPrintable(problem));
}

QJsonDocument GridFsSurveyTest::other(const QStringList& arguments)
{
    const StoreLocation& location = m_box->location();
    const ProgramEnd end = runProgram(QStringLiteral(ZAV_TEST_PYTHON),
                                      QStringList{QStringLiteral("-B"), QStringLiteral(ZAV_GRIDFS_INTEROP),
                                                  m_box->uri(), QString::fromStdString(location.database),
                                                  QString::fromStdString(location.fileStore)} +
                                          arguments);
    if (end.exitCode != 0)
        qFatal("The other driver fails: %s", end.output.constData());
    // A single value is none of Qt's documents.
    return QJsonDocument::fromJson('[' + end.output + ']');
}

/// @return the identifier of the chunks
QString GridFsSurveyTest::strand(int count, double days)
{
    return other({QStringLiteral("strand"), QString::number(count), QString::number(days)})[0].toString();
}

int GridFsSurveyTest::chunks()
{
    return other({QStringLiteral("chunks")})[0].toInt();
}

std::vector<StoreFlaw> GridFsSurveyTest::flaws()
{
    const auto found = m_box->store().survey(m_box->location());
    if (!found.ok())
        qFatal("%s", qPrintable(found.message()));
    return found.value();
}

void GridFsSurveyTest::findsDamage_data()
{
    QTest::addColumn<QString>("damage");
    QTest::addColumn<Kind>("kind");
    QTest::newRow("first chunk gone") << QStringLiteral("drop_chunk job.zip 0") << Kind::ChunksMissing;
    QTest::newRow("middle chunk gone") << QStringLiteral("drop_chunk job.zip 2") << Kind::ChunksMissing;
    QTest::newRow("last chunk gone") << QStringLiteral("drop_chunk job.zip 3") << Kind::ChunksMissing;
    QTest::newRow("one more") << QStringLiteral("add_chunk job.zip 4 10") << Kind::ChunksSurplus;
    QTest::newRow("one more behind a gap") << QStringLiteral("add_chunk job.zip 7 10") << Kind::ChunksMissing;
    QTest::newRow("an empty one behind a gap")
        << QStringLiteral("add_chunk job.zip 5 0") << Kind::ChunksMissing;
    QTest::newRow("a negative one") << QStringLiteral("add_chunk job.zip -1 10") << Kind::ChunksSurplus;
}

void GridFsSurveyTest::findsDamage()
{
    QFETCH(const QString, damage);
    QFETCH(const Kind, kind);
    for (const char* name : {"a", "job.zip", "z"})
        QVERIFY(m_box->put(name, content).ok());
    other(damage.split(QLatin1Char(' ')));
    const std::vector<StoreFlaw> found = flaws();
    QCOMPARE(found.size(), size_t{1});
    QCOMPARE(found.front().kind, kind);
    QCOMPARE(found.front().name, std::string("job.zip"));
    QCOMPARE(found.front().bytes, qint64{content.size()});
    QVERIFY2(found.front().text.contains(QLatin1String("4 chunks")), qPrintable(found.front().text));
    QVERIFY(qAbs(found.front().since.secsTo(QDateTime::currentDateTimeUtc())) < 600);
}

void GridFsSurveyTest::findsFilesWithoutSize()
{
    if (const QString refusal = m_box->peer().refusal(); !refusal.isEmpty())
        QSKIP(qPrintable(refusal));
    for (const char* field : {"length", "chunkSize"}) {
        QVERIFY(m_box->put(field, content).ok());
        m_box->peer().setFile(QLatin1String(field), {{QLatin1String(field), QJsonValue()}});
        const std::vector<StoreFlaw> found = flaws();
        QCOMPARE(found.size(), size_t{1});
        QCOMPARE(found.front().kind, Kind::SumUnreadable);
        QCOMPARE(found.front().name, std::string(field));
        QVERIFY(m_box->store().remove(m_box->location(), field).ok());
    }
}

void GridFsSurveyTest::findsDamageInTheQuarantine()
{
    QVERIFY(m_box->put("job.zip", content).ok());
    other({QStringLiteral("drop_chunk"), QStringLiteral("job.zip"), QStringLiteral("1")});
    QVERIFY(m_box->store().quarantine(m_box->location(), "job.zip").ok());
    const std::vector<StoreFlaw> found = flaws();
    QCOMPARE(found.size(), size_t{1});
    QCOMPARE(found.front().kind, Kind::ChunksMissing);
    QCOMPARE(found.front().name, std::string("job.zip"));
}

void GridFsSurveyTest::findsOldChunksWithoutFile()
{
    QVERIFY(m_box->put("job.zip", content).ok());
    const QString first = strand(128, 2);
    const QString second = strand(1, 400);
    const int whole = chunks() - 129;
    std::vector<StoreFlaw> found = flaws();
    QCOMPARE(found.size(), size_t{2});
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.since > b.since; });
    QCOMPARE(found.front().kind, Kind::ChunksWithoutFile);
    QCOMPARE(QString::fromStdString(found.front().name), first);
    QCOMPARE(QString::fromStdString(found.back().name), second);
    QCOMPARE(found.front().bytes, qint64{128'000});
    QVERIFY(found.front().text.contains(QLatin1String("128")));
    QVERIFY(qAbs(found.front().since.secsTo(QDateTime::currentDateTimeUtc()) - 2 * 86400) < 600);

    QVERIFY(m_box->store().removeFlaw(m_box->location(), found.front()).ok());
    QCOMPARE(chunks(), whole + 1);
    QVERIFY(m_box->store().removeFlaw(m_box->location(), found.front()).ok());
    QVERIFY(m_box->store().removeFlaw(m_box->location(), found.back()).ok());
    QCOMPARE(chunks(), whole);
    QVERIFY(flaws().empty());
    QVERIFY(m_box->contentOf("job.zip") == content);
}

void GridFsSurveyTest::youngChunksAreUnderWay()
{
    QVERIFY(m_box->put("job.zip", content).ok());
    StoreFlaw flaw;
    flaw.kind = Kind::ChunksWithoutFile;
    flaw.name = strand(3, 0.9).toStdString();
    strand(3, -1); // of a clock that is ahead
    const int before = chunks();
    QVERIFY(flaws().empty());
    QCOMPARE(m_box->store().removeFlaw(m_box->location(), flaw).code(), ErrorCode::InvalidArgument);
    QCOMPARE(chunks(), before);
}

void GridFsSurveyTest::findsMissingIndexes_data()
{
    QTest::addColumn<QString>("part");
    QTest::addColumn<QString>("index");
    QTest::newRow("by name") << QStringLiteral("files") << QStringLiteral("filename_1_uploadDate_1");
    QTest::newRow("of our names") << QStringLiteral("files") << QStringLiteral("kozav_unique_filename");
    QTest::newRow("of the chunks") << QStringLiteral("chunks") << QStringLiteral("files_id_1_n_1");
}

void GridFsSurveyTest::findsMissingIndexes()
{
    QFETCH(const QString, part);
    QFETCH(const QString, index);
    QVERIFY(m_box->put("job.zip", content).ok());
    other({QStringLiteral("drop_index"), part, index});
    const std::vector<StoreFlaw> found = flaws();
    QCOMPARE(found.size(), size_t{1});
    QCOMPARE(found.front().kind, Kind::IndexMissing);
    QCOMPARE(QString::fromStdString(found.front().name), index);
    const auto made = m_box->store().removeFlaw(m_box->location(), found.front());
    QVERIFY2(made.ok(), qPrintable(made.message()));
    QVERIFY(flaws().empty());
}

/// Several pages of files, with flaws at their ends.
void GridFsSurveyTest::findsFlawsAmongMany()
{
    constexpr int count = 2500;
    QVERIFY(m_box->put("job.zip", content).ok());
    other({QStringLiteral("many"), QString::number(count)});
    QVERIFY(flaws().empty());
    // The first file of all is the one that was put.
    std::vector<std::string> damaged = {"f0", "f998", "f999", "f1000", "f1998", "f1999", "f2499"};
    for (const std::string& name : damaged)
        other({QStringLiteral("drop_chunk"), QString::fromStdString(name), QStringLiteral("0")});
    const QString stranded = strand(2, 3);
    std::vector<std::string> found;
    for (const StoreFlaw& flaw : flaws())
        found.push_back(flaw.name);
    damaged.push_back(stranded.toStdString());
    std::sort(damaged.begin(), damaged.end());
    std::sort(found.begin(), found.end());
    QCOMPARE(found, damaged);
}

void GridFsSurveyTest::filesOfOtherProgramsAreWhole_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("chunkSize");
    QTest::newRow("empty") << 0 << 1000;
    QTest::newRow("whole chunks") << 10'000 << 1000;
    QTest::newRow("a part") << 10'001 << 1000;
    QTest::newRow("one byte chunks") << 50 << 1;
}

void GridFsSurveyTest::filesOfOtherProgramsAreWhole()
{
    QFETCH(const int, size);
    QFETCH(const int, chunkSize);
    QVERIFY(m_box->put("ours", content).ok());
    writeFile(m_box->beside("theirs"), randomBytes(size, 1));
    other({QStringLiteral("put"), QStringLiteral("theirs"), QString::fromStdString(m_box->beside("theirs")),
           QString::number(chunkSize)});
    QVERIFY(flaws().empty());
    // Some programs end a file with an empty chunk.
    const int count = (size + chunkSize - 1) / chunkSize;
    other(
        {QStringLiteral("add_chunk"), QStringLiteral("theirs"), QString::number(count), QStringLiteral("0")});
    QVERIFY(flaws().empty());
    // A file whose name no stored file can have is none of ours, and its chunks have their file.
    other({QStringLiteral("rename"), QStringLiteral("theirs"), QStringLiteral("a/b")});
    QVERIFY(flaws().empty());
    other({QStringLiteral("rename"), QStringLiteral("a/b"), QString()});
    QVERIFY(flaws().empty());
}

void GridFsSurveyTest::filesOfOtherProgramsAreCounted()
{
    QVERIFY(m_box->put("ours", content).ok());
    other({QStringLiteral("plant"), QStringLiteral("text"), QStringLiteral("0"), QStringLiteral("an id")});
    other({QStringLiteral("plant"), QStringLiteral("old"), QStringLiteral("700")});
    QVERIFY(flaws().empty());
    for (const char* name : {"text", "old"}) {
        other({QStringLiteral("drop_chunk"), QLatin1String(name), QStringLiteral("0")});
        const std::vector<StoreFlaw> found = flaws();
        QCOMPARE(found.size(), size_t{1});
        QCOMPARE(found.front().kind, Kind::ChunksMissing);
        QCOMPARE(found.front().name, std::string(name));
        QVERIFY(m_box->store().remove(m_box->location(), name).ok());
    }
}

/// What looked like a leftover once has its file by now.
void GridFsSurveyTest::chunksOfAFileAreNotRemoved()
{
    QVERIFY(m_box->put("ours", content).ok());
    other({QStringLiteral("plant"), QStringLiteral("old"), QStringLiteral("700")});
    const QString id = other({QStringLiteral("identifier"), QStringLiteral("old")})[0].toString();
    StoreFlaw flaw;
    flaw.kind = Kind::ChunksWithoutFile;
    flaw.name = id.toStdString();
    QVERIFY(m_box->store().removeFlaw(m_box->location(), flaw).ok());
    QCOMPARE(m_box->contentOf("old"), QByteArray("content"));
}

void GridFsSurveyTest::onlyChunksAreNamed_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char* name : {"", "job.zip", "0123456789abcdef", "zzzzzzzzzzzzzzzzzzzzzzzz",
                             "0123456789abcdef012345678", "ffffffffffffffffffffffff"})
        QTest::newRow(name) << QByteArray(name);
}

void GridFsSurveyTest::onlyChunksAreNamed()
{
    QFETCH(const QByteArray, name);
    QVERIFY(m_box->put("job.zip", content).ok());
    StoreFlaw flaw;
    flaw.kind = Kind::ChunksWithoutFile;
    flaw.name = name.toStdString();
    QCOMPARE(m_box->store().removeFlaw(m_box->location(), flaw).code(), ErrorCode::InvalidArgument);
    QVERIFY(m_box->contentOf("job.zip") == content);
}

/// While another thread puts, moves and removes, nothing looks like a flaw. The indexes are there, as in
/// every site from its making on.
void GridFsSurveyTest::knowsNoWorkAsFlaw()
{
    std::atomic<bool> done = false;
    std::atomic<int> failures = 0;
    writeFile(m_box->beside("source"), content);
    DocumentStore& store = m_box->store();
    const StoreLocation& location = m_box->location();
    QVERIFY(store.put(location, "first", m_box->beside("source")).ok());
    std::thread others([&] {
        for (int i = 0; i < 40; ++i) {
            const std::string name = "job" + std::to_string(i % 7);
            failures += store.put(location, name, m_box->beside("source")).ok() ? 0 : 1;
            failures += store.quarantine(location, name).ok() ? 0 : 1;
            failures += store.restoreQuarantined(location, name).ok() ? 0 : 1;
            failures += store.remove(location, name).ok() ? 0 : 1;
        }
        done = true;
    });
    QStringList found;
    int surveys = 0;
    for (; !done; ++surveys) {
        for (const StoreFlaw& flaw : flaws())
            found << QString::fromStdString(flaw.name) + QLatin1Char(' ') + flaw.text;
    }
    others.join();
    QCOMPARE(found.join(QLatin1Char('\n')), QString());
    QCOMPARE(failures.load(), 0);
    QVERIFY(surveys > 0);
}

ZAV_REGISTER_TEST(gridfs_survey, GridFsSurveyTest, QCoreApplication)

#include "gridfs_survey.moc"
