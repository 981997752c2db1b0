// One table for everything that a report has a code for. Whatever made a finding gives its code and a text
// with the particulars, in English, as scripts and logs have it; what an operator reads first is the code's
// meaning and advice, in his language, and the text beneath it.

#include "host/core/Reasons.h"

#include <QCoreApplication>

#include <algorithm>

namespace KOZAV::Host {

using Backend::ErrorCode;

namespace {

/// Gives the texts their context.
class Reasons final
{
    Q_DECLARE_TR_FUNCTIONS(KOZAV::Host::Reasons)
public:
    static std::vector<CodeMeaning> table();
};

std::vector<CodeMeaning> Reasons::table()
{
    return {
        {QLatin1String("company-unknown"), CodeUse::Refusal,
         QT_TR_NOOP("The site has no company of that name."),
         QT_TR_NOOP("Add the company, or give the folder the name of one, and import again.")},
        {QLatin1String("suffix-refused"), CodeUse::Refusal,
         QT_TR_NOOP(
             "It is no job archive by its name: only .zip, .rar, .tgz and .kos, so written, are imported."),
         QT_TR_NOOP("Give it one of these suffixes, in small letters, if it is such an archive.")},
        {QLatin1String("not-a-job"), CodeUse::Refusal,
         QT_TR_NOOP("It is neither a file nor a folder that can be read."),
         QT_TR_NOOP("Take it out of the batch directory, or mend the link.")},
        {QLatin1String("beside-companies"), CodeUse::Refusal,
         QT_TR_NOOP("A file beside the company folders belongs to no company."),
         QT_TR_NOOP("Move it into the folder of its company.")},
        {QLatin1String("hidden"), CodeUse::Refusal, QT_TR_NOOP("Hidden entries are not imported."),
         QT_TR_NOOP("Rename it, without the dot, if it is a job.")},
        {QLatin1String("name-not-text"), CodeUse::Refusal,
         QT_TR_NOOP("Its name is not valid UTF-8, so that the import does not see it."),
         QT_TR_NOOP("Rename it.")},
        {QLatin1String("links-out"), CodeUse::Refusal, QT_TR_NOOP("A link leads out of the batch directory."),
         QT_TR_NOOP("Copy what it leads to into the batch directory.")},
        {QLatin1String("no-service"), CodeUse::Refusal,
         QT_TR_NOOP("The panel imports nothing of this kind as a single source, and says nothing of it."),
         QT_TR_NOOP("Pack it as .zip, .rar or .tgz, or unpack it into a folder.")},
        {QLatin1String("nothing-chosen"), CodeUse::Refusal,
         QT_TR_NOOP("Nothing was chosen that could be imported."), QT_TR_NOOP("Choose a source.")},
        {QLatin1String("folder-unreadable"), CodeUse::Reason, QT_TR_NOOP("The folder cannot be listed."),
         QT_TR_NOOP("Have the permissions of the folder looked at.")},
        {QLatin1String("source-unreadable"), CodeUse::Reason,
         QT_TR_NOOP("The source cannot be read, or is no regular file."),
         QT_TR_NOOP("Have its permissions looked at, and import it again.")},
        {QLatin1String("source-missing"), CodeUse::Reason,
         QT_TR_NOOP("It was gone when the import came to it."),
         QT_TR_NOOP("Put it back and import it again.")},
        {QLatin1String("source-incomplete"), CodeUse::Reason,
         QT_TR_NOOP("Its copy could not be made, or is not all of it."),
         QT_TR_NOOP("Look at the space in the upload cache and at the source, and import it again.")},
        {QLatin1String("not-reached"), CodeUse::Reason, QT_TR_NOOP("The import did not come to it."),
         QT_TR_NOOP("Import it again.")},
        {QLatin1String("incomplete"), CodeUse::Reason,
         QT_TR_NOOP("The import ended before its last row was written."), QT_TR_NOOP("Import it again.")},
        {QLatin1String("stopped"), CodeUse::Reason, QT_TR_NOOP("The import was stopped before it was done."),
         QT_TR_NOOP("Import it again.")},
        {QLatin1String("company-held"), CodeUse::Reason, QT_TR_NOOP("Another import holds the company."),
         QT_TR_NOOP("Import it again when the other one has ended.")},
        {QLatin1String("no-space"), CodeUse::Reason, QT_TR_NOOP("There is no space left."),
         QT_TR_NOOP("Make room on the disk or the server, and import it again.")},
        {QLatin1String("locked"), CodeUse::Reason,
         QT_TR_NOOP("The database was held by another program for too long."),
         QT_TR_NOOP("Look for what works on the site, and import it again.")},
        {QLatin1String("unavailable"), CodeUse::Reason, QT_TR_NOOP("A server of the site did not answer."),
         QT_TR_NOOP("Have servers and network looked at, and import it again.")},
        {QLatin1String("gave-up"), CodeUse::Reason,
         QT_TR_NOOP("It was not tried: the import had given up waiting for the site."),
         QT_TR_NOOP("Import it again when the site can be reached.")},
        {QLatin1String("answer-lost"), CodeUse::Reason,
         QT_TR_NOOP("The answer of the site was lost: it may have the job."),
         QT_TR_NOOP("Look whether the job is there before it is imported again.")},
        {QLatin1String("not-permitted"), CodeUse::Reason,
         QT_TR_NOOP("The operating system or the server refuses access."),
         QT_TR_NOOP("Have the permissions looked at.")},
        {QLatin1String("read-write-failed"), CodeUse::Reason, QT_TR_NOOP("Reading or writing failed."),
         QT_TR_NOOP("Have disk and network looked at, and import it again.")},
        {QLatin1String("damaged"), CodeUse::Reason, QT_TR_NOOP("Data of the site is not what was stored."),
         QT_TR_NOOP("Tell the administrator, who checks the site.")},
        {QLatin1String("configuration"), CodeUse::Reason,
         QT_TR_NOOP("The configuration is missing, broken or not usable."),
         QT_TR_NOOP("Mend the configuration, and import it again.")},
        {QLatin1String("invalid-value"), CodeUse::Reason,
         QT_TR_NOOP("A name or a value of it is none that the site takes."),
         QT_TR_NOOP("Rename it or mend its manifest, and import it again.")},
        {QLatin1String("not-found"), CodeUse::Reason,
         QT_TR_NOOP("Something that the import needs is not there."), QT_TR_NOOP("Import it again.")},
        {QLatin1String("name-taken"), CodeUse::Reason,
         QT_TR_NOOP("A name or number is taken by another job."), QT_TR_NOOP("Import it again.")},
        {QLatin1String("internal"), CodeUse::Reason, QT_TR_NOOP("The import failed for a reason of its own."),
         QT_TR_NOOP("Tell the administrator what stands beneath.")},
        {QLatin1String("known-content"), CodeUse::LeftOut,
         QT_TR_NOOP("The site has a complete job of that content."),
         QT_TR_NOOP("See whether it is meant to be there twice.")},
        {QLatin1String("same-content"), CodeUse::LeftOut,
         QT_TR_NOOP("The batch holds that content more than once."),
         QT_TR_NOOP("See whether it is meant to be there twice.")},
        {QLatin1String("call-failed"), CodeUse::Remark,
         QT_TR_NOOP("The job is imported, but a call of its import failed beside that."),
         QT_TR_NOOP("Tell the administrator what stands beneath.")},
        {QLatin1String("content-not-asked"), CodeUse::Remark,
         QT_TR_NOOP("Whether the site had a job's content before could not be asked."), ""},
        {QLatin1String("batch-number"), CodeUse::Remark,
         QT_TR_NOOP("The batch number of a company could not be written: its next batch may get it again."),
         QT_TR_NOOP("Tell the administrator.")},
        {QLatin1String("company-look-up"), CodeUse::Remark,
         QT_TR_NOOP("A company could not be looked for when the import came to its folder."),
         QT_TR_NOOP("Import the company again.")},
        {QLatin1String("company-lost"), CodeUse::Remark,
         QT_TR_NOOP("Another import got the company in the middle of this one: jobs may be refused their "
                    "numbers, and the batch may share its number with another."),
         QT_TR_NOOP("Do not import the same company from two windows at once.")},
        {QLatin1String("leads-out"), CodeUse::Remark,
         QT_TR_NOOP(
             "The entry, or the folder of its company, is a link that leads out of the batch directory."),
         QT_TR_NOOP("See whether it is meant to be imported.")},
        {QLatin1String("source-changed"), CodeUse::Remark,
         QT_TR_NOOP("The source was changed while it was imported: what was stored is not what is there."),
         QT_TR_NOOP("Import it again when nobody changes it any more.")},
        {QLatin1String("robot-unknown"), CodeUse::Remark,
         QT_TR_NOOP("Whether the request of a saved job reached the robot is not known."),
         QT_TR_NOOP("Look at the robot, and send the request again if it does not have the job.")},
        {QLatin1String("robot-not-sent"), CodeUse::Remark,
         QT_TR_NOOP("The request of a saved job cannot have reached the robot."),
         QT_TR_NOOP("Send it again when the robot can be reached.")},
        {QLatin1String("robot-not-recorded"), CodeUse::Remark,
         QT_TR_NOOP("What became of requests to the robot could not be written into their histories."),
         QT_TR_NOOP("Look at the robot for what it has.")},
        {QLatin1String("source-gone"), CodeUse::Remark,
         QT_TR_NOOP("The source is gone since it was imported: it could not be looked at again."), ""},
        {QLatin1String("still-written"), CodeUse::Remark,
         QT_TR_NOOP("Somebody has the source open for writing: what was stored is not all of it."),
         QT_TR_NOOP("Import it again when it is written.")},
        {QLatin1String("archive-cut-short"), CodeUse::Remark,
         QT_TR_NOOP("The archive ends before its own end."),
         QT_TR_NOOP("Get the archive anew, and import it again.")},
        {QLatin1String("archive-unreadable"), CodeUse::Remark,
         QT_TR_NOOP("The archive is damaged, or by its content none at all."),
         QT_TR_NOOP("Get the archive anew, and import it again.")},
        {QLatin1String("manifest-broken"), CodeUse::Remark,
         QT_TR_NOOP("The job manifest is no JSON object, or one of its three values is no text."),
         QT_TR_NOOP("Mend readme.json.")},
        {QLatin1String("manifest-too-large"), CodeUse::Remark,
         QT_TR_NOOP("The job manifest is longer than 1 MiB."), QT_TR_NOOP("Mend readme.json.")},
        {QLatin1String("manifest-not-regular"), CodeUse::Remark,
         QT_TR_NOOP("readme.json is a link, a folder, a pipe or a device."),
         QT_TR_NOOP("Put a file in its place.")},
        {QLatin1String("manifest-not-kept"), CodeUse::Remark,
         QT_TR_NOOP("No copy of the job manifest could be kept until its job is imported."),
         QT_TR_NOOP("Keep a copy of readme.json before it is imported again.")},
        {QLatin1String("manifest-not-storable"), CodeUse::Remark,
         QT_TR_NOOP("A text of the job manifest is one that rows do not hold as it is."),
         QT_TR_NOOP("Mend readme.json.")},
        {QLatin1String("manifest-not-used"), CodeUse::Remark,
         QT_TR_NOOP("The job was imported without what its readme.json says."),
         QT_TR_NOOP("readme.json is put back into its folder: correct the job's texts, or void the job "
                    "(zav_admin job void) and import it again.")},
        {QLatin1String("manifest"), CodeUse::Remark,
         QT_TR_NOOP("What became of a job manifest that was put aside."), ""},
        {QLatin1String("history-not-kept"), CodeUse::Remark,
         QT_TR_NOOP("The results of the run could not be written into the site's history."),
         QT_TR_NOOP("Save the report as a file.")},
    };
}

const CodeMeaning* meaningOf(const QString& code)
{
    const auto& all = codeMeanings();
    const auto found =
        std::find_if(all.begin(), all.end(), [&code](const CodeMeaning& one) { return one.code == code; });
    return found == all.end() ? nullptr : &*found;
}

QString translated(const char* text)
{
    return *text == '\0' ? QString() : Reasons::tr(text);
}

/// What refused access to the rows for want of an answer: a company, a file or a server.
QLatin1String unavailableCode(const Backend::OperationEvent& event, bool rowsAreEmbedded)
{
    if (event.part == Backend::SitePart::None)
        return QLatin1String("company-held");
    const bool isFile = rowsAreEmbedded && event.part == Backend::SitePart::Rows;
    return isFile ? QLatin1String("locked") : QLatin1String("unavailable");
}

} // namespace

const std::vector<CodeMeaning>& codeMeanings()
{
    static const std::vector<CodeMeaning> meanings = Reasons::table();
    return meanings;
}

QString reasonText(const QString& code)
{
    const CodeMeaning* found = meaningOf(code);
    return found ? translated(found->meaning) : QString();
}

QString reasonAdvice(const QString& code)
{
    const CodeMeaning* found = meaningOf(code);
    return found ? translated(found->advice) : QString();
}

bool isRefusal(const QString& code)
{
    const CodeMeaning* found = meaningOf(code);
    return found && found->use == CodeUse::Refusal;
}

QString reasonCodeOf(const Backend::OperationEvent& event, bool rowsAreEmbedded)
{
    if (event.gaveUp && event.reason != ErrorCode::Stopped)
        return QStringLiteral("gave-up");
    switch (event.reason) {
    case ErrorCode::InvalidArgument:
        return QStringLiteral("invalid-value");
    case ErrorCode::NotFound:
        return QStringLiteral("not-found");
    case ErrorCode::AlreadyExists:
        return QStringLiteral("name-taken");
    case ErrorCode::NotPermitted:
        return QStringLiteral("not-permitted");
    case ErrorCode::NoSpace:
        return QStringLiteral("no-space");
    case ErrorCode::Io:
        return QStringLiteral("read-write-failed");
    case ErrorCode::ChangedWhileRead:
        return QStringLiteral("source-changed");
    case ErrorCode::Corrupt:
        return QStringLiteral("damaged");
    case ErrorCode::Configuration:
        return QStringLiteral("configuration");
    case ErrorCode::Unavailable:
        return unavailableCode(event, rowsAreEmbedded);
    case ErrorCode::OutcomeUnknown:
        return QStringLiteral("answer-lost");
    case ErrorCode::Stopped:
        return QStringLiteral("stopped");
    case ErrorCode::None:
    case ErrorCode::Internal:
        break;
    }
    return QStringLiteral("internal");
}

} // namespace KOZAV::Host
