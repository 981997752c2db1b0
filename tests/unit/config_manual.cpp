#include "backend/config/SettingRules.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

using namespace KOZAV::Backend;

/// The manual of the configuration against the rules of its keys.
class ConfigManualTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void everyRowSaysWhatItsRuleSays_data();
    void everyRowSaysWhatItsRuleSays();
    void rowsStandInTheOrderOfTheFile();
    void newFileIsToldAsItIsWritten_data();
    void newFileIsToldAsItIsWritten();

private:
    QString m_manual;
    QStringList m_rows; ///< of the table of keys
};

namespace {

QString code(const QString& text)
{
    return QLatin1Char('`') + text + QLatin1Char('`');
}

QString whereAbsent(const SettingRule& rule)
{
    if (rule.need.always)
        return QStringLiteral("required");
    if (rule.need.choice != nullptr)
        return QStringLiteral("required with ") + code(QLatin1String(rule.need.value));
    return rule.defaultValue().isEmpty() ? QStringLiteral("none") : code(rule.defaultValue());
}

QString rowOf(const SettingRule& rule)
{
    return QStringLiteral("| %1 | %2 | %3 | %4 |")
        .arg(code(QLatin1String(rule.key)), rule.form(), whereAbsent(rule), rule.sentence());
}

void addRules()
{
    QTest::addColumn<QString>("key");
    for (const SettingRule& rule : settingRules())
        QTest::newRow(rule.key) << QString::fromLatin1(rule.key);
}

} // namespace

void ConfigManualTest::initTestCase()
{
    QFile file(QStringLiteral(ZAV_DOCS_DIR "/configuration.md"));
    QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
    m_manual = QString::fromUtf8(file.readAll());
    const QString keys =
        m_manual.section(QStringLiteral("\n## Keys\n"), 1).section(QStringLiteral("\n## "), 0, 0);
    m_rows = keys.split(QLatin1Char('\n')).filter(QRegularExpression(QStringLiteral("^\\| `")));
}

void ConfigManualTest::everyRowSaysWhatItsRuleSays_data()
{
    addRules();
}

void ConfigManualTest::everyRowSaysWhatItsRuleSays()
{
    QFETCH(const QString, key);
    const QStringList rows = m_rows.filter(QRegularExpression(QStringLiteral("^\\| `%1` ").arg(key)));
    QCOMPARE(rows.join(QLatin1Char('\n')), rowOf(*findSettingRule(key)));
}

void ConfigManualTest::rowsStandInTheOrderOfTheFile()
{
    QStringList expected;
    for (const SettingRule& rule : settingRules())
        expected << code(QLatin1String(rule.key));
    QStringList found;
    for (const QString& row : qAsConst(m_rows))
        found << row.section(QLatin1Char(' '), 1, 1);
    QCOMPARE(found, expected);
}

void ConfigManualTest::newFileIsToldAsItIsWritten_data()
{
    addRules();
}

/// The second table names what a new file sets; the rest of the keys stand there as comments.
void ConfigManualTest::newFileIsToldAsItIsWritten()
{
    QFETCH(const QString, key);
    const QString part =
        m_manual.section(QStringLiteral("\n## A new file\n"), 1).section(QStringLiteral("\n## "), 0, 0);
    const FreshLine fresh = findSettingRule(key)->fresh;
    const bool isTold = part.contains(QStringLiteral("| `%1` |").arg(key));
    QCOMPARE(isTold, fresh.inForce);
    if (!fresh.inForce)
        return;
    const QString value =
        fresh.value == nullptr ? findSettingRule(key)->defaultValue() : QLatin1String(fresh.value);
    QString told = value;
    if (value.startsWith(QLatin1String("${data}/")))
        told = code(value.section(QLatin1Char('/'), 1)) + QStringLiteral(" in the data folder");
    else if (value == QLatin1String("${login}"))
        told = QStringLiteral("the login name of the operating system's user");
    else
        told = code(value);
    QVERIFY2(part.contains(QStringLiteral("| `%1` | %2 |").arg(key, told)), qPrintable(told));
}

ZAV_REGISTER_TEST(config_manual, ConfigManualTest, QCoreApplication)

#include "config_manual.moc"
