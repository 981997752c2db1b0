#pragma once

#include <QCommandLineOption>
#include <QString>
#include <QStringList>

#include <vector>

namespace KOZAV::Terminal {

// What a program says of its command line, as plain data. Its parser, its help, its man page and what shells
// complete are made of it, so a program says it once. Texts are English and plain.

/// What a value stands for, as far as a shell can offer it.
enum class ValueKind {
    Text, ///< anything
    File,
    Directory,
    Choice,     ///< one of the choices; the program may take more than these
    ChoiceList, ///< some of the choices, parted by commas
    Verb        ///< a verb of the program, in as many words as it has
};

/// An option that a command line may hold.
struct CommandOption
{
    QString name;      ///< without its dashes
    QString valueName; ///< empty for an option without a value
    QString help;
    bool required = false;
    QString letter = {}; ///< a short form of the name, for a few
    ValueKind kind = ValueKind::Text;
    QStringList choices = {};
    bool repeated = false; ///< may be given several times
};

/// A word that is no option, by its place.
struct CommandOperand
{
    QString name; ///< in capitals
    bool optional = false;
    bool repeated = false; ///< may stand several times; the last one only
    ValueKind kind = ValueKind::Text;
    QStringList choices = {};
};

/// What a program can be told to do, where it has verbs.
struct CommandVerb
{
    QString name; ///< one or two words: "jobs", "company add"
    std::vector<CommandOperand> operands;
    QString summary; ///< begins in lower case, without a full stop
    std::vector<CommandOption> options;
    QString details = {}; ///< what is to be known before it is used, in sentences; may be empty
};

struct ExitCodeMeaning
{
    int code;
    QString meaning;
};

/// An environment variable, a file or a command line, and what it is about.
struct NamedText
{
    QString name;
    QString text;
};

struct CommandDescription
{
    QString program;
    QString summary; ///< what it is, in a few words: begins in lower case, without a full stop
    /// Ways to call it, each as the pieces behind the program's name; none: as its verbs are called.
    std::vector<QStringList> usages;
    QStringList paragraphs; ///< the description, in full sentences
    std::vector<CommandVerb> verbs;
    std::vector<CommandOption> options; ///< of the program; with verbs those that every verb takes
    std::vector<ExitCodeMeaning> exitCodes;
    std::vector<NamedText> environment;
    std::vector<NamedText> files;
    std::vector<NamedText> examples;
    QStringList seeAlso; ///< other pages: "zav_admin(1)"
};

/// The options that every program of ours has.
CommandOption helpOption();
CommandOption versionOption();

/// Environment variables and files of every program that opens a site.
std::vector<NamedText> siteEnvironment();
std::vector<NamedText> siteFiles();
/// What NO_COLOR does in every program of ours.
NamedText colourVariable();

/// As it is written on a command line: "--name VALUE".
QString writtenOption(const CommandOption& option);
/// "JOB", "[JOB]" or "[JOB...]".
QString writtenOperand(const CommandOperand& operand);
/// The pieces of a verb's usage, none of which is to be torn: its name, operands and options.
QStringList usagePieces(const CommandVerb& verb);

/// All options of the program and its verbs, each name once.
std::vector<CommandOption> allOptions(const CommandDescription& program);

/// What may stand as the first word of a verb, or as the second one behind a first; in their order.
std::vector<NamedText> verbWords(const CommandDescription& program, const QString& first = {});

/// The option as the parser takes it.
QCommandLineOption parserOption(const CommandOption& option);

} // namespace KOZAV::Terminal
