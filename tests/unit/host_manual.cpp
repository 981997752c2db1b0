// The page "what to do when" of the manual, in each of its languages, against the client's table of codes and
// its catalogues: what an operator reads there is what the window says.

#include "host/Language.h"
#include "host/core/Reasons.h"
#include "tests/support/TestProgram.h"

#include <QFile>
#include <QTest>

using namespace KOZAV::Host;

class HostManual final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void tellsEveryCode_data();
    void tellsEveryCode();
};

namespace {

/// The rows of tables whose first cell is a code, from a heading on to the next of its level.
QStringList codeRows(const QString& page, const QString& heading)
{
    const QString part =
        page.section(QStringLiteral("\n## %1\n").arg(heading), 1, 1).section(QStringLiteral("\n## "), 0, 0);
    QStringList rows;
    for (const QString& line : part.split(QLatin1Char('\n'))) {
        if (line.startsWith(QStringLiteral("| `")))
            rows << line;
    }
    return rows;
}

} // namespace

void HostManual::tellsEveryCode_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("page");
    QTest::addColumn<QString>("heading");
    QTest::newRow("English") << QStringLiteral("en") << QStringLiteral("/manual/en/what-to-do.md")
                             << QStringLiteral("Reasons and remarks");
    QTest::newRow("Chinese") << QStringLiteral("zh_CN") << QStringLiteral("/manual/zh/what-to-do.md")
                             << QStringLiteral("原因和备注");
}

void HostManual::tellsEveryCode()
{
    QFETCH(const QString, language);
    QFETCH(const QString, page);
    QFETCH(const QString, heading);
    const Language spoken(language);
    QFile manual(QStringLiteral(ZAV_DOCS_DIR) + page);
    QVERIFY(manual.open(QIODevice::ReadOnly));

    QStringList inProgram;
    for (const CodeMeaning& one : codeMeanings())
        inProgram << QStringLiteral("| `%1` | %2 | %3 |")
                         .arg(one.code, reasonText(one.code), reasonAdvice(one.code));
    QCOMPARE(codeRows(QString::fromUtf8(manual.readAll()), heading), inProgram);
}

ZAV_REGISTER_TEST(host_manual, HostManual, QApplication)

#include "host_manual.moc"
