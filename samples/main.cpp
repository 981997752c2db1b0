// zav_samples: makes up sample jobs and batch directories. docs/samples.md describes them, the options and
// the listings.

#include "samples/BatchGenerator.h"
#include "samples/JobGenerator.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

#include <csignal>
#include <cstdio>

namespace {

using namespace KOZAV::Samples;

constexpr int kExitDone = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

constexpr const char* kUsage =
    "usage: zav_samples job DIR --name NAME --size SIZE --seed N [--steps N] [--layers N]\n"
    "                   [--archive tgz|zip|kos]\n"
    "       zav_samples batch DIR --seed N [--companies N] [--jobs N] [--size SIZE]\n"
    "                   [--unknown-company] [--json]\n"
    "\n"
    "job    makes up an ODB++-shaped job: the folder DIR/NAME, or an archive of it in DIR\n"
    "batch  makes up a directory of companies with their jobs in DIR, which must be empty or missing\n"
    "SIZE   bytes, or a number with K, M or G (multiples of 1024)\n"
    "The same options give the same bytes on every machine. \"zav_samples VERB --help\" tells of each.\n";

/// Ends the program with what was asked for, or with what is wrong.
struct Ending
{
    int code = kExitDone;
    QString text;
};

[[noreturn]] void refuse(const QString& reason)
{
    throw Ending{kExitUsage, reason};
}

QCommandLineOption option(const char* name, const char* description, const char* valueName = "")
{
    return {QString::fromLatin1(name), QString::fromLatin1(description), QString::fromLatin1(valueName)};
}

/// Adds what every command line takes, and parses. Words that the parser leaves are its positional arguments.
void parse(QCommandLineParser& options, const QStringList& arguments, const char* usage = nullptr)
{
    options.addOption({{QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Shows this text.")});
    options.addVersionOption();
    if (!options.parse(arguments))
        refuse(options.errorText());
    if (options.isSet(QStringLiteral("help")))
        throw Ending{kExitDone, usage ? QString::fromLatin1(usage) : options.helpText()};
    if (options.isSet(QStringLiteral("version")))
        throw Ending{kExitDone, QStringLiteral("zav_samples " ZAV_SAMPLES_VERSION "\n")};
}

/// The options behind a verb, which is the first of the words.
class Options final
{
public:
    Options(const QStringList& words, const QList<QCommandLineOption>& options)
    {
        m_parser.addOptions(options);
        m_parser.addPositionalArgument(QStringLiteral("DIR"), QStringLiteral("The directory to write to."),
                                       words.constFirst() + QStringLiteral(" DIR"));
        parse(m_parser, words);
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

QString runJob(const QStringList& words)
{
    const Options options(
        words, {option("name", "Name of the job: 1 to 64 letters, digits, \"_\", \"+\", \"-\".", "NAME"),
                option("size", "Size of all files together, 100K to 8G.", "SIZE"),
                option("seed", "0 to 2^64 - 1.", "N"), option("steps", "1 to 20. Default: 1.", "N"),
                option("layers", "Copper layers, 1 to 64. Default: 4.", "N"),
                option("archive", "Leaves DIR/NAME.KIND in place of the folder: tgz, zip, kos.", "KIND")});
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
        throw Ending{kExitFailed, result.error};
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

QString runBatch(const QStringList& words)
{
    const Options options(
        words, {option("seed", "0 to 2^64 - 1.", "N"), option("companies", "1 to 100. Default: 5.", "N"),
                option("jobs", "Jobs of each company, 1 to 1000. Default: 8.", "N"),
                option("size", "Size of each job, unpacked. Default: 256K.", "SIZE"),
                option("unknown-company", "Adds a directory that belongs to no company of any site."),
                option("json", "Prints the listing as JSON.")});
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
        throw Ending{kExitFailed, result.error};
    return options.has("json") ? jsonListing(batch, result) : textListing(result);
}

QString run(const QStringList& arguments)
{
    QCommandLineParser program;
    program.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    parse(program, arguments, kUsage);
    const QStringList words = program.positionalArguments();
    const QString verb = words.value(0);
    if (verb == QLatin1String("job"))
        return runJob(words);
    if (verb == QLatin1String("batch"))
        return runBatch(words);
    refuse(verb.isEmpty() ? QStringLiteral("\"job\" or \"batch\" is wanted")
                          : QStringLiteral("\"%1\" is unknown: \"job\" or \"batch\" is wanted").arg(verb));
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
        ending = {kExitDone, run(QCoreApplication::arguments())};
    } catch (const Ending& early) {
        ending = early;
    }
    if (ending.code == kExitDone) {
        out << ending.text << Qt::flush;
        if (out.status() == QTextStream::Ok)
            return kExitDone;
        ending = {kExitFailed, QStringLiteral("standard output cannot be written")};
    }
    errors << QStringLiteral("zav_samples: ") << ending.text << QLatin1Char('\n');
    if (ending.code == kExitUsage)
        errors << QString::fromLatin1(kUsage);
    return ending.code;
}
