#include "admin/Verbs.h"

#include "admin/Application.h"
#include "admin/ServerOptions.h"
#include "backend/check/Findings.h"
#include "backend/config/SettingRules.h"
#include "terminal/HelpText.h"
#include "terminal/ProgressLine.h"

#include <algorithm>

namespace KOZAV::Admin {

using Backend::Result;
using Backend::Status;
using Terminal::CommandOperand;
using Terminal::ValueKind;

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

/// An option for whose value a shell has something to offer.
CommandOption offering(CommandOption option, ValueKind kind, const QStringList& choices = {})
{
    option.kind = kind;
    option.choices = choices;
    return option;
}

CommandOperand operand(const char* name)
{
    return {QString::fromLatin1(name)};
}

CommandOperand maybe(CommandOperand operand)
{
    operand.optional = true;
    return operand;
}

CommandOperand several(CommandOperand operand)
{
    operand.optional = true;
    operand.repeated = true;
    return operand;
}

CommandOperand operandOf(const char* name, ValueKind kind)
{
    CommandOperand made = operand(name);
    made.kind = kind;
    return made;
}

CommandOperand keyOperand()
{
    CommandOperand made = operand("KEY");
    made.kind = ValueKind::Choice;
    for (const Backend::SettingRule& rule : Backend::settingRules())
        made.choices << QString::fromLatin1(rule.key);
    return made;
}

CommandOption dataRootOption()
{
    return offering(
        option("data-root", "DIR", "folder for all data of a new site; otherwise in the user's folder"),
        ValueKind::Directory);
}

std::vector<CommandOption> initOptions()
{
    std::vector<CommandOption> options = serverOptions();
    const std::vector<CommandOption> own = {
        dataRootOption(),
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
         dataRootOption()});
    return options;
}

Result<Report> helpVerb(const Call& call)
{
    return helpReport(call.line.words);
}

