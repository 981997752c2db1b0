// The client's command line, on a machine without a display.

#include "tests/support/ClientProgram.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Test;

class ClientCommandLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void helpAndVersion_data();
    void helpAndVersion();
    void refused_data();
    void refused();
    void unattendedWithoutADisplay_data();
    void unattendedWithoutADisplay();
    void platformThatIsAskedFor_data();
    void platformThatIsAskedFor();
};

void ClientCommandLine::helpAndVersion_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("output");
    const QString help = QStringLiteral("Usage: ");
    const QString version = QStringLiteral("zav_client " ZAV_VERSION "\n");
    QTest::newRow("help") << QStringList(QStringLiteral("--help")) << help;
    QTest::newRow("h") << QStringList(QStringLiteral("-h")) << help;
    QTest::newRow("version") << QStringList(QStringLiteral("--version")) << version;
    QTest::newRow("v") << QStringList(QStringLiteral("-v")) << version;
    QTest::newRow("help of a batch") << QStringList({QStringLiteral("--batch"), QStringLiteral("DIR"),
                                                     QStringLiteral("--help")})
                                     << help;
}

void ClientCommandLine::helpAndVersion()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, output);
    const ClientRun client = runClient(arguments);
    QVERIFY2(client.exitCode == 0, client.everything().constData());
    QVERIFY2(client.output.startsWith(output), client.everything().constData());
    QCOMPARE(client.errors, QString());
}

void ClientCommandLine::refused_data()
{
    QTest::addColumn<QString>("arguments"); // parted by blanks
    QTest::addColumn<QString>("reason");
    QTest::newRow("unknown option") << QStringLiteral("--bogus") << QStringLiteral("Unknown option 'bogus'.");
    QTest::newRow("unknown letter") << QStringLiteral("-x") << QStringLiteral("Unknown option 'x'.");
    QTest::newRow("unknown option of a batch")
        << QStringLiteral("--batch DIR --bogus") << QStringLiteral("Unknown option 'bogus'.");
    QTest::newRow("no value") << QStringLiteral("--batch")
                              << QStringLiteral("Missing value after '--batch'.");
    QTest::newRow("stray argument") << QStringLiteral("DIR") << QStringLiteral("\"DIR\" is not an option");
    QTest::newRow("stray argument of a batch")
        << QStringLiteral("--batch DIR more") << QStringLiteral("\"more\" is not an option");
    QTest::newRow("batch and import") << QStringLiteral("--batch DIR --import HX000001")
                                      << QStringLiteral("--batch and --import exclude each other");
    QTest::newRow("batch and check") << QStringLiteral("--batch DIR --check DIR")
                                     << QStringLiteral("--batch and --check exclude each other");
    QTest::newRow("json alone") << QStringLiteral("--json")
                                << QStringLiteral("--json goes with --batch or --check");
    QTest::newRow("skip-known of a check")
        << QStringLiteral("--check DIR --skip-known") << QStringLiteral("--skip-known goes with --batch");
    QTest::newRow("mode alone") << QStringLiteral("--mode 1") << QStringLiteral("--mode goes with --import");
    QTest::newRow("mode of a batch") << QStringLiteral("--batch DIR --mode 1")
                                     << QStringLiteral("--mode goes with --import");
    QTest::newRow("report alone") << QStringLiteral("--report r.csv")
                                  << QStringLiteral("--report goes with --batch");
    QTest::newRow("form of a report")
        << QStringLiteral("--batch DIR --report r.xls")
        << QStringLiteral("--report takes a file whose name ends in .csv, .json, .html");
    QTest::newRow("mode is no number")
        << QStringLiteral("--import HX000001 --mode one") << QStringLiteral("--mode takes a whole number");
}

void ClientCommandLine::refused()
{
    QFETCH(QString, arguments);
    QFETCH(QString, reason);
    const ClientRun client = runClient(arguments.split(QLatin1Char(' ')));
    QVERIFY2(client.exitCode == 2, client.everything().constData());
    QCOMPARE(client.errors, QStringLiteral("zav_client: %1\n").arg(reason));
    QCOMPARE(client.output, QString());
}

void ClientCommandLine::unattendedWithoutADisplay_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QString>("output");
    QTest::newRow("batch") << QStringLiteral("--batch")
                           << QStringLiteral("error: /absent is not a directory");
    QTest::newRow("check") << QStringLiteral("--check")
                           << QStringLiteral("error: /absent is not a directory");
    QTest::newRow("import") << QStringLiteral("--import")
                            << QStringLiteral("error: the site has no job /absent");
    QTest::newRow("empty batch") << QStringLiteral("--batch=")
                                 << QStringLiteral("error:  is not a directory");
}

void ClientCommandLine::unattendedWithoutADisplay()
{
    QFETCH(QString, option);
    QFETCH(QString, output);
    const FreshSite site;
    QStringList arguments{QStringLiteral("--config"), site.configuration(), option};
    if (!option.endsWith(QLatin1Char('=')))
        arguments << QStringLiteral("/absent");
    const ClientRun client = runClient(arguments);
    QVERIFY2(client.exitCode == 2, client.everything().constData());
    QVERIFY2(client.output.startsWith(output), client.everything().constData());
    QCOMPARE(client.errors, QString());
}

void ClientCommandLine::platformThatIsAskedFor_data()
{
    QTest::addColumn<QString>("variable");
    QTest::addColumn<QStringList>("option");
    QTest::newRow("by the environment") << QStringLiteral("elsewhere") << QStringList();
    QTest::newRow("by an option of Qt")
        << QString() << QStringList({QStringLiteral("-platform"), QStringLiteral("elsewhere")});
}

void ClientCommandLine::platformThatIsAskedFor()
{
    QFETCH(QString, variable);
    QFETCH(QStringList, option);
    const ClientRun client =
        runClient(option + QStringList({QStringLiteral("--batch"), QStringLiteral("/absent")}), variable);
    QVERIFY2(client.errors.contains(QStringLiteral("\"elsewhere\"")), client.everything().constData());
    QCOMPARE(client.exitCode, -1);
}

ZAV_REGISTER_TEST(client_command_line, ClientCommandLine, QCoreApplication)

#include "client_command_line.moc"
