// Fetching a file while the server fails, and fetching one that has been damaged there.

#include "tests/fault/GridFsTrial.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

const QByteArray oldContent = QByteArrayLiteral("what was there before");

/// Content that takes three requests at least, also where these are for more because the server is slow to
/// answer, and else several over each of two connections.
const QByteArray& longContent()
{
    constexpr int chunks = 70;
    static const QByteArray content = randomBytes(chunks * 255 * 1024 - 1000, 18);
    return content;
}

} // namespace

Q_DECLARE_METATYPE(PeerFault)

class GridFsGetFaults final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void getTakesSeveralReplies();
    void oneFault_data();
    void oneFault();
    void damagedChunk_data();
    void damagedChunk();
    void damagedFilesDocument_data();
    void damagedFilesDocument();
    void damagedFileIsNotTakenForTheSame_data() { damagedChunk_data(); }
    void damagedFileIsNotTakenForTheSame();

private:
    void start(bool replicaSet, const QByteArray& content = trialContent());
    void checkFailed(const Status& failure);

    std::unique_ptr<GridFsBox> m_box;
    QStringList m_names;
};

void GridFsGetFaults::initTestCase()
{
    GridFsBox probe(trialServer(false));
    if (const QString refusal = probe.peer().refusal(); !refusal.isEmpty())
        QSKIP(qPrintable(refusal));
}

/// A stored file, and a local one that a get is to replace.
void GridFsGetFaults::start(bool replicaSet, const QByteArray& content)
{
    m_box = std::make_unique<GridFsBox>(trialServer(replicaSet), trialTimeouts());
    QVERIFY(m_box->put("job.zip", content).ok());
    writeFile(m_box->beside("fetched"), oldContent);
    m_names = m_box->besideNames();
}

void GridFsGetFaults::checkFailed(const Status& failure)
{
    QVERIFY(!failure.ok());
    QCOMPARE(readFile(m_box->beside("fetched")), oldContent);
    QCOMPARE(m_box->besideNames(), m_names);
    QVERIFY2(!failure.message().contains(QLatin1String("Secret")), qPrintable(failure.message()));
}

void GridFsGetFaults::getTakesSeveralReplies()
{
    start(false, longContent());
    m_box->peer().order({{QStringLiteral("error"), QStringLiteral("read"), 3}});
    checkFailed(m_box->get("job.zip"));
    QCOMPARE(m_box->peer().hits(), 1);
}

void GridFsGetFaults::oneFault_data()
{
    QTest::addColumn<bool>("replicaSet");
    QTest::addColumn<PeerFault>("fault");
    QTest::addColumn<bool>("succeeds");
    for (const bool replicaSet : {false, true}) {
        for (const char* action : {"error", "drop", "stall", "refuse"}) {
            for (int n = 1; n <= 3; ++n) {
                const QString name =
                    QStringLiteral("%1, %2 at reply %3")
                        .arg(replicaSet ? QStringLiteral("replica set") : QStringLiteral("alone"),
                             QLatin1String(action))
                        .arg(n);
                // What a closed connection was asked is asked again on a new one.
                const bool succeeds = QLatin1String(action) == QLatin1String("drop");
                QTest::newRow(qPrintable(name))
                    << replicaSet << PeerFault{QLatin1String(action), QStringLiteral("read"), n} << succeeds;
            }
        }
    }
}

void GridFsGetFaults::oneFault()
{
    QFETCH(const bool, replicaSet);
    QFETCH(const PeerFault, fault);
    QFETCH(const bool, succeeds);
    start(replicaSet, longContent());
    m_box->peer().order({fault});
    Status ended;
    QVERIFY(endsInTime([&] { ended = m_box->get("job.zip"); }));
    QCOMPARE(m_box->peer().hits(), 1);
    QVERIFY2(ended.ok() == succeeds, qPrintable(ended.message()));
    if (!succeeds) {
        checkFailed(ended);
        QCOMPARE(faultOfMessage(ended), QString());
        const bool answered = fault.action == QLatin1String("error");
        QCOMPARE(ended.code(), answered ? ErrorCode::Io : ErrorCode::Unavailable);
    }
    m_box->peer().comeBack();
    QVERIFY(recovers([this] { return m_box->get("job.zip").ok(); }));
    QVERIFY(readFile(m_box->beside("fetched")) == longContent());
    QCOMPARE(m_box->besideNames(), m_names);
}

