#include "tests/fuzz/JsonSplitterCheck.h"
#include "tests/support/TestProgram.h"

#include "robot_server/JsonSplitter.h"

#include <QDir>
#include <QTest>

#include <random>
#include <vector>

class RobotJsonFuzzTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void corpus_data();
    void corpus();
    void mutatedCorpus();
    void corpusReachesDocumentsAndFaults();

private:
    [[nodiscard]] QByteArray mutated(std::mt19937& random) const;

    QStringList m_names;
    std::vector<QByteArray> m_inputs;
};

namespace {

const QByteArray tokens[] = {"{",           "}",
                             "[",           "]",
                             "\"",          ":",
                             ",",           "\\",
                             "\\u00",       "\\ud83d",
                             "1",           "-",
                             ".5",          "e+9",
                             "0",           "true",
                             "null",        "false",
                             " ",           "\n",
                             "{}",          "[]",
                             "\"a\"",       "\"a\":",
                             "{\"a\":1",    "[[[[[[",
                             "]]]]",        "\xe7\x94\xb2",
                             "\xf0\x9f",    "9007199254740993",
                             "1e999",       QByteArray(1, '\0'),
                             "\"jobname\"", "\"msgParams\""};

int below(std::mt19937& random, int limit)
{
    return limit <= 0 ? 0 : static_cast<int>(random() % static_cast<unsigned>(limit));
}

} // namespace

void RobotJsonFuzzTest::initTestCase()
{
    const QDir directory(QStringLiteral(ZAV_FUZZ_CORPUS));
    m_names = directory.entryList(QDir::Files, QDir::Name);
    QVERIFY2(m_names.size() >= 20, qPrintable(directory.path()));
    for (const QString& name : m_names) {
        QFile file(directory.filePath(name));
        QVERIFY(file.open(QIODevice::ReadOnly));
        m_inputs.push_back(file.readAll());
    }
}

void RobotJsonFuzzTest::corpus_data()
{
    QTest::addColumn<QByteArray>("input");
    for (std::size_t i = 0; i < m_inputs.size(); ++i)
        QTest::newRow(qUtf8Printable(m_names.at(static_cast<int>(i)))) << m_inputs[i];
}

void RobotJsonFuzzTest::corpus()
{
    QFETCH(QByteArray, input);
    QCOMPARE(KOZAV::Test::splitterViolation(input), QString());
}

QByteArray RobotJsonFuzzTest::mutated(std::mt19937& random) const
{
    QByteArray input = m_inputs[random() % m_inputs.size()];
    for (int changes = 1 + below(random, 6); changes > 0; --changes) {
        const int at = below(random, input.size() + 1);
        const int length = below(random, 12);
        switch (random() % 6) {
        case 0:
            input.insert(at, tokens[random() % std::size(tokens)]);
            break;
        case 1:
            input.remove(at, length);
            break;
        case 2:
            input.insert(at, input.mid(below(random, input.size()), length));
            break;
        case 3:
            input.insert(at, static_cast<char>(random()));
            break;
        case 4:
            input.replace(at, 1, QByteArray(1, static_cast<char>(random())));
            break;
        default:
            input = input.left(at) + m_inputs[random() % m_inputs.size()].mid(below(random, 40));
        }
    }
    return input;
}

void RobotJsonFuzzTest::mutatedCorpus()
{
    std::mt19937 random(19700101);
    for (int round = 0; round < 50'000; ++round) {
        const QByteArray input = mutated(random);
        const QString violation = KOZAV::Test::splitterViolation(input);
        QVERIFY2(violation.isEmpty(),
                 qPrintable(violation + QStringLiteral(" for ") +
                            QString::fromLatin1(input.toPercentEncoding("{}[]\":, \\"))));
    }
}

// Mutations that all end in the same fault would say little.
void RobotJsonFuzzTest::corpusReachesDocumentsAndFaults()
{
    using KOZAV::Robot::JsonFault;
    std::mt19937 random(42);
    std::vector<int> seen(static_cast<std::size_t>(JsonFault::TooLong) + 1);
    int documents = 0;
    for (int round = 0; round < 20'000; ++round) {
        KOZAV::Robot::JsonSplitter splitter({512, 8});
        documents += static_cast<int>(splitter.feed(mutated(random).mid(4)).size());
        ++seen[static_cast<std::size_t>(splitter.fault())];
    }
    QVERIFY2(documents > 1'000, qPrintable(QString::number(documents)));
    for (std::size_t fault = 0; fault < seen.size(); ++fault)
        QVERIFY2(seen[fault] > 0, qPrintable(QString::number(fault)));
}

ZAV_REGISTER_TEST(robot_json_fuzz, RobotJsonFuzzTest, KOZAV::Test::NoApplication)

#include "robot_json_fuzz.moc"
