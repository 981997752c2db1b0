#include "backend/Text.h"
#include "tests/support/TestProgram.h"

#include <QTest>

#include <string>

using namespace KOZAV::Backend;

class TextUtf8Test final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void isToldFromOtherBytes_data();
    void isToldFromOtherBytes();
    void lengthIsThatOfOneCharacter();
};

void TextUtf8Test::isToldFromOtherBytes_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("valid");
    const auto row = [](const char* what, const QByteArray& bytes, bool valid) {
        QTest::newRow(what) << bytes << valid;
    };
    row("nothing", QByteArray(), true);
    row("a NUL", QByteArray(1, '\0'), true);
    row("two bytes, the least", "\xc2\x80", true);
    row("three bytes, the least", "\xe0\xa0\x80", true);
    row("the last before the surrogates", "\xed\x9f\xbf", true);
    row("the first behind them", "\xee\x80\x80", true);
    row("a byte order mark", "\xef\xbb\xbf", true);
    row("no character, but well formed", "\xef\xbf\xbf", true);
    row("four bytes, the least", "\xf0\x90\x80\x80", true);
    row("the very last", "\xf4\x8f\xbf\xbf", true);
    row("a mixed text", "a\xc3\xa9\xe7\xbc\x93\xf0\x9f\x98\x80z", true);
    row("Latin 1", "caf\xe9", false);
    row("a second byte alone", "\x80", false);
    row("overlong in two bytes", "\xc0\xaf", false);
    row("overlong in two bytes, the longest", "\xc1\xbf", false);
    row("overlong in three bytes", "\xe0\x9f\xbf", false);
    row("overlong in four bytes", "\xf0\x8f\xbf\xbf", false);
    row("a surrogate", "\xed\xa0\x80", false);
    row("beyond the last", "\xf4\x90\x80\x80", false);
    row("five bytes", "\xf8\x88\x80\x80\x80", false);
    row("cut off in two", "\xc3", false);
    row("cut off in three", "a\xe7\xbc", false);
    row("cut off in four", "\xf0\x9f\x98", false);
    row("a third byte that is none", "\xe7\xbcz", false);
    row("good text around a bad byte",
        "abc\xff"
        "def",
        false);
}

void TextUtf8Test::isToldFromOtherBytes()
{
    QFETCH(const QByteArray, bytes);
    QFETCH(const bool, valid);
    QCOMPARE(isValidUtf8(bytes.toStdString()), valid);
}

void TextUtf8Test::lengthIsThatOfOneCharacter()
{
    const std::string text = "a\xc3\xa9\xe7\xbc\x93\xf0\x9f\x98\x80\xff";
    QCOMPARE(utf8SequenceLength(text, 0), std::size_t{1});
    QCOMPARE(utf8SequenceLength(text, 1), std::size_t{2});
    QCOMPARE(utf8SequenceLength(text, 2), std::size_t{0}); // inside a character
    QCOMPARE(utf8SequenceLength(text, 3), std::size_t{3});
    QCOMPARE(utf8SequenceLength(text, 6), std::size_t{4});
    QCOMPARE(utf8SequenceLength(text, 10), std::size_t{0});
}

ZAV_REGISTER_TEST(text_utf8, TextUtf8Test, KOZAV::Test::NoApplication)

#include "text_utf8.moc"
