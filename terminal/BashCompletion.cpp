// The function that bash calls goes over the words before the one to complete, leaves out options and their
// values, and so finds the verb and how many operands stand behind it. What may come next is looked up in
// three lists: values of the option before, options of the verb, operands of the verb by their place.

#include "terminal/Completions.h"

namespace KOZAV::Terminal {

namespace {

QString bashQuoted(const QString& text)
{
    return QLatin1Char('\'') + text + QLatin1Char('\'');
}

QString dashed(const CommandOption& option)
{
    return QStringLiteral("--") + option.name;
}

/// What has bash offer one of the words.
QString offer(const QString& words)
{
    return QStringLiteral("mapfile -t COMPREPLY < <(compgen -W %1 -- \"$cur\")").arg(bashQuoted(words));
}

QString offerValue(ValueKind kind, const QStringList& choices)
{
    const QString words = choices.join(QLatin1Char(' '));
    switch (kind) {
    case ValueKind::File:
        return QStringLiteral("_filedir");
    case ValueKind::Directory:
        return QStringLiteral("_filedir -d");
    case ValueKind::Choice:
        return offer(words);
    case ValueKind::ChoiceList:
        return QStringLiteral(
                   "[[ $cur == *,* ]] && list=${cur%,*},\n"
                   "            mapfile -t COMPREPLY < <(compgen -P \"$list\" -W %1 -- \"${cur##*,}\")\n"
                   "            compopt -o nospace")
            .arg(bashQuoted(words));
    case ValueKind::Text:
    case ValueKind::Verb:
        break;
    }
    return {};
}

QString names(const std::vector<CommandOption>& options)
{
    QStringList all;
    for (const CommandOption& option : options)
        all << dashed(option);
    return all.join(QLatin1Char(' '));
}

QString words(const std::vector<NamedText>& named)
{
    QStringList all;
    for (const NamedText& word : named)
        all << word.name;
    return all.join(QLatin1Char(' '));
}

/// The branches of values; an option without anything to offer has an empty one, so that nothing else is
/// offered there.
QString valueBranches(const CommandDescription& program)
{
    QString branches;
    QStringList others;
    for (const CommandOption& option : allOptions(program)) {
        if (option.valueName.isEmpty())
            continue;
        const QString commands = offerValue(option.kind, option.choices);
        if (commands.isEmpty())
            others << dashed(option);
        else
            branches += QStringLiteral("        %1)\n            %2\n            return\n            ;;\n")
                            .arg(dashed(option), commands);
    }
    if (!others.isEmpty())
        branches += QStringLiteral("        %1)\n            return\n            ;;\n")
                        .arg(others.join(QStringLiteral(" | ")));
    return branches;
}

/// Finds the verb: those of two words first, since another may be the beginning of one.
QString verbBranches(const CommandDescription& program)
{
    QStringList ofTwo;
    QStringList ofOne;
    for (const CommandVerb& verb : program.verbs) {
        if (verb.name.contains(QLatin1Char(' ')))
            ofTwo << bashQuoted(verb.name);
        else
            ofOne << bashQuoted(verb.name + QLatin1Char(' ')) + QLatin1Char('*');
    }
    QString branches;
    const auto add = [&branches](const QStringList& patterns, const char* verb, int taken) {
        if (!patterns.isEmpty())
            branches += QStringLiteral("        %1)\n            verb=%2\n            place=$((place - %3))\n"
                                       "            ;;\n")
                            .arg(patterns.join(QStringLiteral(" | ")), QLatin1String(verb))
                            .arg(taken);
    };
    add(ofTwo, "\"${before[0]} ${before[1]}\"", 2);
    add(ofOne, "${before[0]}", 1);
    return branches;
}

QString optionBranches(const CommandDescription& program)
{
    QString branches;
    for (const CommandVerb& verb : program.verbs)
        if (!verb.options.empty())
            branches += QStringLiteral("            %1) options+=%2 ;;\n")
                            .arg(bashQuoted(verb.name), bashQuoted(QLatin1Char(' ') + names(verb.options)));
    return branches;
}

QString operandBranches(const CommandVerb& verb)
{
    QString branches;
    for (std::size_t place = 0; place < verb.operands.size(); ++place) {
        const CommandOperand& operand = verb.operands[place];
        const QString commands = offerValue(operand.kind, operand.choices);
        const QString at = operand.repeated ? QStringLiteral("*") : QString::number(place);
        if (!commands.isEmpty())
            branches += QStringLiteral("        %1:%2) %3 ;;\n").arg(bashQuoted(verb.name), at, commands);
    }
    return branches;
}

/// The words of verbs, by how many were typed.
QString wordBranches(const CommandDescription& program)
{
    QString branches = QStringLiteral("        :0) %1 ;;\n        :1)\n            case ${before[0]} in\n")
                           .arg(offer(words(verbWords(program))));
    for (const NamedText& first : verbWords(program)) {
        const QString second = words(verbWords(program, first.name));
        if (!second.isEmpty())
            branches += QStringLiteral("                %1) %2 ;;\n").arg(first.name, offer(second));
    }
    return branches + QStringLiteral("            esac\n            ;;\n");
}

/// A verb whose operand is a verb again; empty where there is none.
QString helpVerb(const CommandDescription& program)
{
    for (const CommandVerb& verb : program.verbs)
        for (const CommandOperand& operand : verb.operands)
            if (operand.kind == ValueKind::Verb)
                return verb.name;
    return {};
}

QString findVerb(const CommandDescription& program)
{
    QString takers;
    for (const CommandOption& option : allOptions(program))
        if (!option.valueName.isEmpty())
            takers += (takers.isEmpty() ? QString() : QStringLiteral(" | ")) + dashed(option);
    QString text = QStringLiteral("    local -a before=()\n"
                                  "    local i verb='' place\n"
                                  "    for ((i = 1; i < cword; i++)); do\n"
                                  "        case ${words[i]} in\n"
                                  "            %1) ((i++)) ;;\n"
                                  "            -?*) ;;\n"
                                  "            *) before+=(\"${words[i]}\") ;;\n"
                                  "        esac\n"
                                  "    done\n")
                       .arg(takers);
    const QString help = helpVerb(program);
    const QString typed = QStringLiteral("\"${before[0]-} ${before[1]-}\"");
    if (!help.isEmpty())
        text += QStringLiteral("    local of_verbs=\n"
                               "    if [[ ${before[0]-} == %1 && $cur != -* ]]; then\n"
                               "        before=(\"${before[@]:1}\")\n"
                               "        of_verbs=yes\n"
                               "    fi\n")
                    .arg(help);
    text += QStringLiteral("    place=${#before[@]}\n");
    const QString begin =
        help.isEmpty() ? QStringLiteral("case ") : QStringLiteral("[[ $of_verbs ]] || case ");
    return text + QStringLiteral("    %1%2 in\n%3    esac\n").arg(begin, typed, verbBranches(program));
}

} // namespace

QByteArray bashCompletion(const CommandDescription& program)
{
    const bool hasVerbs = !program.verbs.empty();
    QString text = QStringLiteral("# bash completion for %1                          -*- shell-script -*-\n"
                                  "# shellcheck shell=bash\n\n_%1()\n{\n"
                                  "    # shellcheck disable=SC2034  # of bash-completion\n"
                                  "    local cur prev words cword split list=''\n"
                                  "    _init_completion -s || return\n\n"
                                  "    case $prev in\n%2    esac\n    $split && return\n\n")
                       .arg(program.program, valueBranches(program));
    if (hasVerbs)
        text += findVerb(program) + QLatin1Char('\n');
    text += QStringLiteral("    if [[ $cur == -* ]]; then\n        local options=%1\n")
                .arg(bashQuoted(names(program.options)));
    if (hasVerbs)
        text += QStringLiteral("        case $verb in\n%1        esac\n").arg(optionBranches(program));
    text += QStringLiteral("        mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"$cur\")\n");
    if (hasVerbs) {
        text += QStringLiteral("        return\n    fi\n    case $verb:$place in\n") + wordBranches(program);
        for (const CommandVerb& verb : program.verbs)
            text += operandBranches(verb);
        text += QStringLiteral("    esac\n");
    } else {
        text += QStringLiteral("    fi\n");
    }
    text += QStringLiteral("} &&\n    complete -F _%1 %1\n").arg(program.program);
    return text.toUtf8();
}

} // namespace KOZAV::Terminal
