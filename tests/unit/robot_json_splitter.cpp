#include "robot_server/JsonSplitter.h"
#include "tests/support/TestProgram.h"

#include <QTest>

#include <algorithm>
#include <random>

using namespace KOZAV::Robot;

namespace {

const QByteArray compact =
    R"({"module":"robot","msgParams":{"fromWeb":true,"jobname":"Job {[\"\\]} 甲🖨é"},"msgType":1})";
const QByteArray indented =
    "{\n    \"module\": \"robot\",\n    \"n\": [-1.5e+3, true, null, \"\\ud83d\\udda8\"]\n}\n";
const QByteArray third = " \t[{\"a\":{\"a\":[]}}, 0 , \"\"]";
const QByteArray stream = compact + indented + third;

QByteArray nested(int depth)
{
    return QByteArray(depth, '[') + QByteArray(depth, ']');
}

} // namespace

class RobotJsonSplitterTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyPairOfCutsGivesTheSameDocuments();
    void byteByByte();
    void randomCuts();
    void severalDocumentsInOnePacket();
    void documentIsCompleteWithItsLastBracket();
    void whiteSpaceIsNoDocument();
    void lengthIsThatOfTheDocumentAlone();
    void nestingUpToTheLimit();
    void nestingBeyondTheLimit();
    void millionOpenBracketsEndAtTheLimit();
    void lengthUpToTheLimit();
    void lengthBeyondTheLimit_data();
    void lengthBeyondTheLimit();
    void endlessWhiteSpaceBetweenDocumentsIsNotKept();
    void manyMembersAreRead();
    void documentsBeforeAFaultAreReturned();
    void nothingIsTakenAfterAFault();
    void workIsLinearWhateverThePackets();

private:
    /// Feeds the stream cut at the given places and compares what comes out with the three documents.
    static void verifyCuts(std::vector<int> cuts);
};

void RobotJsonSplitterTest::verifyCuts(std::vector<int> cuts)
{
    JsonSplitter splitter;
    std::vector<SplitDocument> documents;
    cuts.push_back(stream.size());
    int from = 0;
    for (const int to : cuts) {
        const auto completed = splitter.feed(stream.mid(from, to - from));
        documents.insert(documents.end(), completed.begin(), completed.end());
        from = to;
    }
    QCOMPARE(splitter.faultMessage(), QString());
    QVERIFY(!splitter.insideDocument());
    QCOMPARE(documents.size(), std::size_t(3));
    const QByteArray expected[] = {compact, indented, third};
    for (std::size_t i = 0; i < documents.size(); ++i) {
        QCOMPARE(documents[i].json, QJsonDocument::fromJson(expected[i]));
        QCOMPARE(documents[i].bytes, expected[i].trimmed().size());
    }
}

void RobotJsonSplitterTest::everyPairOfCutsGivesTheSameDocuments()
{
    for (int first = 0; first <= stream.size(); ++first) {
        for (int second = first; second <= stream.size(); ++second) {
            verifyCuts({first, second});
            if (QTest::currentTestFailed())
                QFAIL(qPrintable(QStringLiteral("cut at %1 and %2").arg(first).arg(second)));
        }
    }
}

void RobotJsonSplitterTest::byteByByte()
{
    std::vector<int> cuts(static_cast<std::size_t>(stream.size()));
    for (std::size_t i = 0; i < cuts.size(); ++i)
        cuts[i] = static_cast<int>(i);
    verifyCuts(cuts);
}

void RobotJsonSplitterTest::randomCuts()
{
    std::mt19937 random(20240611);
    std::uniform_int_distribution<int> place(0, stream.size());
    std::uniform_int_distribution<int> count(0, 12);
    for (int round = 0; round < 2000; ++round) {
        std::vector<int> cuts(static_cast<std::size_t>(count(random)));
        std::generate(cuts.begin(), cuts.end(), [&] { return place(random); });
        std::sort(cuts.begin(), cuts.end());
        verifyCuts(cuts);
        if (QTest::currentTestFailed())
            QFAIL(qPrintable(QStringLiteral("round %1").arg(round)));
    }
}

void RobotJsonSplitterTest::severalDocumentsInOnePacket()
{
    JsonSplitter splitter;
    const auto documents = splitter.feed("{}{}[] {}\r\n[1]{\"a\"");
    QCOMPARE(documents.size(), std::size_t(5));
    QVERIFY(splitter.insideDocument());
    QCOMPARE(splitter.feed(":1}").size(), std::size_t(1));
}

void RobotJsonSplitterTest::documentIsCompleteWithItsLastBracket()
{
    JsonSplitter splitter;
    QVERIFY(splitter.feed(compact.chopped(1)).empty());
    QVERIFY(splitter.insideDocument());
    QCOMPARE(splitter.feed("}").size(), std::size_t(1));
    QVERIFY(!splitter.insideDocument());
}

void RobotJsonSplitterTest::whiteSpaceIsNoDocument()
{
    JsonSplitter splitter;
    QVERIFY(splitter.feed(" \r\n\t").empty());
    QVERIFY(!splitter.insideDocument());
    QCOMPARE(splitter.fault(), JsonFault::None);
}

void RobotJsonSplitterTest::lengthIsThatOfTheDocumentAlone()
{
    JsonSplitter splitter;
    const auto documents = splitter.feed("  { }\n [ 1 ] ");
    QCOMPARE(documents.size(), std::size_t(2));
    QCOMPARE(documents[0].bytes, 3);
    QCOMPARE(documents[1].bytes, 5);
}