std::vector<Verb> makeVerbs()
{
    return {
        {"init",
         {},
         "make the configuration, database, store and cache folders, whatever is missing",
         initVerb,
         initOptions()},
        {"ping",
         {},
         "look whether rows and stored files can be reached: engine, version, place, encryption, latency",
         pingVerb,
         {},
         Backend::Site::Use::Inspection},
        {"status",
         {},
         "tell how the site is: companies, jobs by state, bytes stored, quarantined and staged, oldest "
         "waiting job, last import and last check",
         statusVerb,
         {flag("prometheus", "the numbers in the text format of Prometheus")},
         Backend::Site::Use::Inspection},
        {"company add",
         {},
         "add a customer company",
         companyAddVerb,
         {needed("code", "CODE", "short code, the prefix of generated job names"),
          needed("name", "NAME", "name as it is shown")}},
        {"company list", {}, "list the customer companies", companyListVerb, {}, Backend::Site::Use::Reading},
        {"company rename",
         {},
         "give a company another name; its code and its jobs stay",
         companyRenameVerb,
         {needed("code", "CODE", "code of the company"), needed("name", "NAME", "its new name")}},
        {"jobs",
         {},
         "list the imported jobs, oldest first",
         jobsVerb,
         {option("company", "CODE-or-NAME", "jobs of this company"),
          offering(
              option("state", "N|N,M|waiting|failed|voided",
                     "jobs in this state; waiting: complete and 0,0; failed: the import did not end; voided"),
              ValueKind::Choice,
              {QStringLiteral("waiting"), QStringLiteral("failed"), QStringLiteral("voided")}),
          option("batch", "N", "jobs of this batch number"),
          option("after", "ID", "only jobs behind the one with this number (\"id\" of --json)"),
          option("limit", "N", "at most so many jobs")},
         Backend::Site::Use::Reading},
        {"job show",
         {operand("JOB")},
         "show a job, its stored file, and what happened to it",
         jobShowVerb,
         {},
         Backend::Site::Use::Reading},
        {"runs",
         {maybe(operand("RUN"))},
         "list the imports that the site keeps, newest first, or show what became of each entry of one",
         runsVerb,
         {option("runs", "N", "at most so many runs; otherwise 20")},
         Backend::Site::Use::Reading},
        {"job void",
         {several(operand("JOB"))},
         "take imports back: off the waiting list, their stored files into quarantine, the rows kept",
         jobVoidVerb,
         voidOptions()},
        {"job unvoid",
         {several(operand("JOB"))},
         "take back what \"job void\" did",
         jobUnvoidVerb,
         unvoidOptions()},
        {"job requeue",
         {several(operand("JOB"))},
         "put jobs that were handed to the robot back on the waiting list; the robot is not told",
         jobRequeueVerb,
         unvoidOptions()},
        {"job resend",
         {several(operand("JOB"))},
         "send the robot the requests of jobs that were handed to it again, and wait for its answers",
         jobResendVerb,
         resendOptions()},
        {"get",
         {operand("JOB"), operandOf("FILE", ValueKind::File)},
         "fetch the stored file of a job, checked against its SHA-256; FILE \"-\" is the standard output",
         getVerb,
         {flag("force", "replace FILE where it exists; only a regular file is ever replaced")},
         Backend::Site::Use::Reading},
        {"quarantine list",
         {},
         "list the files in quarantine, longest there first",
         quarantineListVerb,
         {},
         Backend::Site::Use::Mending},
        {"quarantine restore",
         {operand("NAME"), several(operand("NAME"))},
         "put files back from the quarantine into the store",
         quarantineRestoreVerb,
         {},
         Backend::Site::Use::Mending},
        {"quarantine purge",
         {},
         "remove files from the quarantine for good",
         quarantinePurgeVerb,
         {needed("older-than", "DAYS", "those that are longer in quarantine"),
          flag("yes", "do it; otherwise it is only told what would be done")}},
        {"sweep",
         {},
         "remove staged copies of archives from the upload cache whose import is complete and verified",
         sweepVerb,
         {option("older-than", "DAYS", "those that are older; otherwise a week"),
          flag("dry-run", "only tell what would be removed")}},
        {"config get",
         {maybe(keyOperand())},
         "show what is in force: one key, or all; passwords are not shown",
         configGetVerb},
        {"config list",
         {},
         "list the keys: what is accepted, where it is absent, what it is",
         configListVerb},
        {"config set",
         {keyOperand(), operand("VALUE")},
         "change one key; a value that would make the file unusable is refused",
         configSetVerb},
        {"migrate",
         {},
         "copy rows and stored files to another site, verified; run again, it continues",
         migrateVerb,
         {offering(needed("to", "FILE", "configuration file of the other site, which \"init\" has made"),
                   ValueKind::File),
          flag("update", "bring rows up to date that were copied before and have changed in the source"),
          flag("dry-run", "only tell what would be copied")}},
        {"check",
         {},
         "look whether the site is whole: database, rows, stored files, leftovers",
         checkVerb,
         {flag("read-data", "read every stored file and compare its SHA-256; fill it into rows that lack it"),
          flag("continue", "with --read-data: go on where an interrupted one stopped"),
          offering(option("repair", "KIND[,KIND...]", "mend the findings of these kinds, and nothing else"),
                   ValueKind::ChoiceList, Backend::mendableNames()),
          option("settle", "SECONDS", "how old what looks unfinished must be to be a finding")},
         Backend::Site::Use::Inspection},
        {"backup",
         {operandOf("DIR", ValueKind::Directory)},
         "copy the rows of this moment and every stored file into the folder DIR; run again, it copies what "
         "is new",
         backupVerb,
         {},
         Backend::Site::Use::Mending},
        {"restore",
         {operandOf("DIR", ValueKind::Directory)},
         "make a site of the backup in DIR, in an empty place; run again, it continues",
         restoreVerb,
         restoreOptions()},
        {"restore-files",
         {operandOf("DIR", ValueKind::Directory)},
         "bring stored files back that a site has lost, from its backup in DIR; its rows stay as they are",
         restoreFilesVerb,
         {flag("read-data", "read every stored file, and replace those whose content is damaged")},
         Backend::Site::Use::Inspection},
        {"help",
         {several(operandOf("VERB", ValueKind::Verb))},
         "show this help, or the help of a verb",
         helpVerb},
    };
}

