#include "host/core/Remark.h"

namespace KOZAV::Host {

const std::vector<RemarkMeaning>& remarkMeanings()
{
    static const std::vector<RemarkMeaning> meanings = {
        {QLatin1String("call-failed"),
         QLatin1String("The job is imported, but a call of its import failed beside that.")},
        {QLatin1String("known-content"), QLatin1String("The site has a complete job of that content.")},
        {QLatin1String("same-content"), QLatin1String("The batch holds that content more than once.")},
        {QLatin1String("content-not-asked"),
         QLatin1String("Whether the site had a job's content before could not be asked.")},
        {QLatin1String("batch-number"),
         QLatin1String(
             "The batch number of a company could not be written: its next batch may get it again.")},
        {QLatin1String("company-look-up"),
         QLatin1String("A company could not be looked for when the import came to its folder.")},
        {QLatin1String("company-lost"),
         QLatin1String("Another import got the company in the middle of this one: jobs may be refused their "
                       "numbers, and the batch may share its number with another.")},
        {QLatin1String("leads-out"),
         QLatin1String(
             "The entry, or the folder of its company, is a link that leads out of the batch directory.")},
        {QLatin1String("source-changed"),
         QLatin1String(
             "The source was changed while it was imported: what was stored is not what is there.")},
        {QLatin1String("robot-unknown"),
         QLatin1String("Whether the request of a saved job reached the robot is not known.")},
        {QLatin1String("robot-not-sent"),
         QLatin1String("The request of a saved job cannot have reached the robot.")},
        {QLatin1String("robot-not-recorded"),
         QLatin1String("What became of requests to the robot could not be written into their histories.")},
        {QLatin1String("source-gone"),
         QLatin1String("The source is gone since it was imported: it could not be looked at again.")},
        {QLatin1String("still-written"),
         QLatin1String("Somebody has the source open for writing: what was stored is not all of it.")},
        {QLatin1String("archive-cut-short"), QLatin1String("The archive ends before its own end.")},
        {QLatin1String("archive-unreadable"),
         QLatin1String("The archive is damaged, or by its content none at all.")},
        {QLatin1String("manifest-broken"),
         QLatin1String("The job manifest is no JSON object, or one of its three values is no text.")},
        {QLatin1String("manifest-too-large"), QLatin1String("The job manifest is longer than 1 MiB.")},
        {QLatin1String("manifest-not-regular"),
         QLatin1String("readme.json is a link, a folder, a pipe or a device.")},
        {QLatin1String("manifest-not-kept"),
         QLatin1String("No copy of the job manifest could be kept until its job is imported.")},
        {QLatin1String("manifest-not-storable"),
         QLatin1String("A text of the job manifest is one that rows do not hold as it is.")},
        {QLatin1String("manifest"), QLatin1String("What became of a job manifest that was put aside.")},
    };
    return meanings;
}

} // namespace KOZAV::Host
