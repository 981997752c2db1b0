// All lines are filled from pieces that are never torn: words of a text, and in a usage an option with its
// value and its brackets.

#include "terminal/HelpText.h"

#include <algorithm>

namespace KOZAV::Terminal {

namespace {

constexpr int widestLeftColumn = 26;

/// Fills lines with the pieces. The first one begins with what is given, the others are indented.
QString filled(const QString& begin, int indent, const QStringList& pieces)
{
    QString lines;
    QString line = begin;
    bool isEmpty = true;
    for (const QString& piece : pieces) {
        if (!isEmpty && line.size() + 1 + piece.size() >= helpColumns) {
            lines += line + QLatin1Char('\n');
            line = QString(indent, QLatin1Char(' '));
            isEmpty = true;
        }
        line += isEmpty ? piece : QLatin1Char(' ') + piece;
        isEmpty = false;
    }
    return lines + line + QLatin1Char('\n');
}

QString filledText(int indent, const QString& text)
{
    return filled(QString(indent, QLatin1Char(' ')), indent, text.split(QLatin1Char(' ')));
}

/// Pairs in two columns; where the left one is wide its text begins on a line of its own.
QString columns(const std::vector<NamedText>& pairs)
{
    int width = 0;
    for (const NamedText& pair : pairs)
        if (pair.name.size() <= widestLeftColumn)
            width = std::max(width, pair.name.size());
    constexpr int margin = 2;
    const int indent = margin + width + margin;
    const QString blanks(margin, QLatin1Char(' '));
    QString lines;
    for (const NamedText& pair : pairs) {
        const bool isWide = pair.name.size() > width;
        if (isWide)
            lines += blanks + pair.name + QLatin1Char('\n');
        const QString begin =
            isWide ? QString(indent, QLatin1Char(' ')) : blanks + pair.name.leftJustified(width) + blanks;
        lines += filled(begin, indent, pair.text.split(QLatin1Char(' ')));
    }
    return lines;
}

QString optionLines(const std::vector<CommandOption>& options)
{
    std::vector<NamedText> pairs;
    for (const CommandOption& option : options) {
        const QString letter =
            option.letter.isEmpty() ? QString() : QStringLiteral("-%1, ").arg(option.letter);
        pairs.push_back({letter + writtenOption(option), option.help});
    }
    return columns(pairs);
}

QString exitCodeLines(const std::vector<ExitCodeMeaning>& exitCodes)
{
    constexpr int digits = 3;
    std::vector<NamedText> pairs;
    pairs.reserve(exitCodes.size());
    for (const ExitCodeMeaning& exitCode : exitCodes)
        pairs.push_back({QString::number(exitCode.code).rightJustified(digits), exitCode.meaning});
    return columns(pairs);
}

/// One way to call the program; begin is "Usage: ", or as many blanks.
QString usageLines(const QString& begin, const QString& program, const QStringList& pieces)
{
    const QString start = begin + program + QLatin1Char(' ');
    return filled(start, start.size(), pieces);
}

QString verbLines(const CommandDescription& program)
{
    std::vector<NamedText> pairs;
    QString lines;
    constexpr int usageIndent = 2;
    constexpr int summaryIndent = 6;
    for (const CommandVerb& verb : program.verbs) {
        pairs.push_back({verb.name, verb.summary});
        lines += filled(QString(usageIndent, QLatin1Char(' ')), summaryIndent + 2, usagePieces(verb)) +
                 filledText(summaryIndent, verb.summary);
    }
    // Where the usage of the program has told what the verbs take, that is not told again.
    return program.usages.empty() ? columns(pairs) : lines;
}

} // namespace

QString programUsage(const CommandDescription& program)
{
    const QString word = QStringLiteral("Usage: ");
    const QString blanks(word.size(), QLatin1Char(' '));
    QString lines;
    for (const QStringList& usage : program.usages)
        lines += usageLines(lines.isEmpty() ? word : blanks, program.program, usage);
    if (program.usages.empty())
        for (const CommandVerb& verb : program.verbs)
            lines += usageLines(lines.isEmpty() ? word : blanks, program.program, usagePieces(verb));
    return lines;
}

QString programHelp(const CommandDescription& program)
{
    QString help = programUsage(program);
    for (const QString& paragraph : program.paragraphs)
        help += QLatin1Char('\n') + filledText(0, paragraph);
    if (!program.verbs.empty())
        help += QStringLiteral("\nVerbs:\n") + verbLines(program);
    help += program.verbs.empty() ? QStringLiteral("\nOptions:\n")
                                  : QStringLiteral("\nOptions, before or after the verb:\n");
    help += optionLines(program.options);
    return help + QStringLiteral("\nExit codes:\n") + exitCodeLines(program.exitCodes);
}

QString verbHelp(const CommandDescription& program, const CommandVerb& verb)
{
    QString help = usageLines(QStringLiteral("Usage: "), program.program, usagePieces(verb)) +
                   QLatin1Char('\n') + filledText(0, verb.summary);
    if (!verb.details.isEmpty())
        help += QLatin1Char('\n') + filledText(0, verb.details);
    if (!verb.options.empty())
        help += QStringLiteral("\nOptions:\n") + optionLines(verb.options);
    help += QStringLiteral("\nOptions that every verb takes:\n") + optionLines(program.options);
    return help;
}

} // namespace KOZAV::Terminal
