#include "backend/check/Findings.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QSet>
#include <QTest>

using namespace KOZAV::Backend;

/// The kinds of finding: their table in the program and in the documentation.
class CheckKindsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyKindHasItsRow();
    void namesAreFoundAgain();
    void whatIsMendableSaysHow();
    void weightsThatCount_data();
    void weightsThatCount();
};

namespace {

QString weightText(FindingWeight weight)
{
    switch (weight) {
    case FindingWeight::Damage:
        return QStringLiteral("damage");
    case FindingWeight::Leftover:
        return QStringLiteral("leftover");
    case FindingWeight::Notice:
        return QStringLiteral("notice");
    case FindingWeight::NotLookedAt:
        break;
    }
    return QStringLiteral("not looked at");
}

/// The rows of the table of kinds on the page.
QStringList rowsOfThePage()
{
    QFile file(QStringLiteral(ZAV_DOCS_DIR "/check.md"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("%s", qPrintable(file.fileName()));
    QStringList rows;
    const QString part = QString::fromUtf8(file.readAll()).section(QStringLiteral("\n## Findings\n"), 1);
    for (const QString& line : part.section(QStringLiteral("\n## "), 0, 0).split(QLatin1Char('\n'))) {
        if (line.startsWith(QLatin1Char('|')))
            rows << line;
    }
    return rows.mid(2);
}

} // namespace

void CheckKindsTest::everyKindHasItsRow()
{
    QStringList expected;
    for (const FindingRule& rule : findingRules())
        expected << QStringLiteral("| `%1`%2 | %3 | %4 | %5 |")
                        .arg(QLatin1String(rule.name), rule.isMendable ? QStringLiteral(" *") : QString(),
                             weightText(rule.weight), QLatin1String(rule.meaning), QLatin1String(rule.mend));
    QCOMPARE(rowsOfThePage(), expected);
}

void CheckKindsTest::namesAreFoundAgain()
{
    QSet<QString> names;
    for (const FindingRule& rule : findingRules()) {
        const QString name = QLatin1String(rule.name);
        QVERIFY2(!names.contains(name), rule.name);
        names.insert(name);
        QVERIFY(findingKindNamed(name) == rule.kind);
        QCOMPARE(findingRule(rule.kind).name, rule.name);
    }
    QCOMPARE(names.size(), static_cast<int>(FindingKind::NotLookedAt) + 1);
    QVERIFY(!findingKindNamed(QStringLiteral("no-such-kind")));
    QVERIFY(!findingKindNamed(QString()));
}

void CheckKindsTest::whatIsMendableSaysHow()
{
    for (const FindingRule& rule : findingRules()) {
        const QString command = QStringLiteral("--repair %1").arg(QLatin1String(rule.name));
        QCOMPARE(QLatin1String(rule.mend).contains(command), rule.isMendable);
        QCOMPARE(mendableNames().contains(QLatin1String(rule.name)), rule.isMendable);
    }
}

void CheckKindsTest::weightsThatCount_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("mended");
    QTest::addColumn<bool>("counts");
    QTest::newRow("damage") << int(FindingKind::FileMissing) << false << true;
    QTest::newRow("leftover") << int(FindingKind::FileOrphan) << false << true;
    QTest::newRow("mended") << int(FindingKind::FileOrphan) << true << false;
    QTest::newRow("notice") << int(FindingKind::StagedCopy) << false << false;
    QTest::newRow("not looked at") << int(FindingKind::NotLookedAt) << false << true;
}

void CheckKindsTest::weightsThatCount()
{
    QFETCH(const int, kind);
    QFETCH(const bool, mended);
    Finding finding;
    finding.kind = static_cast<FindingKind>(kind);
    finding.mended = mended;
    QTEST(countsAgainst(finding), "counts");
}

ZAV_REGISTER_TEST(check_kinds, CheckKindsTest, QCoreApplication)

#include "check_kinds.moc"