void RobotJsonSplitterTest::nestingUpToTheLimit()
{
    JsonSplitter splitter;
    const auto documents = splitter.feed(nested(32) + "{\"a\":" + nested(31) + '}');
    QCOMPARE(splitter.fault(), JsonFault::None);
    QCOMPARE(documents.size(), std::size_t(2));
    QCOMPARE(JsonSplitter({1000, 1}).feed("[1]{\"a\":2}").size(), std::size_t(2));
}

void RobotJsonSplitterTest::nestingBeyondTheLimit()
{
    JsonSplitter splitter;
    QVERIFY(splitter.feed(nested(33)).empty());
    QCOMPARE(splitter.fault(), JsonFault::TooDeep);
    QCOMPARE(splitter.faultMessage(), QStringLiteral("byte 32: nested too deeply"));

    JsonSplitter flat({1000, 1});
    QVERIFY(flat.feed("{\"a\":[").empty());
    QCOMPARE(flat.fault(), JsonFault::TooDeep);
    QCOMPARE(flat.faultPosition(), qint64(5));
}

void RobotJsonSplitterTest::millionOpenBracketsEndAtTheLimit()
{
    JsonSplitter splitter;
    QVERIFY(splitter.feed(QByteArray(1'000'000, '[')).empty());
    QCOMPARE(splitter.fault(), JsonFault::TooDeep);
    QCOMPARE(splitter.work(), qint64(33));

    // As deep as the limit allows to be set, without a frame of our own for each level.
    JsonSplitter deep({1024 * 1024, 1000});
    QCOMPARE(deep.feed(nested(1000)).size(), std::size_t(1));
}

void RobotJsonSplitterTest::lengthUpToTheLimit()
{
    JsonSplitter splitter({10, 32});
    QCOMPARE(splitter.feed("[12345678]   [\"345678\"]").size(), std::size_t(2));
    QCOMPARE(splitter.fault(), JsonFault::None);

    JsonSplitter usual;
    const QByteArray largest = "[\"" + QByteArray(1024 * 1024 - 4, 'a') + "\"]";
    QCOMPARE(usual.feed(largest).size(), std::size_t(1));
}

void RobotJsonSplitterTest::lengthBeyondTheLimit_data()
{
    QTest::addColumn<int>("packet");
    QTest::newRow("in one packet") << 100;
    QTest::newRow("byte by byte") << 1;
    QTest::newRow("cut at the limit") << 10;
}

void RobotJsonSplitterTest::lengthBeyondTheLimit()
{
    QFETCH(int, packet);
    const QByteArray bytes = "{} [123456789] {}";
    JsonSplitter splitter({10, 32});
    std::size_t documents = 0;
    for (int at = 0; at < bytes.size(); at += packet)
        documents += splitter.feed(bytes.mid(at, packet)).size();
    QCOMPARE(documents, std::size_t(1));
    QCOMPARE(splitter.fault(), JsonFault::TooLong);
    QCOMPARE(splitter.faultMessage(), QStringLiteral("byte 13: in a document that is too long"));
}

void RobotJsonSplitterTest::endlessWhiteSpaceBetweenDocumentsIsNotKept()
{
    JsonSplitter splitter({10, 32});
    for (int packet = 0; packet < 100; ++packet)
        QVERIFY(splitter.feed(QByteArray(1000, ' ')).empty());
    QCOMPARE(splitter.work(), qint64(100'000));
    QCOMPARE(splitter.feed("{}").size(), std::size_t(1));
}

void RobotJsonSplitterTest::manyMembersAreRead()
{
    QByteArray members;
    for (int i = 0; i < 50'000; ++i)
        members += "\"" + QByteArray::number(i) + "\":0,";
    JsonSplitter splitter;
    const auto documents = splitter.feed('{' + members.chopped(1) + '}');
    QCOMPARE(splitter.faultMessage(), QString());
    QCOMPARE(documents.size(), std::size_t(1));
}

void RobotJsonSplitterTest::documentsBeforeAFaultAreReturned()
{
    JsonSplitter splitter;
    const auto documents = splitter.feed("{}[1]x{}");
    QCOMPARE(documents.size(), std::size_t(2));
    QCOMPARE(splitter.fault(), JsonFault::OutsideDocument);
    QCOMPARE(splitter.faultPosition(), qint64(5));
}

void RobotJsonSplitterTest::nothingIsTakenAfterAFault()
{
    JsonSplitter splitter;
    QVERIFY(splitter.feed("x").empty());
    const qint64 work = splitter.work();
    QVERIFY(splitter.feed("{}").empty());
    QCOMPARE(splitter.work(), work);
    QCOMPARE(splitter.faultPosition(), qint64(0));
}

void RobotJsonSplitterTest::workIsLinearWhateverThePackets()
{
    const QByteArray document = "{\"jobname\":\"" + QByteArray(200'000, 'j') + "\"}";
    const QByteArray bytes = document + document + document;
    std::vector<qint64> works;
    for (const int packet : {1, 7, 1460, 65536, bytes.size()}) {
        JsonSplitter splitter;
        std::size_t documents = 0;
        for (int at = 0; at < bytes.size(); at += packet)
            documents += splitter.feed(bytes.mid(at, packet)).size();
        QCOMPARE(documents, std::size_t(3));
        works.push_back(splitter.work());
    }
    QCOMPARE(works.front(), qint64(bytes.size()) * 2);
    QVERIFY(std::all_of(works.begin(), works.end(), [&](qint64 work) { return work == works.front(); }));
}

ZAV_REGISTER_TEST(robot_json_splitter, RobotJsonSplitterTest, KOZAV::Test::NoApplication)

#include "robot_json_splitter.moc"
