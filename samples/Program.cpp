#include "samples/Program.h"

#include "samples/BatchListing.h"
#include "samples/CommandLine.h"
#include "samples/SizeText.h"

namespace KOZAV::Samples {

namespace {

int fail(const QString& error, QTextStream& errors)
{
    errors << QStringLiteral("zav_samples: ") << error << QLatin1Char('\n');
    return kExitFailed;
}

int runJob(const JobRequest& request, QTextStream& out, QTextStream& errors)
{
    const JobResult result = generateJob(request);
    if (!result.ok())
        return fail(result.error, errors);
    out << QStringLiteral("%1: %2 files, %3")
               .arg(result.path)
               .arg(result.files)
               .arg(readableSize(result.bytes));
    if (request.archive)
        out << QStringLiteral(", packed %1").arg(readableSize(result.archiveBytes));
    out << QLatin1Char('\n');
    return kExitDone;
}

int runBatch(const BatchRequest& request, bool json, QTextStream& out, QTextStream& errors)
{
    const BatchResult result = generateBatch(request);
    if (!result.ok())
        return fail(result.error, errors);
    if (json)
        out << QString::fromUtf8(jsonListing(request, result));
    else
        out << textListing(result);
    return kExitDone;
}

} // namespace

int runProgram(const QStringList& arguments, QTextStream& out, QTextStream& errors)
{
    const CommandLine command = parseCommandLine(arguments);
    switch (command.verb) {
    case CommandLine::Verb::Help:
        out << usageText();
        return kExitDone;
    case CommandLine::Verb::Invalid:
        errors << QStringLiteral("zav_samples: ") << command.error << QLatin1Char('\n') << usageText();
        return kExitUsage;
    case CommandLine::Verb::Job:
        return runJob(command.job, out, errors);
    case CommandLine::Verb::Batch:
        return runBatch(command.batch, command.json, out, errors);
    }
    return kExitUsage;
}

} // namespace KOZAV::Samples
