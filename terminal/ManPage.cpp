// Every character that roff takes for something else is written as an escape; a hyphen always as the one that
// is typed, so that what is copied out of a page works. A line of text never begins with a control character.

#include "terminal/ManPage.h"

#include <QRegularExpression>

namespace KOZAV::Terminal {

namespace {

constexpr int sourceColumns = 79;

QByteArray escaped(const QString& text)
{
    QByteArray source;
    for (const uint character : text.toUcs4()) {
        switch (character) {
        case '\\':
            source += "\\e";
            break;
        case '-':
            source += "\\-";
            break;
        case '\'':
            source += "\\(aq";
            break;
        case '"':
            source += "\\(dq";
            break;
        case '`':
            source += "\\(ga";
            break;
        case '^':
            source += "\\(ha";
            break;
        case '~':
            source += "\\(ti";
            break;
        default:
            constexpr uint lastOfAscii = 0x7e;
            if (character <= lastOfAscii)
                source += static_cast<char>(character);
            else
                source += "\\[u" + QByteArray::number(character, 16).toUpper().rightJustified(4, '0') + "]";
        }
    }
    return source.startsWith('.') ? "\\&" + source : source;
}

QByteArray bold(const QString& text)
{
    return "\\fB" + escaped(text) + "\\fR";
}

/// What is typed as it stands is bold, what stands for something else is in italics.
QByteArray markedUsage(const QString& piece)
{
    static const QRegularExpression words(
        QStringLiteral("(-*[a-z][a-z0-9_-]*)|([A-Z][A-Za-z0-9-]*)|([^A-Za-z-]+|-)"));
    QByteArray source;
    auto matches = words.globalMatch(piece);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        if (match.capturedLength(1) > 0)
            source += bold(match.captured(1));
        else if (match.capturedLength(2) > 0)
            source += "\\fI" + escaped(match.captured(2)) + "\\fR";
        else
            source += escaped(match.captured(3)).replace(" ", "\\~");
    }
    return source;
}

/// A word of a text: options stand out, and what may be typed is not hyphenated.
QByteArray markedWord(const QString& word)
{
    static const QRegularExpression option(QStringLiteral("^(\\W*?)(--[a-z][a-z-]*)(.*)$"));
    static const QRegularExpression typed(QStringLiteral("[-/_.$].*\\w"));
    const QRegularExpressionMatch match = option.match(word);
    const QByteArray whole = typed.match(word).hasMatch() ? "\\%" : "";
    if (!match.hasMatch())
        return whole + escaped(word);
    return whole + escaped(match.captured(1)) + bold(match.captured(2)) + escaped(match.captured(3));
}

QString sentence(const QString& text)
{
    QString made = text;
    made[0] = made.at(0).toUpper();
    return made.endsWith(QLatin1Char('.')) ? made : made + QLatin1Char('.');
}

void addOptions(ManPage& page, const std::vector<CommandOption>& options)
{
    for (const CommandOption& option : options) {
        const QString letter =
            option.letter.isEmpty() ? QString() : QStringLiteral("-%1, ").arg(option.letter);
        page.item(letter + writtenOption(option), sentence(option.help));
    }
}

void addSynopses(ManPage& page, const CommandDescription& program)
{
    for (const QStringList& usage : program.usages)
        page.synopsis(program.program, usage);
    if (program.usages.empty())
        for (const CommandVerb& verb : program.verbs)
            page.synopsis(program.program, usagePieces(verb));
}

void addVerbs(ManPage& page, const CommandDescription& program)
{
    if (program.verbs.empty())
        return;
    page.section(QStringLiteral("VERBS"));
    for (const CommandVerb& verb : program.verbs) {
        page.subsection(verb.name);
        page.synopsis(program.program, usagePieces(verb));
        page.paragraph(sentence(verb.summary));
        if (!verb.details.isEmpty())
            page.paragraph(verb.details);
        addOptions(page, verb.options);
    }
}

void addItems(ManPage& page, const char* title, const std::vector<NamedText>& items)
{
    if (items.empty())
        return;
    page.section(QString::fromLatin1(title));
    for (const NamedText& item : items)
        page.term(item.name, sentence(item.text));
}

} // namespace

