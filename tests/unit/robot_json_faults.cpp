#include "robot_server/JsonSplitter.h"
#include "tests/support/TestProgram.h"

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
    void whatQtDecides_data();
    void whatQtDecides();
    void bracketsOfBothKindsCount();

private:
    static void addGrammarRows();
    static void addStringRows();
    static void addNumberRows();
};

namespace {

const char* const outside = "neither white space nor the start of an object or array";
const char* const controlCharacter = "a control character in a string";
const char* const unknownEscape = "an unknown escape in a string";
const char* const unterminatedObject = "not JSON up to here: unterminated object";
const char* const unterminatedArray = "not JSON up to here: unterminated array";
const char* const noColon = "not JSON up to here: missing name separator";
const char* const noComma = "not JSON up to here: missing value separator";
const char* const noObject = "not JSON up to here: object is missing after a comma";
const char* const badValue = "not JSON up to here: illegal value";
const char* const badNumber = "not JSON up to here: illegal number";
const char* const badEscape = "not JSON up to here: invalid escape sequence";
const char* const badUtf8 = "not JSON up to here: invalid UTF8 string";

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
    row("name without quotes", "{a:1}", 2, unterminatedObject);
    row("name in single quotes", "{'a':1}", 2, unterminatedObject);
    row("number for a name", "{1:1}", 2, unterminatedObject);
    row("no colon", "{\"a\" 1}", 6, noColon);
    row("two colons", "{\"a\"::1}", 5, badNumber);
    row("no value", "{\"a\":}", 5, noObject);
    row("comma at an object's end", "{\"a\":1,}", 7, noObject);
    row("comma at an array's end", "[1,]", 3, noObject);
    row("comma at an array's start", "[,1]", 2, badValue);
    row("two commas", "[1,,2]", 4, badValue);
    row("no comma", "[1 2]", 4, noComma);
    row("colon in an array", "[\"a\":1]", 5, noComma);
    row("object closed as an array", "{]", 1, unterminatedObject);
    row("array closed as an object", "[}", 1, noObject);
    row("behind a value", "[1}", 2, unterminatedArray);
    row("in the depth", "{\"a\":[{}}}", 9, noComma);
    row("short literal", "[tru]", 2, badValue);
    row("long literal", "[truee]", 6, noComma);
    row("literal in capitals", "[True]", 1, badNumber);
    row("NaN", "[NaN]", 1, badNumber);
    row("Infinity", "[Infinity]", 1, badNumber);
    row("undefined", "[undefined]", 1, badNumber);
    row("byte above ASCII outside a string", "[\xc3\xa9]", 1, badNumber);
    row("vertical tab", "[\v1]", 1, badNumber);
}

void RobotJsonFaultsTest::addStringRows()
{
    row("line feed", "[\"a\nb\"]", 3, controlCharacter);
    row("tab", "[\"\t\"]", 2, controlCharacter);
    row("NUL in a string", QByteArray("[\"\0\"]", 5), 2, controlCharacter);
    row("control character in a name", "{\"a\x01\":1}", 3, controlCharacter);
    row("unknown escape", "[\"\\x41\"]", 3, unknownEscape);
    row("capital escape", "[\"\\N\"]", 3, unknownEscape);
    row("escaped line feed", "[\"\\\n\"]", 3, unknownEscape);
    row("escaped NUL byte", QByteArray("[\"\\\0\"]", 6), 3, unknownEscape);
    row("short code", "[\"\\u12\"]", 6, badEscape);
    row("no digit", "[\"\\u12G4\"]", 6, badEscape);
    row("NUL byte for a digit", QByteArray("[\"\\u\0\"]", 7), 4, controlCharacter);
    row("lone continuation", "[\"\x80\"]", 2, badUtf8);
    row("overlong of two", "[\"\xc0\xaf\"]", 2, badUtf8);
    row("overlong of three", "[\"\xe0\x80\xaf\"]", 2, badUtf8);
    row("overlong of four", "[\"\xf0\x80\x80\xaf\"]", 2, badUtf8);
    row("surrogate", "[\"\xed\xa0\x80\"]", 2, badUtf8);
    row("past the last code point", "[\"\xf4\x90\x80\x80\"]", 2, badUtf8);
    row("five-byte lead", "[\"\xf8\x88\x80\x80\x80\"]", 2, badUtf8);
    row("0xff", "[\"\xff\"]", 2, badUtf8);
    row("sequence cut off by the quote", "[\"\xe7\x94\"]", 2, badUtf8);
    row("sequence cut off by ASCII", "[\"\xc3(\"]", 2, badUtf8);
    row("Latin-1 name", "{\"\xe9t\xe9\":1}", 2, badUtf8);
}

