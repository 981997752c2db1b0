#include "robot_server/JsonSplitter.h"

#include <QTest>

using namespace KOZAV::Robot;

class RobotJsonFaultsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void fault_data();
    void fault();
    void noFault_data();
    void noFault();

private:
    static void addGrammarRows();
    static void addStringRows();
    static void addNumberRows();
    static void addKeyRows();
};

namespace {

const char* const outside = "neither white space nor the start of an object or array";
const char* const unexpected = "cannot stand here in a JSON document";
const char* const wrongBracket = "a closing bracket of the wrong kind";
const char* const controlCharacter = "a control character in a string";
const char* const badEscape = "an unknown escape in a string";
const char* const badUtf8 = "no UTF-8";
const char* const badNumber = "cannot stand here in a number";
const char* const inexact = "the end of an integer beyond 2^53";
const char* const range = "the end of a document with a number that a double cannot hold";
const char* const duplicate = "the end of a document with a member name twice in one object";

void row(const char* name, const QByteArray& bytes, int position, const char* reason)
{
    QTest::newRow(name) << bytes << QStringLiteral("byte %1: %2").arg(position).arg(QLatin1String(reason));
}

} // namespace

void RobotJsonFaultsTest::fault_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("message");
    addGrammarRows();
    addStringRows();
    addNumberRows();
    addKeyRows();
}

void RobotJsonFaultsTest::addGrammarRows()
{
    row("text", "hello", 0, outside);
    row("HTTP", "GET / HTTP/1.1\r\n", 0, outside);
    row("TLS", QByteArray("\x16\x03\x01\x02\x00", 5), 0, outside);
    row("NUL", QByteArray("\0{}", 3), 0, outside);
    row("byte order mark", "\xef\xbb\xbf{}", 0, outside);
    row("bare string", "\"a\"", 0, outside);
    row("bare number", "1", 0, outside);
    row("bare literal", "null", 0, outside);
    row("comma between documents", "{},{}", 2, outside);
    row("bracket too many", "{}}", 2, outside);
    row("form feed between documents", "{}\f{}", 2, outside);
    row("no-break space", "{}\xc2\xa0", 2, outside);
    row("comment", "{} // end", 3, outside);
    row("name without quotes", "{a:1}", 1, unexpected);
    row("name in single quotes", "{'a':1}", 1, unexpected);
    row("number for a name", "{1:1}", 1, unexpected);
    row("no colon", "{\"a\" 1}", 5, unexpected);
    row("two colons", "{\"a\"::1}", 5, unexpected);
    row("no value", "{\"a\":}", 5, unexpected);
    row("comma at an object's end", "{\"a\":1,}", 7, unexpected);
    row("comma at an array's end", "[1,]", 3, unexpected);
    row("comma at an array's start", "[,1]", 1, unexpected);
    row("two commas", "[1,,2]", 3, unexpected);
    row("no comma", "[1 2]", 3, unexpected);
    row("colon in an array", "[\"a\":1]", 4, unexpected);
    row("object closed as an array", "{]", 1, wrongBracket);
    row("array closed as an object", "[}", 1, wrongBracket);
    row("behind a value", "[1}", 2, wrongBracket);
    row("in the depth", "{\"a\":[{}}", 8, wrongBracket);
    row("short literal", "[tru]", 4, unexpected);
    row("long literal", "[truee]", 5, unexpected);
    row("literal in capitals", "[True]", 1, unexpected);
    row("NaN", "[NaN]", 1, unexpected);
    row("Infinity", "[Infinity]", 1, unexpected);
    row("undefined", "[undefined]", 1, unexpected);
    row("byte above ASCII outside a string", "[\xc3\xa9]", 1, unexpected);
    row("vertical tab", "[\v1]", 1, unexpected);
}

void RobotJsonFaultsTest::addStringRows()
{
    row("line feed", "[\"a\nb\"]", 3, controlCharacter);
    row("tab", "[\"\t\"]", 2, controlCharacter);
    row("NUL in a string", QByteArray("[\"\0\"]", 5), 2, controlCharacter);
    row("unknown escape", "[\"\\x41\"]", 3, badEscape);
    row("capital escape", "[\"\\N\"]", 3, badEscape);
    row("escaped line feed", "[\"\\\n\"]", 3, badEscape);
    row("escaped NUL byte", QByteArray("[\"\\\0\"]", 6), 3, badEscape);
    row("short code", "[\"\\u12\"]", 6, badEscape);
    row("no digit", "[\"\\u12G4\"]", 6, badEscape);
    row("NUL byte for a digit", QByteArray("[\"\\u\0\"]", 7), 4, badEscape);
    row("lone continuation", "[\"\x80\"]", 2, badUtf8);
    row("overlong of two", "[\"\xc0\xaf\"]", 2, badUtf8);
    row("overlong of three", "[\"\xe0\x80\xaf\"]", 3, badUtf8);
    row("overlong of four", "[\"\xf0\x80\x80\xaf\"]", 3, badUtf8);
    row("surrogate", "[\"\xed\xa0\x80\"]", 3, badUtf8);
    row("past the last code point", "[\"\xf4\x90\x80\x80\"]", 3, badUtf8);
    row("five-byte lead", "[\"\xf8\x88\x80\x80\x80\"]", 2, badUtf8);
    row("0xff", "[\"\xff\"]", 2, badUtf8);
    row("sequence cut off by the quote", "[\"\xe7\x94\"]", 4, badUtf8);
    row("sequence cut off by ASCII", "[\"\xc3(\"]", 3, badUtf8);
    row("Latin-1 name", "{\"\xe9t\xe9\":1}", 3, badUtf8);
}