ManPage::ManPage(const QString& name, int section, const QString& manual, const QString& summary,
                 const ManEdition& edition)
{
    const auto quoted = [](const QString& text) { return '"' + escaped(text) + '"'; };
    // The date stands as it is: readers of pages parse it.
    line(".TH", escaped(name.toUpper()) + ' ' + QByteArray::number(section) + " \"" +
                    edition.date.toLatin1() + "\" " +
                    quoted(QStringLiteral("zav_import ") + edition.version) + ' ' + quoted(manual));
    line(".ad l");
    this->section(QStringLiteral("NAME"));
    line(escaped(name + QStringLiteral(" - ") + summary));
}

void ManPage::line(const QByteArray& macro, const QByteArray& arguments)
{
    m_isBelowHeading = macro == ".SH" || macro == ".SS";
    m_source += arguments.isEmpty() ? macro + '\n' : macro + ' ' + arguments + '\n';
}

void ManPage::text(const QString& text)
{
    QByteArray filled;
    for (const QString& word : text.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        const QByteArray marked = markedWord(word);
        if (!filled.isEmpty() && filled.size() + 1 + marked.size() > sourceColumns) {
            line(filled);
            filled.clear();
        }
        filled += filled.isEmpty() ? marked : ' ' + marked;
    }
    line(filled);
}

void ManPage::section(const QString& title)
{
    line(".SH", escaped(title));
}

void ManPage::subsection(const QString& title)
{
    line(".SS", '"' + escaped(title) + '"');
}

void ManPage::paragraph(const QString& text)
{
    if (!m_isBelowHeading)
        line(".PP");
    this->text(text);
}

void ManPage::term(const QString& name, const QString& text)
{
    line(".TP");
    line(bold(name));
    this->text(text);
}

void ManPage::item(const QString& typed, const QString& text)
{
    line(".TP");
    line(markedUsage(typed));
    this->text(text);
}

void ManPage::synopsis(const QString& command, const QStringList& pieces)
{
    line(".SY", escaped(command));
    for (const QString& piece : pieces)
        line(markedUsage(piece));
    line(".YS");
}

void ManPage::literal(const QString& lines)
{
    line(".PP");
    line(".RS 4");
    line(".nf");
    for (const QString& text : lines.split(QLatin1Char('\n')))
        line(escaped(text));
    line(".fi");
    line(".RE");
}

void ManPage::seeAlso(const QStringList& pages)
{
    section(QStringLiteral("SEE ALSO"));
    for (const QString& page : pages) {
        const int bracket = page.indexOf(QLatin1Char('('));
        line(".BR", escaped(page.left(bracket)) + ' ' + escaped(page.mid(bracket)) +
                        (page == pages.last() ? "" : ","));
    }
}

QByteArray manPageOf(const CommandDescription& program, const ManEdition& edition)
{
    ManPage page(program.program, 1, QStringLiteral("User Commands"), program.summary, edition);
    page.section(QStringLiteral("SYNOPSIS"));
    addSynopses(page, program);
    page.section(QStringLiteral("DESCRIPTION"));
    for (const QString& paragraph : program.paragraphs)
        page.paragraph(paragraph);
    page.section(QStringLiteral("OPTIONS"));
    if (!program.verbs.empty())
        page.paragraph(QStringLiteral("Of the program and of every verb, before or after it:"));
    addOptions(page, program.options);
    addVerbs(page, program);
    page.section(QStringLiteral("EXIT STATUS"));
    for (const ExitCodeMeaning& exitCode : program.exitCodes)
        page.term(QString::number(exitCode.code), sentence(exitCode.meaning));
    addItems(page, "ENVIRONMENT", program.environment);
    addItems(page, "FILES", program.files);
    if (!program.examples.empty())
        page.section(QStringLiteral("EXAMPLES"));
    for (const NamedText& example : program.examples) {
        page.paragraph(example.text);
        page.literal(example.name);
    }
    page.seeAlso(program.seeAlso);
    return page.source();
}

} // namespace KOZAV::Terminal