void GridFsGetFaults::damagedChunk_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<int>("n");
    for (const char* how : {"forget", "flip", "cut", "grow", "empty", "text", "renumber"}) {
        for (const int n : {0, trialChunks / 2, trialChunks - 1})
            QTest::addRow("%s chunk %d", how, n) << QString(QLatin1String(how)) << n;
    }
}

void GridFsGetFaults::damagedChunk()
{
    QFETCH(const QString, how);
    QFETCH(const int, n);
    start(false);
    m_box->peer().alterChunk(QStringLiteral("job.zip"), n, how);
    const Status ended = m_box->get("job.zip");
    checkFailed(ended);
    QVERIFY2(ended.code() == ErrorCode::Corrupt, qPrintable(ended.message()));
    QVERIFY2(ended.message().contains(QLatin1String("job.zip")), qPrintable(ended.message()));
}

void GridFsGetFaults::damagedFilesDocument_data()
{
    QTest::addColumn<QJsonObject>("values");
    const double length = trialContent().size();
    const auto row = [](const char* name, const QString& field, const QJsonValue& value) {
        QTest::newRow(name) << QJsonObject{{field, value}};
    };
    const QString lengthField = QStringLiteral("length");
    const QString chunkField = QStringLiteral("chunkSize");
    row("a byte less", lengthField, length - 1);
    row("a byte more", lengthField, length + 1);
    row("nothing", lengthField, 0);
    row("a chunk less", lengthField, length - 255 * 1024);
    row("negative length", lengthField, -5);
    row("endless length", lengthField, 9e15);
    row("no length", lengthField, QJsonValue::Null);
    row("length as text", lengthField, QStringLiteral("7"));
    row("chunks of nothing", chunkField, 0);
    row("chunks of less than nothing", chunkField, -1);
    row("chunks of a byte", chunkField, 1);
    row("chunks of a byte more", chunkField, 255 * 1024 + 1);
    row("endless chunks", chunkField, 9e15);
    row("no chunk size", chunkField, QJsonValue::Null);
    row("another SHA-256", QStringLiteral("metadata.sha256"), QString(64, QLatin1Char('0')));
    row("another length in the metadata", QStringLiteral("metadata.length"), length + 1);
}

void GridFsGetFaults::damagedFilesDocument()
{
    QFETCH(const QJsonObject, values);
    start(false);
    m_box->peer().setFile(QStringLiteral("job.zip"), values);
    const Status ended = m_box->get("job.zip");
    checkFailed(ended);
    // A length beyond all disks is found out by the room that it would take.
    const bool told = ended.code() == ErrorCode::Corrupt || ended.code() == ErrorCode::NoSpace;
    QVERIFY2(told, qPrintable(ended.message()));
}

/// The caller may remove the only other copy after a success.
void GridFsGetFaults::damagedFileIsNotTakenForTheSame()
{
    QFETCH(const QString, how);
    QFETCH(const int, n);
    start(false);
    m_box->peer().alterChunk(QStringLiteral("job.zip"), n, how);
    const auto ended = m_box->put("job.zip", trialContent());
    QVERIFY(!ended.ok());
    QCOMPARE(ended.code(), ErrorCode::Corrupt);
}

ZAV_REGISTER_TEST(gridfs_get_faults, GridFsGetFaults, QCoreApplication)

#include "gridfs_get_faults.moc"
