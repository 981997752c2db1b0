// What a crash of the machine may leave of a store: the calls of a put, an adoption, a removal and the moves
// to the quarantine and back are recorded, and every state that a strict disk may show after each of them is
// looked at. What was answered is there; what was not is there
// as a whole or not at all; the rest is as it was.
//
// The model has to bite: with any one flush left out, or the sum set after it, some state has to be wrong.

#include "tests/support/CrashModel.h"
#include "tests/support/StoreBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

using Kind = CrashModel::Kind;

namespace {

const QByteArray content = randomBytes(5000, 1);
const QByteArray otherContent = randomBytes(700, 2);

/// What is done, and on what store.
struct Scenario
{
    QString verb;
    QString before; ///< what the store has of the name, apart from another file
    bool attributes = true;
};

Scenario scenarioOf(const QByteArray& row)
{
    const QList<QByteArray> words = row.split(',');
    return {QString::fromLatin1(words.at(0)), QString::fromLatin1(words.value(1).trimmed()),
            !row.endsWith("without attributes")};
}

std::string quarantinedData(const StoreBox& box)
{
    return box.temps() + "/../quarantine/files/job.zip";
}

void prepare(StoreBox& box, const Scenario& scenario)
{
    bool prepared = box.put("other.zip", otherContent).ok() && box.put("moved.zip", otherContent).ok() &&
                    box.store().quarantine(testLocation(), "moved.zip").ok();
    if (scenario.verb != QLatin1String("put") && scenario.verb != QLatin1String("adopt"))
        prepared = prepared && box.put("job.zip", content).ok();
    if (scenario.verb == QLatin1String("restore") || scenario.verb == QLatin1String("purge"))
        prepared = prepared && box.store().quarantine(testLocation(), "job.zip").ok();
    if (!prepared)
        qFatal("the store cannot be prepared");
    if (scenario.before == QLatin1String("old sum"))
        writeFile(box.sum("job.zip"), readFile(box.sum("other.zip")));
    else if (scenario.before == QLatin1String("data without sum"))
        writeFile(box.data("job.zip"), "left");
    else if (scenario.before == QLatin1String("sum file alone"))
        detachSum(scenario.verb == QLatin1String("restore") ? quarantinedData(box) : box.data("job.zip"));
    writeFile(box.beside("source"), content);
}

std::string folderOf(const StoreBox& box)
{
    return box.root().substr(0, box.root().rfind('/'));
}

/// What the calls of the scenario were.
CrashModel record(const Scenario& scenario)
{
    StoreBox box;
    prepare(box, scenario);
    QStringList tool = {QStringLiteral("strace"), QStringLiteral("-o"),
                        QString::fromStdString(box.beside("../log"))};
    for (const std::string& option : CrashModel::logOptions())
        tool << QString::fromStdString(option);
    if (!scenario.attributes)
        tool << QStringLiteral("-e") << QStringLiteral("inject=fsetxattr:error=EOPNOTSUPP");
    const CrashedTree before = readTree(folderOf(box));
    const ProgramEnd end =
        runRole(tool, {QStringLiteral("--store"), scenario.verb, QString::fromStdString(box.root()),
                       QStringLiteral("job.zip"), QString::fromStdString(box.beside("source"))});
    if (end.exitCode != 0)
        qFatal("%s", end.output.constData());
    // What is moved in may have been written just before.
    const std::string unflushed = scenario.verb == QLatin1String("adopt") ? "beside/source" : std::string();
    return {folderOf(box), before, readFile(box.beside("../log")), unflushed};
}

/// A store as a crash has left it.
class CrashedStore final
{
public:
    CrashedStore(const CrashedTree& tree, const Scenario& scenario)
        : m_verb(scenario.verb)
    {
        for (const char* folder : {"files", "sums", "tmp", "quarantine/files", "quarantine/sums"})
            makeFolder(local(m_folder.path()) + "/store/jobs/archives/" + folder);
        makeFolder(local(m_folder.path()) + "/beside");
        writeTree(local(m_folder.path()), tree);
        m_store = openLocalStore(local(m_folder.filePath(QStringLiteral("store"))));
    }

    /// What is wrong with it; empty where it is as it has to be.
    QString wrong(bool isWhole);

private:
    enum Place { Nowhere, Stored, InQuarantine, Twice, Damaged };

