// A verb of two words is completed in two steps: behind its first word that word's seconds are the verbs. The
// options of the program come along at each step, since they may stand anywhere.

#include "terminal/Completions.h"

namespace KOZAV::Terminal {

namespace {

/// A text between single quotes.
QString zshQuoted(QString text)
{
    return QLatin1Char('\'') + text.replace(QLatin1Char('\''), QStringLiteral("'\\''")) + QLatin1Char('\'');
}

/// A text in which colons and brackets end what they stand in.
QString zshEscaped(const QString& text)
{
    QString made;
    for (const QChar character : text) {
        if (QStringLiteral("\\:[]").contains(character))
            made += QLatin1Char('\\');
        made += character;
    }
    return made;
}

/// What is offered, as an action of _arguments.
QString action(ValueKind kind, const QStringList& choices)
{
    const QString words = choices.join(QLatin1Char(' '));
    switch (kind) {
    case ValueKind::File:
        return QStringLiteral("_files");
    case ValueKind::Directory:
        return QStringLiteral("_files -/");
    case ValueKind::Choice:
        return QLatin1Char('(') + words + QLatin1Char(')');
    case ValueKind::ChoiceList:
        return QStringLiteral("_values -s , kind ") + words;
    case ValueKind::Text:
    case ValueKind::Verb:
        break;
    }
    return QStringLiteral(" ");
}

QString optionLine(const CommandOption& option)
{
    const QString name = QStringLiteral("--") + option.name;
    const QString text = QLatin1Char('[') + zshEscaped(option.help) + QLatin1Char(']');
    QString line;
    if (!option.letter.isEmpty())
        line = QStringLiteral("'(%1 -%2)'{%1,-%2}%3").arg(name, option.letter, zshQuoted(text));
    else if (option.valueName.isEmpty())
        line = zshQuoted(name + text);
    else
        line = zshQuoted((option.repeated ? QStringLiteral("*") : QString()) + name + QLatin1Char('=') +
                         text + QLatin1Char(':') + zshEscaped(option.valueName) + QLatin1Char(':') +
                         action(option.kind, option.choices));
    return line;
}

QString optionLines(const std::vector<CommandOption>& options, const char* indent)
{
    QString lines;
    for (const CommandOption& option : options)
        lines += QLatin1String(indent) + optionLine(option) + QStringLiteral(" \\\n");
    return lines;
}

QString operandLine(const CommandOperand& operand, std::size_t place, const QString& function)
{
    QString where = operand.repeated ? QStringLiteral("*") : QString::number(place + 1);
    if (operand.optional && !operand.repeated)
        where += QLatin1Char(':');
    if (operand.kind == ValueKind::Verb)
        return QStringLiteral("'1:VERB:%1_words' '2:VERB: %1_words $words[CURRENT-1]'").arg(function);
    // The name alone is shown, but not where an option is typed: a message keeps zsh from completing that.
    const QString shown = operand.kind == ValueKind::Text
                              ? QStringLiteral("{[[ $PREFIX == -* ]] || _message %1}").arg(operand.name)
                              : action(operand.kind, operand.choices);
    return zshQuoted(where + QLatin1Char(':') + operand.name + QLatin1Char(':') + shown);
}

/// The function that offers the words of verbs: the first ones, or those behind a first.
QString wordsFunction(const CommandDescription& program, const QString& function)
{
    const auto list = [](const std::vector<NamedText>& words, const char* indent) {
        QString lines;
        for (const NamedText& word : words)
            lines += QLatin1String(indent) + zshQuoted(zshEscaped(word.name) + QLatin1Char(':') + word.text) +
                     QLatin1Char('\n');
        return lines;
    };
    QString text = function + QStringLiteral("_words() {\n  local -a verbs\n  case ${1-} in\n");
    text += QStringLiteral("  '')\n    verbs=(\n%1    )\n    ;;\n").arg(list(verbWords(program), "      "));
    for (const NamedText& first : verbWords(program)) {
        const auto second = verbWords(program, first.name);
        if (!second.empty())
            text += QStringLiteral("  %1)\n    verbs=(\n%2    )\n    ;;\n")
                        .arg(first.name, list(second, "      "));
    }
    return text + QStringLiteral("  esac\n  _describe -t verbs verb verbs\n}\n\n");
}

/// Options and operands of a verb.
QString verbBranch(const CommandDescription& program, const CommandVerb& verb, const QString& function)
{
    QString branch = QStringLiteral("  %1)\n    _arguments -S \\\n").arg(zshQuoted(verb.name));
    branch += optionLines(program.options, "      ") + optionLines(verb.options, "      ");
    for (std::size_t place = 0; place < verb.operands.size(); ++place)
        branch += QStringLiteral("      ") + operandLine(verb.operands[place], place, function) +
                  QStringLiteral(" \\\n");
    return branch + QStringLiteral("      && ret=0\n    ;;\n");
}

/// The first words that are no verbs by themselves.
QString firstWords(const CommandDescription& program)
{
    QStringList words;
    for (const NamedText& first : verbWords(program))
        if (!verbWords(program, first.name).empty())
            words << first.name;
    return words.join(QLatin1Char('|'));
}

QString verbsFunction(const CommandDescription& program, const QString& function)
{
    QString text = wordsFunction(program, function);
    // Called once for the program, and once more behind the first of two words.
    text += function + QStringLiteral("() {\n  local curcontext=$curcontext state line ret=1\n"
                                      "  local -A opt_args\n  local group=${1-}\n  _arguments -C -S \\\n");
    text += optionLines(program.options, "    ");
    text += QStringLiteral("    '1: :->verb' '*:: :->rest' && ret=0\n"
                           "  [[ $state == verb ]] && %1_words $group && ret=0\n"
                           "  [[ $state == rest ]] || return ret\n"
                           "  case ${group:+$group }$words[1] in\n")
                .arg(function);
    const QString first = firstWords(program);
    if (!first.isEmpty())
        text += QStringLiteral("  %1)\n    %2 $words[1] && ret=0\n    ;;\n").arg(first, function);
    for (const CommandVerb& verb : program.verbs)
        text += verbBranch(program, verb, function);
    return text + QStringLiteral("  esac\n  return ret\n}\n\n");
}

} // namespace

QByteArray zshCompletion(const CommandDescription& program)
{
    const QString function = QLatin1Char('_') + program.program;
    QString text = QStringLiteral("#compdef %1\n\n").arg(program.program);
    if (program.verbs.empty())
        text += function + QStringLiteral("() {\n  _arguments -S \\\n") +
                optionLines(program.options, "    ") + QStringLiteral("    && return 0\n  return 1\n}\n\n");
    else
        text += verbsFunction(program, function);
    return (text + function + QLatin1Char('\n')).toUtf8();
}

} // namespace KOZAV::Terminal
