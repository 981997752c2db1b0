#include "terminal/PrintableText.h"
#include "tests/support/TestProgram.h"

#include <QTest>

using namespace KOZAV;

class TerminalPrintableTextTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void printable_data();
    void printable();
    void displayWidth_data();
    void displayWidth();
};

void TerminalPrintableTextTest::printable_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("printed");
    const auto row = [](const char* name, const QString& text, const char* printed) {
        QTest::newRow(name) << text << QString::fromUtf8(printed);
    };
    row("plain", QStringLiteral("Job-1 甲"), "Job-1 甲");
    row("empty", QString(), "");
    row("quote and backslash", QStringLiteral("a\"b\\n"), R"(a"b\n)");
    row("line feed and tab", QStringLiteral("a\nb\tc\r"), R"(a\nb\tc\x0d)");
    row("terminal sequence", QStringLiteral("\u001b[2J\u009b1m\u007f"), R"(\x1b[2J\x9b1m\x7f)");
    row("NUL", QString(QChar(0)), R"(\x00)");
    row("soft hyphen", QStringLiteral("a\u00adb"), R"(a\xadb)");
    row("right to left", QStringLiteral("a\u202egnp.exe"), R"(a\u{202e}gnp.exe)");
    row("zero width", QStringLiteral("a\u200bb\ufeff"), R"(a\u{200b}b\u{feff})");
    row("line separator", QStringLiteral("a\u2028b\u2029"), R"(a\u{2028}b\u{2029})");
    row("private use", QStringLiteral("\ue000"), R"(\u{e000})");
    row("no character", QStringLiteral("\uffff"), R"(\u{ffff})");
    row("half of a pair", QString(QChar(0xd83d)), "\ufffd");
    row("combining mark", QStringLiteral("e\u0301"), "e\u0301");
    row("beyond the first plane", QStringLiteral("\U0001F5A8"), "\U0001F5A8");
    row("tag character beyond the first plane", QStringLiteral("\U000E0041"), R"(\u{e0041})");
}

void TerminalPrintableTextTest::printable()
{
    QFETCH(QString, text);
    QFETCH(QString, printed);
    QCOMPARE(Terminal::printable(text), printed);
}

void TerminalPrintableTextTest::displayWidth_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("width");
    QTest::newRow("empty") << QString() << 0;
    QTest::newRow("ASCII") << QStringLiteral("job-1") << 5;
    QTest::newRow("wide") << QStringLiteral("甲板") << 4;
    QTest::newRow("fullwidth") << QStringLiteral("Ａ") << 2;
    QTest::newRow("combining mark") << QStringLiteral("e\u0301") << 1;
    QTest::newRow("beyond the first plane") << QStringLiteral("\U00020000") << 2;
}

void TerminalPrintableTextTest::displayWidth()
{
    QFETCH(QString, text);
    QFETCH(int, width);
    QCOMPARE(Terminal::displayWidth(text), width);
}

ZAV_REGISTER_TEST(terminal_printable_text, TerminalPrintableTextTest, KOZAV::Test::NoApplication)

#include "terminal_printable_text.moc"
