#include "admin/Verbs.h"

#include "admin/Application.h"
#include "admin/ServerOptions.h"
#include "terminal/ProgressLine.h"

#include <algorithm>
#include <limits>

namespace KOZAV::Admin {

using Backend::Result;
using Backend::Status;

namespace {

CommandOption option(const char* name, const char* valueName, const char* help)
{
    return {QString::fromLatin1(name), QString::fromLatin1(valueName), QString::fromLatin1(help)};
}

CommandOption needed(const char* name, const char* valueName, const char* help)
{
    CommandOption made = option(name, valueName, help);
    made.required = true;
    return made;
}

CommandOption flag(const char* name, const char* help)
{
    return option(name, "", help);
}

std::vector<CommandOption> initOptions()
{
    std::vector<CommandOption> options = serverOptions();
    const std::vector<CommandOption> own = {
        option("data-root", "DIR", "folder for all data of a new site; otherwise in the user's folder"),
        flag("for-migrate", "make an empty part also beside one with content: for \"migrate\" to fill")};
    options.insert(options.begin(), own.cbegin(), own.cend());
    return options;
}

std::vector<CommandOption> unvoidOptions()
{
    return {option("company", "CODE-or-NAME", "with --batch: all jobs of this company's batch"),
            option("batch", "N", "with --company: the batch number"),
            option("reason", "TEXT", "why; kept with the job"),
            flag("yes", "do it; otherwise it is only told what would be done")};
}

std::vector<CommandOption> voidOptions()
{
    std::vector<CommandOption> options = unvoidOptions();
    options.at(2).required = true;
    options.push_back(flag("force", "also jobs that went on to the robot"));
    return options;
}

std::vector<CommandOption> resendOptions()
{
    std::vector<CommandOption> options = unvoidOptions();
    options.push_back(option("timeout", "SECONDS",
                             "how long connection and answer of a request may take together; otherwise 30"));
    return options;
}

std::vector<CommandOption> restoreOptions()
{
    std::vector<CommandOption> options = serverOptions();
    options.insert(
        options.begin(),
        {needed("raise-counters", "N",
                "more jobs than any company can have imported after the backup: their numbers may stand on "
                "papers, so N is added to the job count of every company; 0 if there were none"),
         option("data-root", "DIR", "folder for all data of a new site; otherwise in the user's folder")});
    return options;
}

Result<Report> helpVerb(const Call& call)
{
    return helpReport(call.line.words);
}

std::vector<Verb> makeVerbs()
{
    return {
        {"init", "", "make the configuration, database, store and cache folders, whatever is missing",
         initVerb, initOptions()},
        {"ping",
         "",
         "look whether rows and stored files can be reached: engine, version, place, encryption, latency",
         pingVerb,
         {},
         Backend::Site::Use::Inspection},
        {"status",
         "",
         "tell how the site is: companies, jobs by state, bytes stored, quarantined and staged, oldest "
         "waiting job, last import and last check",
         statusVerb,
         {},
         Backend::Site::Use::Inspection},
        {"company add",
         "",
         "add a customer company",
         companyAddVerb,
         {needed("code", "CODE", "short code, the prefix of generated job names"),
          needed("name", "NAME", "name as it is shown")}},
        {"company list", "", "list the customer companies", companyListVerb, {}, Backend::Site::Use::Reading},
        {"company rename",
         "",
         "give a company another name; its code and its jobs stay",
         companyRenameVerb,
         {needed("code", "CODE", "code of the company"), needed("name", "NAME", "its new name")}},
        {"jobs",
         "",
         "list the imported jobs, oldest first",
         jobsVerb,
         {option("company", "CODE-or-NAME", "jobs of this company"),
          option("state", "N|N,M|waiting|failed|voided",
                 "jobs in this state; waiting: complete and 0,0; failed: the import did not end; voided"),
          option("batch", "N", "jobs of this batch number"),
          option("after", "ID", "only jobs behind the one with this number (\"id\" of --json)"),
          option("limit", "N", "at most so many jobs")},
         Backend::Site::Use::Reading},
        {"job show",
         "JOB",
         "show a job, its stored file, and what happened to it",
         jobShowVerb,
         {},
         Backend::Site::Use::Reading},
        {"runs",
         "[RUN]",
         "list the imports that the site keeps, newest first, or show what became of each entry of one",
         runsVerb,
         {option("runs", "N", "at most so many runs; otherwise 20")},
         Backend::Site::Use::Reading},
        {"job void", "[JOB...]",
         "take imports back: off the waiting list, their stored files into quarantine, the rows kept",
         jobVoidVerb, voidOptions()},
        {"job unvoid", "[JOB...]", "take back what \"job void\" did", jobUnvoidVerb, unvoidOptions()},
        {"job requeue", "[JOB...]",
         "put jobs that were handed to the robot back on the waiting list; the robot is not told",
         jobRequeueVerb, unvoidOptions()},
        {"job resend", "[JOB...]",
         "send the robot the requests of jobs that were handed to it again, and wait for its answers",
         jobResendVerb, resendOptions()},
        {"get",
         "JOB FILE",
         "fetch the stored file of a job, checked against its SHA-256; FILE \"-\" is the standard output",
         getVerb,
         {flag("force", "replace FILE where it exists; only a regular file is ever replaced")},
         Backend::Site::Use::Reading},
        {"quarantine list",
         "",
         "list the files in quarantine, longest there first",
         quarantineListVerb,
         {},
         Backend::Site::Use::Mending},
        {"quarantine restore",
         "NAME [NAME...]",
         "put files back from the quarantine into the store",
         quarantineRestoreVerb,
         {},
         Backend::Site::Use::Mending},
        {"quarantine purge",
         "",
         "remove files from the quarantine for good",
         quarantinePurgeVerb,
         {needed("older-than", "DAYS", "those that are longer in quarantine"),
          flag("yes", "do it; otherwise it is only told what would be done")}},
        {"sweep",
         "",
         "remove staged copies of archives from the upload cache whose import is complete and verified",
         sweepVerb,
         {option("older-than", "DAYS", "those that are older; otherwise a week"),
          flag("dry-run", "only tell what would be removed")}},
        {"config get", "[KEY]", "show what is in force: one key, or all; passwords are not shown",
         configGetVerb},
        {"config list", "", "list the keys: what is accepted, where it is absent, what it is",
         configListVerb},
        {"config set", "KEY VALUE", "change one key; a value that would make the file unusable is refused",
         configSetVerb},
        {"migrate",
         "",
         "copy rows and stored files to another site, verified; run again, it continues",
         migrateVerb,
         {needed("to", "FILE", "configuration file of the other site, which \"init\" has made"),
          flag("update", "bring rows up to date that were copied before and have changed in the source"),
          flag("dry-run", "only tell what would be copied")}},
        {"check",
         "",
         "look whether the site is whole: database, rows, stored files, leftovers",
         checkVerb,
         {flag("read-data", "read every stored file and compare its SHA-256; fill it into rows that lack it"),
          flag("continue", "with --read-data: go on where an interrupted one stopped"),
          option("repair", "KIND[,KIND...]", "mend the findings of these kinds, and nothing else"),
          option("settle", "SECONDS", "how old what looks unfinished must be to be a finding")},
         Backend::Site::Use::Inspection},
        {"backup",
         "DIR",
         "copy the rows of this moment and every stored file into the folder DIR; run again, it copies what "
         "is new",
         backupVerb,
         {},
         Backend::Site::Use::Mending},
        {"restore", "DIR", "make a site of the backup in DIR, in an empty place; run again, it continues",
         restoreVerb, restoreOptions()},
        {"restore-files",
         "DIR",
         "bring stored files back that a site has lost, from its backup in DIR; its rows stay as they are",
         restoreFilesVerb,
         {flag("read-data", "read every stored file, and replace those whose content is damaged")},
         Backend::Site::Use::Inspection},
        {"help", "[VERB...]", "show this help, or the help of a verb", helpVerb},
    };
}

/// Words that a verb takes behind its name.
struct Operands
{
    QStringList names; ///< as they stand in the usage
    int fewest = 0;
    int most = 0;
};

Operands operandsOf(const Verb& verb)
{
    Operands operands;
    operands.names = QString::fromLatin1(verb.operands).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    operands.most = operands.names.size();
    for (const QString& name : qAsConst(operands.names)) {
        operands.fewest += name.startsWith(QLatin1Char('[')) ? 0 : 1;
        if (name.endsWith(QLatin1String("...]")))
            operands.most = std::numeric_limits<int>::max();
    }
    return operands;
}

bool names(const std::vector<CommandOption>& options, const QString& name)
{
    return std::any_of(options.cbegin(), options.cend(),
                       [&name](const CommandOption& known) { return known.name == name; });
}

/// The option as it is written, with its value.
QString written(const CommandOption& known)
{
    const QString text = QStringLiteral("--") + known.name;
    return known.valueName.isEmpty() ? text : text + QLatin1Char(' ') + known.valueName;
}

QString optionLines(const std::vector<CommandOption>& options)
{
    QStringList left;
    int width = 0;
    for (const CommandOption& known : options) {
        left << (known.letter.isEmpty() ? QString() : QStringLiteral("-%1, ").arg(known.letter)) +
                    written(known);
        width = std::max(width, left.last().size());
    }
    QString lines;
    for (int i = 0; i < left.size(); ++i)
        lines += QStringLiteral("  ") + left.at(i).leftJustified(width) + QStringLiteral("  ") +
                 options[static_cast<size_t>(i)].help + QLatin1Char('\n');
    return lines;
}

QString programHelp()
{
    QString help = QStringLiteral(
        "Usage: zav_admin [--config FILE] [--json] VERB ...\n\n"
        "Administers a site: its configuration, companies, jobs and stored files.\n\nVerbs:\n");
    for (const Verb& verb : verbs())
        help += QStringLiteral("  %1\n      %2\n").arg(usageOf(verb), QLatin1String(verb.summary));
    help += QStringLiteral("\nOptions, before or after the verb:\n") + optionLines(commonOptions());
    help += QStringLiteral("\nExit codes:\n") + exitCodeHelp();
    return help;
}

QString verbHelp(const Verb& verb)
{
    QString help =
        QStringLiteral("Usage: zav_admin %1\n\n%2\n").arg(usageOf(verb), QLatin1String(verb.summary));
    if (!verb.options.empty())
        help += QStringLiteral("\nOptions:\n") + optionLines(verb.options);
    return help;
}

Status misused(const QString& message)
{
    return Status::invalidArgument(message);
}

Status checkOptions(const Verb& verb, const CommandLine& line)
{
    const QString name = QLatin1String(verb.name);
    for (auto given = line.options.cbegin(); given != line.options.cend(); ++given)
        if (!names(verb.options, given.key()) && !names(commonOptions(), given.key()))
            return misused(QStringLiteral("\"%1\" has no option --%2").arg(name, given.key()));
    for (const CommandOption& known : verb.options)
        if (known.required && !line.has(known.name))
            return misused(QStringLiteral("\"%1\" needs %2: %3").arg(name, written(known), known.help));
    return {};
}

Status checkOperands(const Verb& verb, const CommandLine& line)
{
    const QString name = QLatin1String(verb.name);
    const Operands operands = operandsOf(verb);
    const int given = line.words.size();
    if (given > operands.most)
        return misused(QStringLiteral("\"%1\" takes no \"%2\"; usage: zav_admin %3")
                           .arg(name, line.words.last(), usageOf(verb)));
    if (given < operands.fewest)
        return misused(QStringLiteral("\"%1\" needs %2; usage: zav_admin %3")
                           .arg(name, operands.names.at(given), usageOf(verb)));
    return {};
}

} // namespace

Result<OpenParts> openParts(Backend::Site& site)
{
    const auto settings = site.settings();
    if (!settings.ok())
        return settings.status();
    const auto database = site.database();
    if (!database.ok())
        return database.status();
    const auto store = site.documentStore();
    if (!store.ok())
        return store.status();
    return OpenParts{database.value(), store.value(), settings.value()};
}

const std::vector<Verb>& verbs()
{
    static const std::vector<Verb> all = makeVerbs();
    return all;
}

const std::vector<CommandOption>& commonOptions()
{
    static const std::vector<CommandOption> options = [] {
        std::vector<CommandOption> all = {
            option("config", "FILE",
                   "configuration file; otherwise $ZAV_CONFIG, otherwise the one in the user's folder"),
            flag("json", "one JSON document instead of text"),
            flag("help", "show this help, or the help of a verb"),
            flag("version", "show the version"),
        };
        all.at(2).letter = QStringLiteral("h");
        return all;
    }();
    return options;
}

QIODevice* progressDevice(const Call& call)
{
    const bool json = call.line.has(QStringLiteral("json"));
    return json && !Terminal::ProgressLine::viewOf(&call.err).isTerminal ? nullptr : &call.err;
}

const Verb* takeVerb(QStringList& words)
{
    for (const Verb& verb : verbs()) {
        const QStringList name = QString::fromLatin1(verb.name).split(QLatin1Char(' '));
        if (words.mid(0, name.size()) == name) {
            words = words.mid(name.size());
            return &verb;
        }
    }
    return nullptr;
}

QString usageOf(const Verb& verb)
{
    QStringList parts = {QString::fromLatin1(verb.name)};
    parts += operandsOf(verb).names;
    for (const CommandOption& known : verb.options)
        parts << (known.required ? written(known) : QLatin1Char('[') + written(known) + QLatin1Char(']'));
    return parts.join(QLatin1Char(' '));
}

Status checkLine(const Verb& verb, const CommandLine& line)
{
    const auto options = checkOptions(verb, line);
    return options.ok() ? checkOperands(verb, line) : options;
}

Result<Report> helpReport(QStringList words)
{
    const QString asked = words.join(QLatin1Char(' '));
    const Verb* verb = takeVerb(words);
    if (verb == nullptr && !asked.isEmpty())
        return misused(QStringLiteral("unknown verb \"%1\"; \"zav_admin --help\" lists them").arg(asked));
    const QString text = verb != nullptr ? verbHelp(*verb) : programHelp();
    return Report{{{QStringLiteral("help"), text}}, text};
}

} // namespace KOZAV::Admin
