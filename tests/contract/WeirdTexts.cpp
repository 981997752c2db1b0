#include "WeirdTexts.h"

#include <QTest>

namespace KOZAV::Test {

void addWeirdTexts()
{
    QTest::addColumn<std::string>("text");
    const auto row = [](const char* what, const std::string& text) { QTest::newRow(what) << text; };
    row("plain", "Alpha");
    row("blanks around", "  Alpha  ");
    row("quotes", "O'Neil \"and\" `sons`");
    row("statement", "'; DROP TABLE company;--");
    row("wildcards", "100%_?*[a]");
    row("backslashes", "a\\b\\'c\\n");
    row("semicolon and comma", "a;b,c=d#e");
    row("place holders", ":name ?1 @x $y %1 %s %n");
    row("markup", "<b>&amp;</b>");
    row("Chinese", "\xE6\x96\x99\xE5\x8F\xB7\xE5\x90\x8D\xE7\xA7\xB0");
    row("four-byte characters", "\xF0\x9F\x93\xA6\xF0\xA0\x80\x8B");
    row("decomposed accent", "Jo\xCC\x88rg");
    row("right to left", "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D");
    row("like a number", "007");
    row("word of the language", "NULL");
    row("255 bytes", std::string(255, 'x'));
}

} // namespace KOZAV::Test
