#include "admin/Application.h"
#include "admin/ServerOptions.h"
#include "admin/StatusMetrics.h"
#include "admin/Verbs.h"
#include "backend/config/SettingRules.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

using namespace KOZAV::Admin;

/// The manual of zav_admin against its tables of verbs, options and exit codes.
class AdminManualTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void everyVerbHasItsRow();
    void everyVerbHasItsDocument();
    void everyServerOptionHasItsRow();
    void everyServerOptionSetsItsKey();
    void everyExitCodeHasItsRow();
    void everyMetricHasItsRow();
    void alertsNameMetrics();

private:
    /// The rows of the first table below a heading, without head and rule; the last cell is cut off where it
    /// is free.
    [[nodiscard]] QStringList rowsBelow(const char* heading) const;

    QString m_manual;
};

namespace {

QString firstCell(const QString& row)
{
    return row.section(QStringLiteral(" | "), 0, 0).mid(2);
}

/// What stands in the row of an option: "--database-host HOST".
QString written(const CommandOption& option)
{
    return QStringLiteral("`--%1`").arg(
        option.valueName.isEmpty() ? option.name : option.name + QLatin1Char(' ') + option.valueName);
}

/// A page of docs/.
QString contentOf(const char* page)
{
    QFile file(QStringLiteral(ZAV_DOCS_DIR "/") + QLatin1String(page));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

QStringList AdminManualTest::rowsBelow(const char* heading) const
{
    QStringList rows;
    const QString part = m_manual.section(QStringLiteral("\n## %1\n").arg(QLatin1String(heading)), 1);
    const QString table = part.mid(part.indexOf(QLatin1String("\n| ")) + 1);
    for (const QString& line : table.split(QLatin1Char('\n'))) {
        if (!line.startsWith(QLatin1Char('|')))
            break;
        rows << line;
    }
    return rows.mid(2);
}

void AdminManualTest::initTestCase()
{
    QFile file(QStringLiteral(ZAV_DOCS_DIR "/zav_admin.md"));
    QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
    m_manual = QString::fromUtf8(file.readAll());
}

void AdminManualTest::everyVerbHasItsRow()
{
    QStringList expected;
    for (const Verb& verb : verbs()) {
        Verb shown = verb;
        QString links;
        // The options that name servers have a table of their own.
        if (qstrcmp(verb.name, "init") == 0 || qstrcmp(verb.name, "restore") == 0) {
            shown.options.resize(verb.options.size() - serverOptions().size());
            links = QStringLiteral(" and [server options](#a-site-on-servers)");
        }
        expected << QLatin1Char('`') + usageOf(shown).replace(QLatin1Char('|'), QStringLiteral("\\|")) +
                        QLatin1Char('`') + links;
    }
    QStringList found;
    for (const QString& row : rowsBelow("Verbs"))
        found << firstCell(row);
    QCOMPARE(found, expected);
}

void AdminManualTest::everyVerbHasItsDocument()
{
    const QString rows = rowsBelow("Output").join(QLatin1Char('\n'));
    for (const Verb& verb : verbs())
        QVERIFY2(rows.contains(QStringLiteral("`%1").arg(QLatin1String(verb.name))), verb.name);
}

void AdminManualTest::everyServerOptionHasItsRow()
{
    QStringList expected;
    for (const CommandOption& option : serverOptions())
        expected << written(option);
    QStringList found;
    for (const QString& row : rowsBelow("A site on servers"))
        found << firstCell(row);
    QCOMPARE(found, expected);
}

/// The second cell of a row holds the keys, and the value where the option does not say it: "`key = value`".
void AdminManualTest::everyServerOptionSetsItsKey()
{
    CommandLine line;
    for (const CommandOption& option : serverOptions())
        line.options.insert(option.name,
                            option.valueName.isEmpty() ? QString() : QStringLiteral("/") + option.name);
    const auto values = serverSettings(line);
    QVERIFY2(values.ok(), qPrintable(values.message()));

    KOZAV::Backend::SettingValues told;
    for (const QString& row : rowsBelow("A site on servers")) {
        const QString name = firstCell(row).section(QLatin1Char(' '), 0, 0).remove(QLatin1Char('`')).mid(2);
        const QStringList pieces = row.section(QStringLiteral(" | "), 1).split(QLatin1Char('`'));
        for (int i = 1; i < pieces.size(); i += 2) {
            const QString key = pieces.at(i).section(QStringLiteral(" = "), 0, 0);
            const QString value = pieces.at(i).section(QStringLiteral(" = "), 1);
            QVERIFY2(KOZAV::Backend::findSettingRule(key) != nullptr, qPrintable(key));
            told.emplace_back(key, value.isEmpty() ? line.options.value(name) : value);
        }
    }
    KOZAV::Backend::SettingValues set = values.value();
    std::sort(set.begin(), set.end());
    std::sort(told.begin(), told.end());
    QCOMPARE(told.size(), set.size());
    for (std::size_t i = 0; i < set.size(); ++i)
        QCOMPARE(told[i], set[i]);
}

void AdminManualTest::everyExitCodeHasItsRow()
{
    QStringList rows;
    for (const KOZAV::Terminal::ExitCodeMeaning& exitCode : exitCodeMeanings())
        rows << QStringLiteral("| %1 | %2").arg(QString::number(exitCode.code), exitCode.meaning);
    const QStringList found = rowsBelow("Exit codes");
    QCOMPARE(found.size(), rows.size());
    for (int i = 0; i < rows.size(); ++i)
        QVERIFY2(found.at(i).startsWith(rows.at(i)), qPrintable(rows.at(i)));
}

void AdminManualTest::everyMetricHasItsRow()
{
    QStringList expected;
    for (const StatusMetric& metric : statusMetrics()) {
        QStringList labels = QString::fromLatin1(metric.labels).split(QLatin1Char(','), Qt::SkipEmptyParts);
        for (QString& label : labels)
            label = QStringLiteral("`%1`").arg(label);
        const QString cell = labels.isEmpty() ? QStringLiteral(" ")
                                              : QStringLiteral(" %1 ").arg(labels.join(QStringLiteral(", ")));
        expected << QStringLiteral("| `%1` |%2| %3 |")
                        .arg(QLatin1String(metric.name), cell, QLatin1String(metric.help));
    }
    QStringList found;
    for (const QString& line : contentOf("monitoring.md").split(QLatin1Char('\n')))
        if (line.startsWith(QLatin1String("| `zav_")))
            found << line;
    QCOMPARE(found, expected);
}

void AdminManualTest::alertsNameMetrics()
{
    QStringList known;
    for (const StatusMetric& metric : statusMetrics())
        known << QLatin1String(metric.name);
    const QString rules = contentOf("monitoring.md")
                              .section(QStringLiteral("```yaml\n"), 1)
                              .section(QStringLiteral("```"), 0, 0);
    int named = 0;
    for (const QString& line : rules.split(QLatin1Char('\n'))) {
        static const QRegularExpression metric(QStringLiteral("zav_[a-z_]+"));
        if (!line.contains(QLatin1String("expr:")))
            continue;
        for (auto found = metric.globalMatch(line); found.hasNext(); ++named) {
            const QString name = found.next().captured();
            QVERIFY2(known.contains(name), qPrintable(name));
        }
    }
    QVERIFY(named >= 7);
}

ZAV_REGISTER_TEST(admin_manual, AdminManualTest, QCoreApplication)

#include "admin_manual.moc"
