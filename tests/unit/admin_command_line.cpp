#include "admin/CommandLine.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Admin;
using KOZAV::Backend::ErrorCode;
using KOZAV::Backend::Result;

class AdminCommandLineTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void optionsStandAnywhere_data();
    void optionsStandAnywhere();
    void letterStandsForItsOption();
    void valuesAreKept();
    void misuseIsNamed_data();
    void misuseIsNamed();
};

namespace {

const std::vector<CommandOption> known = {{QStringLiteral("name"), QStringLiteral("NAME"), {}},
                                          {QStringLiteral("json"), {}, {}},
                                          {QStringLiteral("help"), {}, {}, false, QStringLiteral("h")}};

QStringList split(const char* line)
{
    return QString::fromUtf8(line).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

} // namespace

void AdminCommandLineTest::optionsStandAnywhere_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("before") << split("--name N --json a b");
    QTest::newRow("between") << split("a --json --name N b");
    QTest::newRow("behind") << split("a b --name=N --json");
    QTest::newRow("ended") << split("--name=N --json -- a b");
}

void AdminCommandLineTest::optionsStandAnywhere()
{
    QFETCH(QStringList, arguments);
    const Result<CommandLine> line = parseCommandLine(arguments, known);
    QVERIFY2(line.ok(), qPrintable(line.message()));
    QCOMPARE(line->words, split("a b"));
    QCOMPARE(line->value(QStringLiteral("name")).value_or(QString()), QStringLiteral("N"));
    QVERIFY(line->has(QStringLiteral("json")));
    QVERIFY(!line->value(QStringLiteral("other")).has_value());
}

void AdminCommandLineTest::letterStandsForItsOption()
{
    const Result<CommandLine> line = parseCommandLine(split("a -h -"), known);
    QVERIFY2(line.ok(), qPrintable(line.message()));
    QVERIFY(line->has(QStringLiteral("help")));
    QCOMPARE(line->words, split("a -"));
}

void AdminCommandLineTest::valuesAreKept()
{
    const auto nameIn = [](const QStringList& arguments) {
        return parseCommandLine(arguments, known)->options.value(QStringLiteral("name"));
    };
    QCOMPARE(nameIn({QStringLiteral("--name=a=b")}), QStringLiteral("a=b"));
    QCOMPARE(nameIn({QStringLiteral("--name"), QStringLiteral("--json")}), QStringLiteral("--json"));
    QCOMPARE(nameIn({QStringLiteral("--name=")}), QString());
    const auto words = parseCommandLine({QStringLiteral("--"), QStringLiteral("--json")}, known)->words;
    QCOMPARE(words, QStringList{QStringLiteral("--json")});
}

void AdminCommandLineTest::misuseIsNamed_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    QTest::newRow("unknown") << split("a --nmae N") << QStringLiteral("unknown option --nmae");
    QTest::newRow("unknown letter") << split("a -n") << QStringLiteral("unknown option -n");
    QTest::newRow("no value behind others")
        << split("--json a --name") << QStringLiteral("option --name needs a value: --name NAME");
    QTest::newRow("no value") << split("a --name")
                              << QStringLiteral("option --name needs a value: --name NAME");
    QTest::newRow("needless value") << split("--json=1") << QStringLiteral("option --json takes no value");
    QTest::newRow("twice") << split("--name a --name b") << QStringLiteral("option --name is given twice");
}

void AdminCommandLineTest::misuseIsNamed()
{
    QFETCH(QStringList, arguments);
    const Result<CommandLine> line = parseCommandLine(arguments, known);
    QCOMPARE(line.code(), ErrorCode::InvalidArgument);
    QTEST(line.message(), "message");
}

ZAV_REGISTER_TEST(admin_command_line, AdminCommandLineTest, QCoreApplication)

#include "admin_command_line.moc"
