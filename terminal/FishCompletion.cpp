// Each offer of a program with verbs has a condition: what was typed so far, without options and their
// values, begins with the words of a verb and has so many operands behind them.

#include "terminal/Completions.h"

namespace KOZAV::Terminal {

namespace {

QString fishQuoted(QString text)
{
    text.replace(QLatin1Char('\\'), QStringLiteral("\\\\")).replace(QLatin1Char('\''), QStringLiteral("\\'"));
    return QLatin1Char('\'') + text + QLatin1Char('\'');
}

/// The flags of "complete" that offer a value. @param exclusive  the flag where files are not offered
QString offered(ValueKind kind, const QStringList& choices, const char* exclusive)
{
    QString only = QLatin1String(exclusive);
    const QString words = choices.join(QLatin1Char(' '));
    switch (kind) {
    case ValueKind::File:
        return QStringLiteral("-F");
    case ValueKind::Directory:
        return only + QStringLiteral(" -a '(__fish_complete_directories)'");
    case ValueKind::Choice:
        return only + QStringLiteral(" -a ") + fishQuoted(words);
    case ValueKind::ChoiceList:
        return only + QStringLiteral(" -a ") +
               fishQuoted(QStringLiteral("(__fish_append , ") + words + QLatin1Char(')'));
    case ValueKind::Text:
    case ValueKind::Verb:
        break;
    }
    return only;
}

QString optionLine(const QString& begin, const CommandOption& option)
{
    QString line = begin + QStringLiteral(" -l ") + option.name;
    if (!option.letter.isEmpty())
        line += QStringLiteral(" -s ") + option.letter;
    if (!option.valueName.isEmpty())
        line += option.kind == ValueKind::File
                    ? QStringLiteral(" -r -F")
                    : QLatin1Char(' ') + offered(option.kind, option.choices, "-x");
    return line + QStringLiteral(" -d ") + fishQuoted(option.help) + QLatin1Char('\n');
}

/// The functions that the conditions call.
QString functions(const CommandDescription& program)
{
    QString takers;
    for (const CommandOption& option : allOptions(program))
        if (!option.valueName.isEmpty())
            takers += QStringLiteral(" --") + option.name;
    return QStringLiteral("# The words before the one to complete, without options and their values\n"
                          "function __%1_words\n"
                          "    set -l typed (commandline -opc)\n"
                          "    set -e typed[1]\n"
                          "    set -l skip no\n"
                          "    for word in $typed\n"
                          "        if test $skip = yes\n"
                          "            set skip no\n"
                          "        else if contains -- $word%2\n"
                          "            set skip yes\n"
                          "        else if not string match -q -- '-?*' $word\n"
                          "            printf '%s\\n' $word\n"
                          "        end\n"
                          "    end\n"
                          "end\n\n"
                          "# Whether these words begin with WORD...: __%1_in WORD...\n"
                          "function __%1_in\n"
                          "    set -l typed (__%1_words)\n"
                          "    set -l many (count $argv)\n"
                          "    test (count $typed) -ge $many; and test \"$typed[1..$many]\" = \"$argv\"\n"
                          "end\n\n"
                          "# Whether just so many operands stand behind them: __%1_at OPERANDS WORD...\n"
                          "function __%1_at\n"
                          "    set -l typed (__%1_words)\n"
                          "    set -l operands $argv[1]\n"
                          "    set -e argv[1]\n"
                          "    test (count $typed) -eq (math (count $argv) + $operands); or return 1\n"
                          "    test (count $argv) -eq 0; or __%1_in $argv\n"
                          "end\n\n")
        .arg(program.program, takers);
}

QString offerWords(const CommandDescription& program, const QString& behind, const QString& first)
{
    QString lines;
    for (const NamedText& word : verbWords(program, first)) {
        const QString typed = (behind + QLatin1Char(' ') + first).simplified();
        lines += QStringLiteral("complete -c %1 -n '__%1_at 0 %2' -a %3 -d %4\n")
                     .arg(program.program, typed, word.name, fishQuoted(word.text));
        if (first.isEmpty())
            lines += offerWords(program, behind, word.name);
    }
    return lines;
}

QString offerVerb(const CommandDescription& program, const CommandVerb& verb)
{
    QString lines;
    for (const CommandOption& option : verb.options)
        lines += optionLine(QStringLiteral("complete -c %1 -n '__%1_in %2'").arg(program.program, verb.name),
                            option);
    for (std::size_t place = 0; place < verb.operands.size(); ++place) {
        const CommandOperand& operand = verb.operands[place];
        if (operand.kind == ValueKind::Verb)
            lines += offerWords(program, verb.name, {});
        else if (operand.kind != ValueKind::Text)
            lines += QStringLiteral("complete -c %1 -n '__%1_at %2 %3' %4\n")
                         .arg(program.program, QString::number(place), verb.name,
                              offered(operand.kind, operand.choices, "-f"));
    }
    return lines;
}

} // namespace

QByteArray fishCompletion(const CommandDescription& program)
{
    QString text = QStringLiteral("# fish completion for %1\n\n").arg(program.program);
    if (!program.verbs.empty())
        text += functions(program);
    text += QStringLiteral("complete -c %1 -f\n").arg(program.program);
    for (const CommandOption& option : program.options)
        text += optionLine(QStringLiteral("complete -c ") + program.program, option);
    if (!program.verbs.empty())
        text += offerWords(program, {}, {});
    for (const CommandVerb& verb : program.verbs)
        text += offerVerb(program, verb);
    return text.toUtf8();
}

} // namespace KOZAV::Terminal