    [[nodiscard]] Place place() const;
    [[nodiscard]] QByteArray get(const std::string& name) const;
    [[nodiscard]] QByteArray getQuarantined(const std::string& name) const;
    [[nodiscard]] bool isPlaceRight(Place place, bool isWhole) const;
    [[nodiscard]] QString mended() const;
    [[nodiscard]] QString goesOn(Place place) const;
    [[nodiscard]] std::string beside(const char* name) const
    {
        return local(m_folder.path()) + "/beside/" + name;
    }

    QTemporaryDir m_folder;
    QString m_verb;
    std::unique_ptr<DocumentStore> m_store;
};

QByteArray CrashedStore::get(const std::string& name) const
{
    return m_store->get(testLocation(), name, beside("target")).ok() ? readFile(beside("target"))
                                                                     : QByteArray();
}

QByteArray CrashedStore::getQuarantined(const std::string& name) const
{
    return m_store->getQuarantined(testLocation(), name, beside("target")).ok() ? readFile(beside("target"))
                                                                                : QByteArray();
}

CrashedStore::Place CrashedStore::place() const
{
    const auto found = m_store->find(testLocation(), "job.zip");
    const auto listed = m_store->listQuarantine(testLocation());
    const auto files = m_store->list(testLocation());
    if (!listed.ok() || !files.ok() || (!found.ok() && found.code() != ErrorCode::NotFound))
        return Damaged;
    const bool isMoved = listed->size() == 2;
    if (files->size() != (found.ok() ? 2U : 1U))
        return Damaged;
    if (found.ok() && get("job.zip") != content)
        return Damaged;
    if (isMoved && getQuarantined("job.zip") != content)
        return Damaged;
    if (found.ok())
        return isMoved ? Twice : Stored;
    return isMoved ? InQuarantine : Nowhere;
}

bool CrashedStore::isPlaceRight(Place place, bool isWhole) const
{
    static const std::map<QString, std::pair<Place, Place>> ways = {
        {QStringLiteral("put"), {Nowhere, Stored}},
        {QStringLiteral("adopt"), {Nowhere, Stored}},
        {QStringLiteral("remove"), {Stored, Nowhere}},
        {QStringLiteral("quarantine"), {Stored, InQuarantine}},
        {QStringLiteral("restore"), {InQuarantine, Stored}},
        {QStringLiteral("purge"), {InQuarantine, Nowhere}},
    };
    const auto [from, to] = ways.at(m_verb);
    return place == to || (place == from && !isWhole);
}

/// A survey finds leftovers alone, and mends them without touching anything else.
QString CrashedStore::mended() const
{
    const auto flaws = m_store->survey(testLocation());
    if (!flaws.ok())
        return flaws.message();
    for (const StoreFlaw& flaw : flaws.value()) {
        if (!m_store->removeFlaw(testLocation(), flaw).ok())
            return QStringLiteral("not mended: ") + flaw.text;
    }
    const auto left = m_store->survey(testLocation());
    return left.ok() && left->empty() ? QString() : QStringLiteral("something is left");
}

/// The name can be used as ever: with the same content, and where it is free with another one.
QString CrashedStore::goesOn(Place place) const
{
    if (place == InQuarantine)
        return m_store->restoreQuarantined(testLocation(), "job.zip").ok() && get("job.zip") == content
                   ? QString()
                   : QStringLiteral("it cannot be put back");
    const QByteArray& next = place == Stored ? content : otherContent;
    writeFile(beside("next"), next);
    const auto stored = m_store->put(testLocation(), "job.zip", beside("next"));
    return stored.ok() && get("job.zip") == next ? QString()
                                                 : QStringLiteral("the next put fails: ") + stored.message();
}

QString CrashedStore::wrong(bool isWhole)
{
    const Place reached = place();
    if (!isPlaceRight(reached, isWhole))
        return QStringLiteral("place %1").arg(reached);
    if (get("other.zip") != otherContent || getQuarantined("moved.zip") != otherContent)
        return QStringLiteral("another file is damaged");
    const QByteArray source = readFile(beside("source"));
    const bool isMoved = m_verb == QLatin1String("adopt");
    if (isMoved ? source.isNull() && reached != Stored : source != content)
        return QStringLiteral("the source is damaged");
    QString said = goesOn(reached);
    if (said.isEmpty())
        said = mended();
    return said;
}

/// The first thing that is wrong in any state; empty where all are right.
QString firstWrong(const CrashModel& model, const Scenario& scenario, std::size_t* states = nullptr)
{
    QString said;
    model.forEachCrash([&](const CrashedTree& tree, bool isWhole) {
        said = CrashedStore(tree, scenario).wrong(isWhole);
        if (states)
            ++*states;
        if (!said.isEmpty()) {
            for (const auto& [path, file] : tree)
                said += QStringLiteral("\n  %1: %2 bytes%3")
                            .arg(QString::fromStdString(path))
                            .arg(file.content.size())
                            .arg(file.sum ? QStringLiteral(", carries a sum") : QString());
        }
        return said.isEmpty();
    });
    return said;
}

} // namespace

class StoreCrashesTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void loseNothing_data();
    void loseNothing();
    void areFoundWhereAFlushIsLeftOut_data();
    void areFoundWhereAFlushIsLeftOut();
    void areFoundWhereTheSumComesLate();
};

void StoreCrashesTest::initTestCase()
{
    if (!canInject())
        QSKIP("strace cannot record calls here");
    StoreBox box;
    if (!box.put("job.zip", content).ok() || !box.setAttached("job.zip", readFile(box.sum("job.zip"))))
        QSKIP("this file system keeps no attributes");
}

void StoreCrashesTest::loseNothing_data()
{
    QTest::addColumn<int>("flushes");
    for (const char* verb : {"put", "adopt"}) {
        QTest::newRow(verb) << 2;
        QTest::addRow("%s, old sum", verb) << 2;
        QTest::addRow("%s, data without sum", verb) << 3;
        QTest::addRow("%s, , without attributes", verb) << 4;
        QTest::addRow("%s, old sum, without attributes", verb) << 4;
        QTest::addRow("%s, data without sum, without attributes", verb) << 5;
    }
    QTest::newRow("remove") << 1;
    QTest::newRow("remove, sum file alone") << 1;
    QTest::newRow("quarantine") << 7; // three of them for its folders
    QTest::newRow("quarantine, sum file alone") << 7;
    QTest::newRow("restore") << 4;
    QTest::newRow("restore, sum file alone") << 4;
    QTest::newRow("purge") << 1;
}

void StoreCrashesTest::loseNothing()
{
    QFETCH(const int, flushes);
    const Scenario scenario = scenarioOf(QTest::currentDataTag());
    const CrashModel model = record(scenario);
    int synced = 0;
    for (const CrashModel::Operation& operation : model.operations())
        synced += operation.kind == Kind::SyncFile || operation.kind == Kind::SyncFolder ? 1 : 0;
    QCOMPARE(synced, flushes);
    std::size_t states = 0;
    const QString wrong = firstWrong(model, scenario, &states);
    QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
    QVERIFY(states > model.operations().size() / 2);
    qInfo("%zu states looked at", states);
}

void StoreCrashesTest::areFoundWhereAFlushIsLeftOut_data()
{
    QTest::addColumn<int>("flushes");
    QTest::newRow("put") << 2;
    QTest::newRow("adopt") << 2;
    QTest::newRow("put, , without attributes") << 4;
    QTest::newRow("adopt, , without attributes") << 4;
    QTest::newRow("put, data without sum") << 3;
    QTest::newRow("remove") << 1;
}

void StoreCrashesTest::areFoundWhereAFlushIsLeftOut()
{
    QFETCH(const int, flushes);
    const Scenario scenario = scenarioOf(QTest::currentDataTag());
    const CrashModel model = record(scenario);
    int tried = 0;
    for (std::size_t i = 0; i < model.operations().size(); ++i) {
        const CrashModel::Operation& operation = model.operations()[i];
        if (operation.kind != Kind::SyncFile && operation.kind != Kind::SyncFolder)
            continue;
        const QString wrong = firstWrong(model.without(i), scenario);
        QVERIFY2(!wrong.isEmpty(), qPrintable(QStringLiteral("without the flush of %1 nothing is wrong")
                                                  .arg(QString::fromStdString(operation.path))));
        ++tried;
    }
    QCOMPARE(tried, flushes);
}

/// Its attribute has to be there before the content is flushed.
void StoreCrashesTest::areFoundWhereTheSumComesLate()
{
    for (const char* row : {"put", "adopt"}) {
        const Scenario scenario = scenarioOf(row);
        const CrashModel model = record(scenario);
        std::size_t set = 0;
        while (model.operations().at(set).kind != Kind::SetSum)
            ++set;
        QCOMPARE(model.operations().at(set + 1).kind, Kind::SyncFile);
        QVERIFY(!firstWrong(model.withLater(set, set + 2), scenario).isEmpty());
    }
}

ZAV_REGISTER_ROLE("--store", runStoreRole, QCoreApplication)
ZAV_REGISTER_TEST(store_crashes, StoreCrashesTest, QCoreApplication)

#include "store_crashes.moc"
