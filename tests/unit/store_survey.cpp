// What a survey of a local store finds, and what mending it does.

#include "tests/support/StoreBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QTest>

#include <unistd.h>

#include <atomic>
#include <thread>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

using Kind = StoreFlaw::Kind;
Q_DECLARE_METATYPE(Kind)

namespace {

const QByteArray content = featureLines(100000, 3);
const QByteArray zeros(64, '0');

void age(const std::string& path)
{
    QFile file(QString::fromStdString(path));
    const QDateTime time = QDateTime::currentDateTimeUtc().addDays(-2);
    if (!file.open(QIODevice::ReadWrite) || !file.setFileTime(time, QFile::FileModificationTime))
        qFatal("cannot set the time of %s", path.c_str());
}

std::string quarantined(const StoreBox& box, const char* folder)
{
    return box.temps() + "/../quarantine/" + folder + "/job.zip";
}

/// Damages the stored file "job.zip" so that a survey finds what the row's name says.
void damage(const StoreBox& box, const QByteArray& how)
{
    const std::string data = box.data("job.zip");
    const std::string sum = box.sum("job.zip");
    if (how.contains("sum"))
        detachSum(data);
    if (how == "sum unreadable")
        writeFile(sum, "nothing\n");
    else if (how == "sum overlong")
        writeFile(sum, QByteArray(100000, 'a'));
    else if (how == "content cut")
        writeFile(data, content.left(17));
    else if (how == "sum of another length")
        writeFile(sum, zeros + " 300001 2026-01-02T03:04:05.678Z\n");
    else if (how == "stale file beside")
        writeFile(sum, zeros + " 300001 2026-01-02T03:04:05.678Z\n");
    else if (how == "folder")
        QVERIFY(::unlink(data.c_str()) == 0 && QDir().mkpath(QString::fromStdString(data)));
    else if (how == "link")
        QVERIFY(::unlink(data.c_str()) == 0 && ::symlink("/etc/hostname", data.c_str()) == 0);
    else if (how == "no sum")
        QCOMPARE(::unlink(sum.c_str()), 0);
    else if (how == "no content")
        QCOMPARE(::unlink(data.c_str()), 0);
    else
        qFatal("%s is no damage", how.constData());
}

} // namespace

class StoreSurveyTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_box = std::make_unique<StoreBox>(); }
    void cleanup() { m_box.reset(); }

    void findsDamage_data();
    void findsDamage();
    void findsOldLeftoversOnly();
    void findsNotesOfTheQuarantine();
    void contentWithoutSumGoesToTheQuarantine();
    void sumWithoutContentGoes();
    void noteWithoutContentGoes();
    void mendsOnlyWhatIsThere_data();
    void mendsOnlyWhatIsThere();
    void mendsOnlyInTheStore();
    void damagedFilesCanBeMoved_data();
    void damagedFilesCanBeMoved();
    void knowsNoPutAsFlaw();

private:
    std::vector<StoreFlaw> flaws();

    std::unique_ptr<StoreBox> m_box;
};

std::vector<StoreFlaw> StoreSurveyTest::flaws()
{
    const auto found = m_box->store().survey(testLocation());
    if (!found.ok())
        qFatal("%s", qPrintable(found.message()));
    return found.value();
}

void StoreSurveyTest::findsDamage_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<qint64>("bytes");
    QTest::newRow("sum unreadable") << Kind::SumUnreadable << qint64{content.size()};
    QTest::newRow("sum overlong") << Kind::SumUnreadable << qint64{content.size()};
    QTest::newRow("content cut") << Kind::WrongLength << qint64{17};
    QTest::newRow("sum of another length") << Kind::WrongLength << qint64{content.size()};
    QTest::newRow("stale file beside") << Kind::SumFileDiffers << qint64{content.size()};
    QTest::newRow("folder") << Kind::NotRegular << qint64{-1};
    QTest::newRow("link") << Kind::NotRegular << qint64{-1};
    QTest::newRow("no sum") << Kind::DataWithoutSum << qint64{content.size()};
    QTest::newRow("no content") << Kind::SumWithoutData << qint64{-1};
}