void RobotJsonFaultsTest::addNumberRows()
{
    row("leading zero", "[01]", 3, noComma);
    row("leading zero behind minus", "[-00]", 4, noComma);
    row("plus", "[+1]", 1, badNumber);
    row("minus alone", "[-]", 2, badNumber);
    row("two minus", "[--1]", 2, badNumber);
    row("two points", "[1.2.3]", 5, noComma);
    row("exponent alone", "[1e]", 3, badNumber);
    row("exponent sign alone", "[1e+]", 4, badNumber);
    row("fraction in the exponent", "[1e1.5]", 5, noComma);
    row("hexadecimal", "[0x10]", 3, noComma);
    row("letters behind", "[12abc]", 4, noComma);
    row("beyond a double", "[1e999]", 6, badNumber);
    row("behind a whole document", "{}\n[1e999]", 9, badNumber);
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

void RobotJsonFaultsTest::whatQtDecides_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("read");
    const auto decides = [](const char* name, const QByteArray& bytes, const QByteArray& read) {
        QTest::newRow(name) << bytes << read;
    };
    decides("name twice", R"({"a":1,"a":2})", R"({"a":2})");
    decides("name twice with the same value", R"({"a":1,"a":1})", R"({"a":1})");
    decides("name twice, once with an escape", R"({"a":1,"\u0061":2})", R"({"a":2})");
    decides("name twice in the depth", R"([{"b":[],"c":{"a":[{"a":0}],"x":"a","a":1}}])",
            R"([{"b":[],"c":{"a":1,"x":"a"}}])");
    decides("request with two names",
            R"({"module":"robot","msgParams":{"fromWeb":true,"jobname":"a","jobname" : "b"},"msgType":1})",
            R"({"module":"robot","msgParams":{"fromWeb":true,"jobname":"b"},"msgType":1})");
    decides("empty name twice", R"({"":1,"":2})", R"({"":2})");
    decides("beyond 2^53", "[9007199254740993]", "[9007199254740992]");
    decides("beyond -2^53", "[-9007199254740993 ]", "[-9007199254740992]");
    decides("beyond 2^64", "[99999999999999999999999]", "[1e+23]");
    decides("beyond 2^128", '[' + QByteArray(40, '9') + ']', "[1e+40]");
    decides("leading point", "[.5]", "[0.5]");
    decides("point alone", "[1.]", "[1]");
    decides("point and exponent", "[1.e3]", "[1000]");
}

void RobotJsonFaultsTest::whatQtDecides()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, read);
    JsonSplitter splitter;
    const auto documents = splitter.feed(bytes);
    QCOMPARE(splitter.faultMessage(), QString());
    QCOMPARE(documents.size(), std::size_t(1));
    QCOMPARE(documents[0].bytes, bytes.size());
    QCOMPARE(documents[0].json.toJson(QJsonDocument::Compact), read);
}

// Which kind closes which is Qt's to say, when the document is whole: until then there is nothing to refuse.
void RobotJsonFaultsTest::bracketsOfBothKindsCount()
{
    JsonSplitter splitter;
    QVERIFY(splitter.feed("{\"a\":[{}}").empty());
    QCOMPARE(splitter.fault(), JsonFault::None);
    QVERIFY(splitter.insideDocument());
    QVERIFY(splitter.feed("]").empty());
    QCOMPARE(splitter.faultMessage(), QStringLiteral("byte 9: ") + QLatin1String(noComma));
}

ZAV_REGISTER_TEST(robot_json_faults, RobotJsonFaultsTest, KOZAV::Test::NoApplication)

#include "robot_json_faults.moc"