bool names(const std::vector<CommandOption>& options, const QString& name)
{
    return std::any_of(options.cbegin(), options.cend(),
                       [&name](const CommandOption& known) { return known.name == name; });
}

Terminal::CommandVerb described(const Verb& verb)
{
    return {QLatin1String(verb.name), verb.operands, QLatin1String(verb.summary), verb.options,
            detailsOf(verb)};
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
            return misused(QStringLiteral("\"%1\" needs %2: %3").arg(name, writtenOption(known), known.help));
    return {};
}

Status checkOperands(const Verb& verb, const CommandLine& line)
{
    const QString name = QLatin1String(verb.name);
    const auto isNeeded = [](const CommandOperand& operand) { return !operand.optional; };
    const auto fewest = std::count_if(verb.operands.cbegin(), verb.operands.cend(), isNeeded);
    const bool isOpen = !verb.operands.empty() && verb.operands.back().repeated;
    const auto most = static_cast<std::ptrdiff_t>(verb.operands.size());
    const int given = line.words.size();
    if (given > most && !isOpen)
        return misused(QStringLiteral("\"%1\" takes no \"%2\"; usage: zav_admin %3")
                           .arg(name, line.words.last(), usageOf(verb)));
    if (given < fewest)
        return misused(QStringLiteral("\"%1\" needs %2; usage: zav_admin %3")
                           .arg(name, verb.operands[static_cast<std::size_t>(given)].name, usageOf(verb)));
    return {};
}

std::vector<Terminal::NamedText> examples()
{
    const auto example = [](const char* line, const char* text) {
        return Terminal::NamedText{QString::fromLatin1(line), QString::fromLatin1(text)};
    };
    return {
        example("zav_admin init", "Makes a site of this user on this machine."),
        example("zav_admin company add --code AB --name 'Example Boards'", "Adds a customer company."),
        example("zav_admin jobs --company AB --state waiting",
                "Lists the jobs of a company that wait for an operator."),
        example("zav_admin get AB000017 board.tgz", "Fetches the stored file of a job."),
        example("zav_admin job void AB000017 --reason 'of another customer' --yes", "Takes an import back."),
        example("zav_admin check --read-data", "Reads the whole site, and tells what is wrong with it."),
        example("zav_admin backup /backup/site", "Copies the site; run again, it copies what is new."),
    };
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
            offering(
                option("config", "FILE",
                       "configuration file; otherwise $ZAV_CONFIG, otherwise the one in the user's folder"),
                ValueKind::File),
            flag("json", "one JSON document instead of text"),
            Terminal::helpOption(),
            Terminal::versionOption(),
        };
        all.at(2).help += QStringLiteral(", or the help of a verb");
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

Terminal::CommandDescription commandDescription()
{
    Terminal::CommandDescription admin;
    admin.program = QStringLiteral("zav_admin");
    admin.summary = QStringLiteral("administer a site of imported PCB jobs");
    admin.usages = {{QStringLiteral("[--config FILE]"), QStringLiteral("[--json]"), QStringLiteral("VERB"),
                     QStringLiteral("...")}};
    admin.paragraphs = QStringList{
        QStringLiteral("Administers a site: its configuration, companies, jobs and stored files.")};
    for (const Verb& verb : verbs())
        admin.verbs.push_back(described(verb));
    admin.options = commonOptions();
    admin.exitCodes = exitCodeMeanings();
    admin.environment = Terminal::siteEnvironment();
    admin.files = Terminal::siteFiles();
    admin.examples = examples();
    admin.seeAlso = QStringList{QStringLiteral("zav_client(1)"), QStringLiteral("zav.ini(5)"),
                                QStringLiteral("zav_import(7)")};
    return admin;
}

QString usageOf(const Verb& verb)
{
    return usagePieces(described(verb)).join(QLatin1Char(' '));
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
    const Terminal::CommandDescription program = commandDescription();
    const QString text =
        verb != nullptr ? Terminal::verbHelp(program, described(*verb)) : Terminal::programHelp(program);
    return Report{{{QStringLiteral("help"), text}}, text};
}

} // namespace KOZAV::Admin