void RobotJsonFaultsTest::addNumberRows()
{
    row("leading zero", "[01]", 2, badNumber);
    row("leading zero behind minus", "[-00]", 3, badNumber);
    row("plus", "[+1]", 1, badNumber);
    row("minus alone", "[-]", 2, badNumber);
    row("two minus", "[--1]", 2, badNumber);
    row("leading point", "[.5]", 1, badNumber);
    row("point alone", "[1.]", 3, badNumber);
    row("point and exponent", "[1.e3]", 3, badNumber);
    row("two points", "[1.2.3]", 4, unexpected);
    row("exponent alone", "[1e]", 3, badNumber);
    row("exponent sign alone", "[1e+]", 4, badNumber);
    row("fraction in the exponent", "[1e1.5]", 4, unexpected);
    row("hexadecimal", "[0x10]", 2, unexpected);
    row("letters behind", "[12abc]", 3, unexpected);
    row("beyond 2^53", "[9007199254740993]", 17, inexact);
    row("beyond -2^53", "[-9007199254740993 ]", 18, inexact);
    row("beyond 2^64", "[99999999999999999999999]", 24, inexact);
    row("beyond 2^128", '[' + QByteArray(40, '9') + ']', 41, inexact);
    row("beyond a double", "[1e999]", 6, range);
}

void RobotJsonFaultsTest::addKeyRows()
{
    const QByteArray twice = QByteArray(duplicate) + ": \"a\"";
    row("twice", R"({"a":1,"a":2})", 12, twice.constData());
    row("twice with the same value", R"({"a":1,"a":1})", 12, twice.constData());
    row("twice, once with an escape", R"({"a":1,"\u0061":2})", 17, twice.constData());
    row("twice in the depth", R"([{"b":[],"c":{"a":[{"a":0}],"x":"a","a":1}}])", 43, twice.constData());
    row("request with two names",
        R"({"module":"robot","msgParams":{"fromWeb":true,"jobname":"a","jobname" : "b"},"msgType":1})", 88,
        (QByteArray(duplicate) + ": \"jobname\"").constData());
    row("empty name twice", R"({"":1,"":2})", 10, duplicate);
}

void RobotJsonFaultsTest::fault()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, message);
    JsonSplitter whole;
    (void)whole.feed(bytes);
    QCOMPARE(whole.faultMessage(), message);
    QVERIFY(whole.fault() != JsonFault::None);

    JsonSplitter cut;
    for (const char byte : bytes)
        (void)cut.feed(QByteArray(1, byte));
    QCOMPARE(cut.faultMessage(), message);
}

void RobotJsonFaultsTest::noFault_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const auto good = [](const char* name, const QByteArray& bytes) { QTest::newRow(name) << bytes; };
    good("empty object", "{}");
    good("empty array", "[ ]");
    good("white space everywhere", " { \"a\"\t:\r\n[ 1 , 2 ] } ");
    good("no white space", R"({"a":[1,{"b":null}],"c":true,"d":false})");
    good("brackets and quotes in strings", R"(["{","}","[","]","\"","\\",",",":","\\\""])");
    good("every escape", R"(["\"\\\/\b\f\n\r\t\u0000\uABcd"])");
    good("pair of surrogate escapes", R"(["\ud83d\udda8"])");
    good("half of a pair, which names can hold", R"(["\ud83d"])");
    good("UTF-8 of every length",
         "[\"\x7f\xc2\x80\xdf\xbf\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80\xf0\x90\x80\x80\xf4\x8f\xbf\xbf\"]");
    good("name with escapes", R"({"\"":1,"\\":2,"\\\"":3})");
    good("numbers", "[0,-0,1,10,-1,0.5,-0.0e0,1E+2,1e-2,9007199254740992,-9007199254740992,1.5e300]");
    good("long fraction", "[0.12345678901234567890123]");
    good("same name in two objects", R"([{"a":1},{"a":1}])");
    good("same name in parent and child", R"({"a":{"a":{"a":[]}}})");
    good("name equal to a value", R"({"a":"a","b":"a"})");
    good("names that differ in case", R"({"a":1,"A":2})");
}

void RobotJsonFaultsTest::noFault()
{
    QFETCH(QByteArray, bytes);
    JsonSplitter splitter;
    const auto documents = splitter.feed(bytes);
    QCOMPARE(splitter.faultMessage(), QString());
    QCOMPARE(documents.size(), std::size_t(1));
    QCOMPARE(documents[0].json, QJsonDocument::fromJson(bytes));
    QVERIFY(!documents[0].json.isNull());
}

QTEST_APPLESS_MAIN(RobotJsonFaultsTest)
#include "robot_json_faults.moc"
