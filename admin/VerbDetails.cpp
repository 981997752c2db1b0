// What the help and the man page tell of a verb beyond its summary. The whole story is in docs/zav_admin.md;
// here stands what somebody must know before the verb is run.

#include "admin/Verbs.h"

#include <algorithm>
#include <iterator>

namespace KOZAV::Admin {

namespace {

struct Details
{
    Backend::Result<Report> (*run)(const Call& call); ///< the verb's
    const char* text;
};

constexpr Details details[] = {
    {initVerb, "Tells of each part whether it was made or present, and may be run again. A part is not made "
               "beside another one that "
               "has content: it is lost, or its disk is not mounted (exit code 5). The options of servers "
               "name a MariaDB or MySQL "
               "server, a MongoDB server, or both, in place of files on this machine; passwords stand in "
               "files, never on the command "
               "line. Where a configuration is there already, the options must say what it says (4)."},
    {pingVerb, "Both are looked at, even if the other one fails. Nothing is made or changed. The exit code "
               "is that of the first "
               "failure."},
    {statusVerb, "Reads no stored file. What can be told is told, also where rows or files cannot be "
                 "reached; the exit code is then "
                 "that of the first failure."},
    {jobVoidVerb, "Names jobs, or all of one batch of a company. Without --yes the list is shown and nothing "
                  "is changed (exit code 2). "
                  "Jobs that went on to the robot are refused, unless --force is given, which does not tell "
                  "the robot. The rows of all "
                  "jobs change at once or not at all; their files follow, and the same command completes "
                  "what was interrupted."},
    {jobUnvoidVerb, "Stored files and states are again what they were. Without --yes nothing is changed "
                    "(exit code 2). A job whose file "
                    "was removed from quarantine is refused (3)."},
    {jobRequeueVerb, "Takes jobs in state 1,2. A job that the robot did get is processed, and once more when "
                     "an operator confirms it again. "
                     "Without --yes nothing is changed (exit code 2)."},
    {jobResendVerb, "Takes jobs in state 1,2, one after the other. A request has no id: a robot takes one "
                    "that is sent twice for two. "
                    "Without --yes nothing is sent (exit code 2). The exit code is that of the first job "
                    "that did not go well: 1 refused, 6 "
                    "not sent or no whole answer."},
    {getVerb, "A file that is not the one that was imported is not given out (exit code 9). FILE is written "
              "whole or not at all, and "
              "must not exist unless --force is given."},
    {quarantinePurgeVerb, "Without --yes the files are listed and nothing is removed (exit code 2). Nothing "
                          "else ever removes a stored file."},
    {configSetVerb, "Comments and all other lines stay. A broken file is mended by setting the key that is "
                    "wrong. Passwords are not taken: "
                    "they stand in files of their own, see zav.ini(5)."},
    {migrateVerb, "Both sites have been made by \"init\"; the target holds nothing, or what an earlier run "
                  "brought. What it has with "
                  "other content is never overwritten: that ends the run (exit code 4). Files and rows are "
                  "compared on both sides at the "
                  "end. The source may be in use; where it changed meanwhile that is told (1): run again, "
                  "with --update where rows have "
                  "changed. So the shortest pause is: run while the site works, stop the clients, run again "
                  "with --update."},
    {checkVerb, "The site may be in use. Each finding is told with what it means and the command that mends "
                "it; with findings the exit "
                "code is 11. Nothing is changed but what --repair names and what --read-data fills in."},
    {backupVerb, "The folder is a site by itself, and the site may be in use meanwhile. Files that are "
                 "missing or damaged in the site "
                 "are listed (exit code 11); all else is backed up."},
    {restoreVerb, "Where --config names no file, the configuration is made as \"init\" makes it. Only into "
                  "an empty place, or beside the "
                  "site's own store whose database was lost; otherwise nothing is changed (exit code 4)."},
    {restoreFilesVerb, "Damaged files go into quarantine first, where the backup has the right ones. Files "
                       "that the backup does not have "
                       "either are listed (exit code 11). The site may be in use."},
};

} // namespace

QString detailsOf(const Verb& verb)
{
    const auto isOfVerb = [&verb](const Details& of) { return of.run == verb.run; };
    const auto* const found = std::find_if(std::begin(details), std::end(details), isOfVerb);
    return found == std::end(details) ? QString() : QString::fromLatin1(found->text);
}

} // namespace KOZAV::Admin
