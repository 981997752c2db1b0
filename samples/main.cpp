// zav_samples: makes up sample jobs and batch directories. docs/samples.md describes them, the options and
// the listings.

#include "samples/BatchGenerator.h"
#include "samples/CommandLine.h"
#include "samples/JobGenerator.h"
#include "terminal/HelpText.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

#include <csignal>
#include <cstdio>

namespace {

using namespace KOZAV;
using namespace KOZAV::Samples;

/// Ends the program with what was asked for, or with what is wrong.
struct Ending
{
    int code = Done;
    QString text;
};

[[noreturn]] void refuse(const QString& reason)
{
    throw Ending{WrongUse, reason};
}

/// Parses, and ends the program with the help or the version where these are asked for.
void parse(QCommandLineParser& parser, const QStringList& arguments, const QString& help)
{
    if (!parser.parse(arguments))
        refuse(parser.errorText());
    if (parser.isSet(QStringLiteral("help")))
        throw Ending{Done, help};
    if (parser.isSet(QStringLiteral("version")))
        throw Ending{Done, QStringLiteral("zav_samples " ZAV_SAMPLES_VERSION "\n")};
}

void addOptions(QCommandLineParser& parser, const std::vector<Terminal::CommandOption>& options)
{
    for (const Terminal::CommandOption& option : options)
        parser.addOption(Terminal::parserOption(option));
}

/// The options behind a verb, which is the first of the words.
class Options final
{
public:
    Options(const Terminal::CommandDescription& program, const Terminal::CommandVerb& verb,
            const QStringList& words)
    {
        addOptions(m_parser, verb.options);
        addOptions(m_parser, program.options);
        parse(m_parser, words, Terminal::verbHelp(program, verb));
        if (m_parser.positionalArguments().size() != 1)
            refuse(QStringLiteral("exactly one directory is wanted"));
    }

    [[nodiscard]] QString directory() const { return m_parser.positionalArguments().constFirst(); }
    [[nodiscard]] bool has(const char* name) const { return m_parser.isSet(QString::fromLatin1(name)); }

    [[nodiscard]] QString text(const char* name) const
    {
        if (!has(name))
            refuse(QStringLiteral("--%1 is missing").arg(QString::fromLatin1(name)));
        return m_parser.value(QString::fromLatin1(name));
    }

    [[nodiscard]] quint64 size(const char* name) const
    {
        const auto bytes = parseSize(text(name));
        if (!bytes)
            refuseValue(name, "a size such as 100K, 5M or 8G");
        return *bytes;
    }

    [[nodiscard]] quint64 seed() const
    {
        bool valid = false;
        const quint64 number = text("seed").toULongLong(&valid);
        if (!valid)
            refuseValue("seed", "a number");
        return number;
    }

    [[nodiscard]] int count(const char* name, int otherwise) const
    {
        bool valid = true;
        const int number = has(name) ? text(name).toInt(&valid) : otherwise;
        if (!valid)
            refuseValue(name, "a number");
        return number;
    }

