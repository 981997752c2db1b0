#include "samples/CommandLine.h"

#include <utility>

namespace KOZAV::Samples {

namespace {

using Terminal::CommandOption;
using Terminal::CommandVerb;
using Terminal::ValueKind;

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

CommandVerb jobVerb()
{
    CommandOption archive = option("archive", "KIND", "leave DIR/NAME.KIND in place of the folder");
    archive.kind = ValueKind::Choice;
    archive.choices = QStringList{QStringLiteral("tgz"), QStringLiteral("zip"), QStringLiteral("kos")};
    archive.help += QStringLiteral(": ") + archive.choices.join(QStringLiteral(", "));
    return {QStringLiteral("job"),
            {{QStringLiteral("DIR"), false, false, ValueKind::Directory}},
            QStringLiteral("make up an ODB++-shaped job: the folder DIR/NAME, or an archive of it in DIR"),
            {needed("name", "NAME", "name of the job: 1 to 64 letters, digits, \"_\", \"+\", \"-\""),
             needed("size", "SIZE", "size of all files together, 100K to 8G"),
             needed("seed", "N", "0 to 2^64 - 1"), option("steps", "N", "1 to 20; otherwise 1"),
             option("layers", "N", "copper layers, 1 to 64; otherwise 4"), std::move(archive)}};
}

CommandVerb batchVerb()
{
    return {QStringLiteral("batch"),
            {{QStringLiteral("DIR"), false, false, ValueKind::Directory}},
            QStringLiteral("make up a directory of companies with their jobs in DIR, which must be empty or "
                           "missing"),
            {needed("seed", "N", "0 to 2^64 - 1"), option("companies", "N", "1 to 100; otherwise 5"),
             option("jobs", "N", "jobs of each company, 1 to 1000; otherwise 8"),
             option("size", "SIZE", "size of each job, unpacked; otherwise 256K"),
             option("unknown-company", "", "add a directory that belongs to no company of any site"),
             option("json", "", "print the listing as JSON")}};
}

} // namespace

Terminal::CommandDescription commandDescription()
{
    Terminal::CommandDescription samples;
    samples.program = QStringLiteral("zav_samples");
    samples.summary = QStringLiteral("make up sample jobs and batch directories");
    samples.paragraphs = QStringList{
        QStringLiteral("Makes up ODB++-shaped jobs and directories for the batch import: for tests, "
                       "demonstrations and measurements. Nothing in them comes from a real design. The same "
                       "options give the same bytes on every machine."),
        QStringLiteral("SIZE is a number of bytes, or a number with K, M or G (multiples of 1024).")};
    samples.verbs = {jobVerb(), batchVerb()};
    samples.options = {Terminal::helpOption(), Terminal::versionOption()};
    samples.exitCodes = {
        {Done, QStringLiteral("done")},
        {Failed, QStringLiteral("it could not be written: the place is taken, the disk is full; nothing of "
                                "the job or batch is left behind. Also where the standard output cannot be "
                                "written: the job or batch then stays")},
        {WrongUse, QStringLiteral("the arguments are wrong; nothing was touched")},
    };
    samples.environment = {Terminal::colourVariable()};
    samples.examples = {
        {QStringLiteral("zav_samples job /tmp/jobs --name board --size 5M --seed 1 --archive tgz"),
         QStringLiteral("Makes up a job of five megabytes, as an archive.")},
        {QStringLiteral("zav_samples batch /tmp/batch --seed 1 --companies 2 --jobs 10"),
         QStringLiteral("Makes up a directory for the batch import.")},
    };
    samples.seeAlso = QStringList{QStringLiteral("zav_client(1)"), QStringLiteral("zav_admin(1)"),
                                  QStringLiteral("zav_import(7)")};
    return samples;
}

} // namespace KOZAV::Samples
