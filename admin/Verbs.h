#pragma once

#include "admin/Application.h"
#include "admin/CommandLine.h"
#include "backend/Site.h"
#include "backend/Status.h"
#include "terminal/CommandDescription.h"

#include <QIODevice>
#include <QJsonObject>
#include <QString>

#include <vector>

namespace KOZAV::Admin {

/// What a verb that was stopped has done, and how it goes on.
struct Stop
{
    QString done;     ///< a clause; empty: there is nothing to say
    QJsonObject json; ///< the same in numbers
    QStringList goOn; ///< arguments of the command that goes on; empty: the same command
};

/// What a verb has to say, in both forms.
struct Report
{
    QJsonObject json;
    QString text; ///< lines, each ended; names in it are printable
    /// A failure that the report tells of: it is shown all the same, and the exit code is that of the
    /// failure.
    Backend::Status outcome = {};
    ExitCode success = ExitCode::Success; ///< the exit code where nothing failed
    bool isWritten = false;     ///< the verb has written it to the standard output itself, as it grew
    bool besideContent = false; ///< the standard output holds content: the report goes to the standard error
    Stop stop = {};             ///< where the outcome is that the verb was stopped
};

/// What a verb is called with.
struct Call
{
    /// Options that the verb has, required ones present; words are the operands, as many as it takes.
    const CommandLine& line;
    Backend::Site& site;
    QIODevice& out;               ///< for content; what the verb has to say it returns
    QIODevice& err;               ///< for progress
    const QStringList& arguments; ///< of the program
};

/// Where progress is shown; null where it is not. With JSON the standard error is for a failure's document,
/// unless somebody looks at it.
QIODevice* progressDevice(const Call& call);

/// One verb of zav_admin.
struct Verb
{
    const char* name; ///< one or two words: "jobs", "company add"
    std::vector<Terminal::CommandOperand> operands;
    const char* summary; ///< begins in lower case, without a full stop
    Backend::Result<Report> (*run)(const Call& call);
    /// An option of the same name takes a value in all verbs or in none.
    std::vector<CommandOption> options = {};
    Backend::Site::Use use = Backend::Site::Use::OneRun; ///< what the site is opened for
};

/// Database and document store of a call's site, open; the site owns them.
struct OpenParts
{
    Backend::Database* database = nullptr;
    Backend::DocumentStore* store = nullptr;
    Backend::Settings settings;
};
Backend::Result<OpenParts> openParts(Backend::Site& site);

/// All verbs, in the order of the help.
const std::vector<Verb>& verbs();

/// The options that every verb takes.
const std::vector<CommandOption>& commonOptions();

/// What zav_admin says of its command line: made of the table of verbs.
Terminal::CommandDescription commandDescription();

/// Finds the verb that the words begin with and takes it off them; none where there is no such verb.
const Verb* takeVerb(QStringList& words);

/// What is to be known before the verb is run, in sentences; empty for most.
QString detailsOf(const Verb& verb);

/// How the verb is called: "get JOB FILE [--force]".
QString usageOf(const Verb& verb);

/// InvalidArgument where the line does not hold what the verb needs, or holds what it does not take.
Backend::Status checkLine(const Verb& verb, const CommandLine& line);

/// The help of the program, or of the verb that the words name.
Backend::Result<Report> helpReport(QStringList words);

// The verbs themselves; what each does is said in the table.
Backend::Result<Report> initVerb(const Call& call);
Backend::Result<Report> pingVerb(const Call& call);
Backend::Result<Report> statusVerb(const Call& call);
Backend::Result<Report> companyAddVerb(const Call& call);
Backend::Result<Report> companyListVerb(const Call& call);
Backend::Result<Report> companyRenameVerb(const Call& call);
Backend::Result<Report> jobsVerb(const Call& call);
Backend::Result<Report> jobShowVerb(const Call& call);
Backend::Result<Report> runsVerb(const Call& call);
Backend::Result<Report> jobVoidVerb(const Call& call);
Backend::Result<Report> jobUnvoidVerb(const Call& call);
Backend::Result<Report> jobRequeueVerb(const Call& call);
Backend::Result<Report> jobResendVerb(const Call& call);
Backend::Result<Report> quarantineListVerb(const Call& call);
Backend::Result<Report> quarantineRestoreVerb(const Call& call);
Backend::Result<Report> quarantinePurgeVerb(const Call& call);
Backend::Result<Report> sweepVerb(const Call& call);
Backend::Result<Report> getVerb(const Call& call);
Backend::Result<Report> configGetVerb(const Call& call);
Backend::Result<Report> configListVerb(const Call& call);
Backend::Result<Report> configSetVerb(const Call& call);
Backend::Result<Report> migrateVerb(const Call& call);
Backend::Result<Report> checkVerb(const Call& call);
Backend::Result<Report> backupVerb(const Call& call);
Backend::Result<Report> restoreVerb(const Call& call);
Backend::Result<Report> restoreFilesVerb(const Call& call);

} // namespace KOZAV::Admin