    [[noreturn]] void refuseValue(const char* name, const char* wanted) const
    {
        refuse(QStringLiteral("--%1 wants %2, not \"%3\"")
                   .arg(QString::fromLatin1(name), QString::fromLatin1(wanted), text(name)));
    }

private:
    QCommandLineParser m_parser;
};

QString runJob(const Options& options)
{
    JobRequest job;
    job.directory = options.directory();
    job.name = options.text("name");
    job.bytes = options.size("size");
    job.seed = options.seed();
    job.steps = options.count("steps", job.steps);
    job.layers = options.count("layers", job.layers);
    if (options.has("archive") && !(job.archive = archiveKind(options.text("archive"))))
        options.refuseValue("archive", "tgz, zip or kos");
    if (const auto error = invalidJobRequest(job))
        refuse(*error);
    const JobResult result = generateJob(job);
    if (!result.ok())
        throw Ending{Failed, result.error};
    const QString packed =
        job.archive ? QStringLiteral(", packed %1").arg(readableSize(result.archiveBytes)) : QString();
    return QStringLiteral("%1: %2 files, %3%4\n")
        .arg(result.path, QString::number(result.files), readableSize(result.bytes), packed);
}

QString entryKindName(EntryKind kind)
{
    if (kind == EntryKind::Refused)
        return QStringLiteral("refused");
    return kind == EntryKind::Folder ? QStringLiteral("folder") : QStringLiteral("archive");
}

QJsonArray jsonOf(const std::vector<BatchEntry>& entries)
{
    QJsonArray array;
    for (const BatchEntry& entry : entries)
        array.append(QJsonObject{{QStringLiteral("name"), entry.name},
                                 {QStringLiteral("kind"), entryKindName(entry.kind)},
                                 {QStringLiteral("manifest"), manifestKindName(entry.manifest)},
                                 {QStringLiteral("resource"), entry.texts.resource},
                                 {QStringLiteral("customer2"), entry.texts.customer2},
                                 {QStringLiteral("customer3"), entry.texts.customer3},
                                 {QStringLiteral("files"), static_cast<qint64>(entry.files)},
                                 {QStringLiteral("bytes"), static_cast<qint64>(entry.bytes)}});
    return array;
}

QString jsonListing(const BatchRequest& request, const BatchResult& result)
{
    QJsonArray companies;
    for (const BatchCompany& company : result.companies)
        companies.append(QJsonObject{{QStringLiteral("name"), company.name},
                                     {QStringLiteral("code"), company.code},
                                     {QStringLiteral("known"), company.isKnown()},
                                     {QStringLiteral("entries"), jsonOf(company.entries)}});
    const QJsonObject listing{{QStringLiteral("directory"), request.directory},
                              {QStringLiteral("seed"), QString::number(request.seed)},
                              {QStringLiteral("companies"), companies},
                              {QStringLiteral("outside"), jsonOf(result.outside)}};
    return QString::fromUtf8(QJsonDocument(listing).toJson());
}

QString lineOf(const BatchEntry& entry)
{
    QString line = QStringLiteral("  %1  %2").arg(entryKindName(entry.kind), -7).arg(entry.name);
    line += QStringLiteral("  (%1 files, %2").arg(entry.files).arg(readableSize(entry.bytes));
    if (entry.manifest != ManifestKind::None)
        line += QStringLiteral(", manifest %1").arg(manifestKindName(entry.manifest));
    return line + QStringLiteral(")\n");
}

QString textListing(const BatchResult& result)
{
    QString text;
    for (const BatchCompany& company : result.companies) {
        text += company.isKnown() ? QStringLiteral("%1 [%2]\n").arg(company.name, company.code)
                                  : QStringLiteral("%1 (known to no site)\n").arg(company.name);
        for (const BatchEntry& entry : company.entries)
            text += lineOf(entry);
    }
    text += QStringLiteral("beside the companies\n");
    for (const BatchEntry& entry : result.outside)
        text += lineOf(entry);
    return text;
}

QString runBatch(const Options& options)
{
    BatchRequest batch;
    batch.directory = options.directory();
    batch.seed = options.seed();
    batch.companies = options.count("companies", batch.companies);
    batch.jobs = options.count("jobs", batch.jobs);
    batch.unknownCompany = options.has("unknown-company");
    if (options.has("size"))
        batch.jobBytes = options.size("size");
    if (const auto error = invalidBatchRequest(batch))
        refuse(*error);
    const BatchResult result = generateBatch(batch);
    if (!result.ok())
        throw Ending{Failed, result.error};
    return options.has("json") ? jsonListing(batch, result) : textListing(result);
}

QString run(const QStringList& arguments)
{
    const Terminal::CommandDescription program = commandDescription();
    QCommandLineParser parser;
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    addOptions(parser, program.options);
    parse(parser, arguments, Terminal::programHelp(program));
    const QStringList words = parser.positionalArguments();
    const QString name = words.value(0);
    for (const Terminal::CommandVerb& verb : program.verbs) {
        if (verb.name != name)
            continue;
        const Options options(program, verb, words);
        return name == QLatin1String("job") ? runJob(options) : runBatch(options);
    }
    refuse(name.isEmpty() ? QStringLiteral("\"job\" or \"batch\" is wanted")
                          : QStringLiteral("\"%1\" is unknown: \"job\" or \"batch\" is wanted").arg(name));
}

} // namespace

int main(int argc, char* argv[])
{
#ifdef SIGXFSZ
    (void)std::signal(SIGXFSZ, SIG_IGN); // a write beyond the limit fails instead
#endif
    const QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    QTextStream errors(stderr);
    out.setCodec("UTF-8");
    errors.setCodec("UTF-8");
    Ending ending;
    try {
        ending = {Done, run(QCoreApplication::arguments())};
    } catch (const Ending& early) {
        ending = early;
    }
    if (ending.code == Done) {
        out << ending.text << Qt::flush;
        if (out.status() == QTextStream::Ok)
            return Done;
        ending = {Failed, QStringLiteral("standard output cannot be written")};
    }
    errors << QStringLiteral("zav_samples: ") << ending.text << QLatin1Char('\n');
    if (ending.code == WrongUse)
        errors << Terminal::programUsage(commandDescription());
    return ending.code;
}