void StoreSurveyTest::findsDamage()
{
    QFETCH(const Kind, kind);
    QFETCH(const qint64, bytes);
    QVERIFY(m_box->put("a", content).ok());
    QVERIFY(m_box->put("job.zip", content).ok());
    QVERIFY(m_box->put("z", content).ok());
    if (kind == Kind::SumFileDiffers && !m_box->setAttached("job.zip", readFile(m_box->sum("job.zip"))))
        QSKIP("this file system keeps no attributes");
    damage(*m_box, QTest::currentDataTag());
    const std::vector<StoreFlaw> found = flaws();
    QCOMPARE(found.size(), size_t{1});
    QCOMPARE(found.front().kind, kind);
    QCOMPARE(found.front().name, std::string("job.zip"));
    QVERIFY(!found.front().text.isEmpty());
    if (bytes >= 0)
        QCOMPARE(found.front().bytes, bytes);
    QVERIFY(qAbs(found.front().since.secsTo(QDateTime::currentDateTimeUtc())) < 1'000'000'000);
}

void StoreSurveyTest::findsOldLeftoversOnly()
{
    QVERIFY(m_box->put("job.zip", content).ok());
    const std::string old = m_box->temps() + "/.kozav-tmp-0123456789abcdef";
    writeFile(old, "left");
    writeFile(m_box->temps() + "/.kozav-tmp-1123456789abcdef", "being written");
    writeFile(m_box->temps() + "/other", "of somebody else");
    age(old);
    age(m_box->temps() + "/other");
    m_box->reopen();
    const std::vector<StoreFlaw> found = flaws();
    QCOMPARE(found.size(), size_t{1});
    QCOMPARE(found.front().kind, Kind::LeftoverTemp);
    QCOMPARE(found.front().bytes, qint64{4});
    QVERIFY(m_box->store().removeFlaw(testLocation(), found.front()).ok());
    QVERIFY(readFile(old).isNull());
    QVERIFY(flaws().empty());
    QCOMPARE(namesOf(QString::fromStdString(m_box->temps())).size(), 3); // with the lock
}

void StoreSurveyTest::findsNotesOfTheQuarantine()
{
    QVERIFY(m_box->put("job.zip", content).ok());
    QVERIFY(m_box->store().quarantine(testLocation(), "job.zip").ok());
    QVERIFY(flaws().empty());
    QCOMPARE(::unlink(quarantined(*m_box, "files").c_str()), 0);
    const std::vector<StoreFlaw> found = flaws();
    QCOMPARE(found.size(), size_t{1});
    QCOMPARE(found.front().kind, Kind::SumWithoutData);
    QCOMPARE(found.front().name, std::string("quarantine/job.zip"));
    // Neither a put of the name, nor a file that is moved again, minds it.
    QVERIFY(m_box->put("job.zip", content).ok());
    QVERIFY(m_box->store().quarantine(testLocation(), "job.zip").ok());
    QVERIFY(m_box->store().restoreQuarantined(testLocation(), "job.zip").ok());
    QCOMPARE(m_box->get("job.zip"), content);
}

void StoreSurveyTest::contentWithoutSumGoesToTheQuarantine()
{
    QVERIFY(m_box->put("job.zip", content).ok());
    damage(*m_box, "no sum");
    QVERIFY(m_box->store().removeFlaw(testLocation(), flaws().front()).ok());
    QVERIFY(flaws().empty());
    const auto listed = m_box->store().listQuarantine(testLocation());
    QCOMPARE(listed->size(), size_t{1});
    QCOMPARE(listed->front().file.length, qint64{content.size()});
    QVERIFY(listed->front().file.sha256.isEmpty());
    QCOMPARE(readFile(quarantined(*m_box, "files")), content);
    // It comes back as it was: content of which nothing is known.
    QVERIFY(m_box->store().restoreQuarantined(testLocation(), "job.zip").ok());
    QCOMPARE(readFile(m_box->data("job.zip")), content);
    QCOMPARE(flaws().front().kind, Kind::DataWithoutSum);
    QCOMPARE(m_box->store().find(testLocation(), "job.zip").code(), ErrorCode::NotFound);
}

void StoreSurveyTest::sumWithoutContentGoes()
{
    QVERIFY(m_box->put("job.zip", content).ok());
    damage(*m_box, "no content");
    QVERIFY(m_box->store().removeFlaw(testLocation(), flaws().front()).ok());
    QVERIFY(flaws().empty());
    QVERIFY(readFile(m_box->sum("job.zip")).isNull());
}

void StoreSurveyTest::noteWithoutContentGoes()
{
    QVERIFY(m_box->put("job.zip", content).ok());
    QVERIFY(m_box->store().quarantine(testLocation(), "job.zip").ok());
    QCOMPARE(::unlink(quarantined(*m_box, "files").c_str()), 0);
    QVERIFY(m_box->store().removeFlaw(testLocation(), flaws().front()).ok());
    QVERIFY(flaws().empty());
    QVERIFY(readFile(quarantined(*m_box, "sums")).isNull());
}

void StoreSurveyTest::mendsOnlyWhatIsThere_data()
{
    QTest::addColumn<Kind>("kind");
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("sum") << Kind::SumWithoutData << QByteArray("job.zip");
    QTest::newRow("sum file") << Kind::SumFileDiffers << QByteArray("job.zip");
    QTest::newRow("data") << Kind::DataWithoutSum << QByteArray("job.zip");
    QTest::newRow("note") << Kind::SumWithoutData << QByteArray("quarantine/moved.zip");
    QTest::newRow("temporary file") << Kind::LeftoverTemp << QByteArray("job.zip");
    QTest::newRow("lock") << Kind::LeftoverTemp << QByteArray("lock");
    QTest::newRow("nothing") << Kind::SumWithoutData << QByteArray("nothing");
}

/// What was a flaw once, and has been mended since: a stored file stays.
void StoreSurveyTest::mendsOnlyWhatIsThere()
{
    QFETCH(const Kind, kind);
    QFETCH(const QByteArray, name);
    QVERIFY(m_box->put("job.zip", content).ok());
    QVERIFY(m_box->put("moved.zip", content).ok());
    QVERIFY(m_box->store().quarantine(testLocation(), "moved.zip").ok());
    StoreFlaw flaw;
    flaw.kind = kind;
    flaw.name = name.toStdString();
    const auto mended = m_box->store().removeFlaw(testLocation(), flaw);
    QVERIFY2(mended.ok(), qPrintable(mended.message()));
    QCOMPARE(m_box->get("job.zip"), content);
    QVERIFY(m_box->store().restoreQuarantined(testLocation(), "moved.zip").ok());
    QCOMPARE(m_box->get("moved.zip"), content);
}

void StoreSurveyTest::mendsOnlyInTheStore()
{
    QVERIFY(m_box->put("job.zip", content).ok());
    writeFile(m_box->beside("outside"), "mine");
    for (const Kind kind :
         {Kind::SumWithoutData, Kind::DataWithoutSum, Kind::SumFileDiffers, Kind::LeftoverTemp}) {
        for (const char* name :
             {"../../../../beside/outside", "quarantine/../lock", "", "..", "quarantine/"}) {
            StoreFlaw flaw;
            flaw.kind = kind;
            flaw.name = name;
            QCOMPARE(m_box->store().removeFlaw(testLocation(), flaw).code(), ErrorCode::InvalidArgument);
        }
    }
    QCOMPARE(readFile(m_box->beside("outside")), QByteArray("mine"));
}

void StoreSurveyTest::damagedFilesCanBeMoved_data()
{
    QTest::addColumn<QByteArray>("how");
    for (const char* how : {"sum unreadable", "sum overlong", "content cut", "folder", "link"})
        QTest::newRow(how) << QByteArray(how);
}

/// They come back as damaged as they were, and never as files that are whole.
void StoreSurveyTest::damagedFilesCanBeMoved()
{
    QFETCH(const QByteArray, how);
    QVERIFY(m_box->put("job.zip", content).ok());
    damage(*m_box, how);
    const std::vector<StoreFlaw> before = flaws();
    const auto moved = m_box->store().quarantine(testLocation(), "job.zip");
    QVERIFY2(moved.ok(), qPrintable(moved.message()));
    QVERIFY(flaws().empty());
    QCOMPARE(m_box->store().listQuarantine(testLocation())->size(), size_t{1});
    QVERIFY(m_box->store().restoreQuarantined(testLocation(), "job.zip").ok());
    const std::vector<StoreFlaw> after = flaws();
    QCOMPARE(after.size(), size_t{1});
    QCOMPARE(after.front().kind, before.front().kind);
    QCOMPARE(m_box->store().find(testLocation(), "job.zip").code(), ErrorCode::Corrupt);
}

/// While another thread puts, moves and removes, nothing looks like a flaw.
void StoreSurveyTest::knowsNoPutAsFlaw()
{
    const auto writer = openLocalStore(m_box->root());
    std::atomic<bool> done = false;
    writeFile(m_box->beside("source"), content);
    std::thread others([&] {
        for (int i = 0; i < 60; ++i) {
            const std::string name = "job" + std::to_string(i % 7);
            (void)writer->put(testLocation(), name, m_box->beside("source"));
            (void)writer->quarantine(testLocation(), name);
            (void)writer->restoreQuarantined(testLocation(), name);
            if (i % 2 == 0)
                (void)writer->remove(testLocation(), name);
        }
        done = true;
    });
    int surveys = 0;
    QStringList found;
    for (; !done; ++surveys) {
        for (const StoreFlaw& flaw : flaws())
            found << QString::fromStdString(flaw.name) + flaw.text;
    }
    others.join();
    QCOMPARE(found, QStringList());
    QVERIFY(surveys > 0);
}

ZAV_REGISTER_TEST(store_survey, StoreSurveyTest, QCoreApplication)

#include "store_survey.moc"
