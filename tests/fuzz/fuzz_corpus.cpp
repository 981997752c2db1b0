// What the fuzz targets check, in every build: on their corpus, and on fixed mutations of it.

#include "tests/fuzz/FuzzTarget.h"
#include "tests/support/TestProgram.h"

#include <QDir>
#include <QHash>
#include <QTest>

#include <algorithm>
#include <map>
#include <random>
#include <vector>

using KOZAV::Test::FuzzTarget;
using KOZAV::Test::FuzzVerdict;

Q_DECLARE_METATYPE(const FuzzTarget*)

namespace {

int below(std::mt19937& random, int limit)
{
    return limit <= 0 ? 0 : static_cast<int>(random() % static_cast<unsigned>(limit));
}

/// The inputs of a target's corpus by their names.
std::map<QString, QByteArray> corpusOf(const FuzzTarget& target)
{
    const QDir directory(QStringLiteral(ZAV_FUZZ_CORPUS "/") + QLatin1String(target.name));
    std::map<QString, QByteArray> inputs;
    for (const QString& name : directory.entryList(QDir::Files)) {
        QFile file(directory.filePath(name));
        if (file.open(QIODevice::ReadOnly))
            inputs[name] = file.readAll();
    }
    return inputs;
}

/// Changes inputs of a corpus a little: the same changes in every run.
class Mutations final
{
public:
    explicit Mutations(const FuzzTarget& target)
        : m_tokens(target.tokens)
    {
        for (const auto& [name, input] : corpusOf(target))
            m_inputs.push_back(input);
    }

    QByteArray next()
    {
        QByteArray input = m_inputs[m_random() % m_inputs.size()];
        for (int changes = 1 + below(m_random, 6); changes > 0; --changes)
            change(input);
        return input;
    }

private:
    void change(QByteArray& input)
    {
        const int at = below(m_random, input.size() + 1);
        const int length = below(m_random, 12);
        switch (m_random() % 6) {
        case 0:
            input.insert(at, m_tokens[m_random() % m_tokens.size()]);
            break;
        case 1:
            input.remove(at, length);
            break;
        case 2:
            input.insert(at, input.mid(below(m_random, input.size()), length));
            break;
        case 3:
            input.insert(at, static_cast<char>(m_random()));
            break;
        case 4:
            input.replace(at, 1, QByteArray(1, static_cast<char>(m_random())));
            break;
        default:
            input = input.left(at) + m_inputs[m_random() % m_inputs.size()].mid(below(m_random, 40));
        }
    }

    const std::vector<QByteArray>& m_tokens;
    std::vector<QByteArray> m_inputs;
    std::mt19937 m_random{19700101};
};

} // namespace

class FuzzCorpusTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void corpus_data();
    void corpus();
    void mutations_data();
    void mutations();
};

void FuzzCorpusTest::corpus_data()
{
    QTest::addColumn<const FuzzTarget*>("target");
    QTest::addColumn<QByteArray>("input");
    for (const FuzzTarget& target : KOZAV::Test::fuzzTargets()) {
        for (const auto& [name, input] : corpusOf(target))
            QTest::addRow("%s/%s", target.name, qUtf8Printable(name)) << &target << input;
    }
}

void FuzzCorpusTest::corpus()
{
    QFETCH(const FuzzTarget*, target);
    QFETCH(QByteArray, input);
    QCOMPARE(target->check(input).violation, QString());
}

void FuzzCorpusTest::mutations_data()
{
    QTest::addColumn<const FuzzTarget*>("target");
    for (const FuzzTarget& target : KOZAV::Test::fuzzTargets())
        QTest::addRow("%s", target.name) << &target;
}

void FuzzCorpusTest::mutations()
{
    QFETCH(const FuzzTarget*, target);
    QVERIFY(corpusOf(*target).size() >= 8);
    Mutations mutations(*target);
    QHash<QByteArray, int> reached;
    for (int round = 0; round < target->mutations; ++round) {
        const QByteArray input = mutations.next();
        const FuzzVerdict verdict = target->check(input);
        QVERIFY2(verdict.violation.isEmpty(),
                 qPrintable(verdict.violation + QStringLiteral(" for ") +
                            QString::fromLatin1(input.toPercentEncoding("{}[]\":, \\"))));
        ++reached[verdict.outcome];
    }
    // Mutations that all end in the same way would say little.
    for (const QByteArray& outcome : target->outcomes)
        QVERIFY2(reached.value(outcome) > 0, outcome.constData());
    for (auto outcome = reached.cbegin(); outcome != reached.cend(); ++outcome)
        QVERIFY2(std::count(target->outcomes.begin(), target->outcomes.end(), outcome.key()) == 1,
                 outcome.key().constData());
}

ZAV_REGISTER_TEST(fuzz_corpus, FuzzCorpusTest, KOZAV::Test::NoApplication)

#include "fuzz_corpus.moc"
