#include "samples/CommandLine.h"

#include "samples/SizeText.h"

#include <QCommandLineParser>

#include <exception>

namespace KOZAV::Samples {

namespace {

/// Ends the parsing with what is wrong with the arguments.
class UsageError final : public std::exception
{
public:
    explicit UsageError(QString text)
        : m_text(std::move(text))
    {
    }
    [[nodiscard]] const QString& text() const { return m_text; }

private:
    QString m_text;
};

/// The options of one verb.
class Options
{
public:
    Options(const QStringList& names, const QStringList& flags, const QStringList& arguments)
    {
        for (const QString& name : names)
            m_parser.addOption({name, QString(), QStringLiteral("value")});
        for (const QString& flag : flags)
            m_parser.addOption(QCommandLineOption(flag));
        if (!m_parser.parse(arguments))
            throw UsageError(m_parser.errorText());
        if (m_parser.positionalArguments().size() != 1)
            throw UsageError(QStringLiteral("exactly one directory is wanted"));
    }

    [[nodiscard]] QString directory() const { return m_parser.positionalArguments().constFirst(); }
    [[nodiscard]] bool has(const QString& name) const { return m_parser.isSet(name); }

    [[nodiscard]] QString text(const QString& name) const
    {
        if (!has(name))
            throw UsageError(QStringLiteral("--%1 is missing").arg(name));
        return m_parser.value(name);
    }

    [[nodiscard]] quint64 size(const QString& name) const
    {
        const auto bytes = parseSize(text(name));
        if (!bytes)
            throw UsageError(
                QStringLiteral("--%1 wants a size such as 100K, 5M or 8G, not \"%2\"").arg(name, text(name)));
        return *bytes;
    }

    [[nodiscard]] quint64 seed() const
    {
        bool valid = false;
        const quint64 number = text(QStringLiteral("seed")).toULongLong(&valid);
        if (!valid)
            throw UsageError(
                QStringLiteral("--seed wants a number, not \"%1\"").arg(text(QStringLiteral("seed"))));
        return number;
    }

    [[nodiscard]] int count(const QString& name, int otherwise) const
    {
        if (!has(name))
            return otherwise;
        bool valid = false;
        const int number = text(name).toInt(&valid);
        if (!valid)
            throw UsageError(QStringLiteral("--%1 wants a number, not \"%2\"").arg(name, text(name)));
        return number;
    }

private:
    QCommandLineParser m_parser;
};

std::optional<ArchiveKind> wantedArchive(const Options& options)
{
    const QString name = QStringLiteral("archive");
    if (!options.has(name))
        return std::nullopt;
    const auto kind = archiveKind(options.text(name));
    if (!kind)
        throw UsageError(
            QStringLiteral("--archive wants tgz, zip or kos, not \"%1\"").arg(options.text(name)));
    return kind;
}

CommandLine parseJob(const QStringList& arguments)
{
    const Options options({QStringLiteral("name"), QStringLiteral("size"), QStringLiteral("seed"),
                           QStringLiteral("steps"), QStringLiteral("layers"), QStringLiteral("archive")},
                          {}, arguments);
    CommandLine command;
    command.verb = CommandLine::Verb::Job;
    command.job.directory = options.directory();
    command.job.name = options.text(QStringLiteral("name"));
    command.job.bytes = options.size(QStringLiteral("size"));
    command.job.seed = options.seed();
    command.job.steps = options.count(QStringLiteral("steps"), command.job.steps);
    command.job.layers = options.count(QStringLiteral("layers"), command.job.layers);
    command.job.archive = wantedArchive(options);
    if (const auto error = invalidJobRequest(command.job))
        throw UsageError(*error);
    return command;
}

CommandLine parseBatch(const QStringList& arguments)
{
    const Options options(
        {QStringLiteral("seed"), QStringLiteral("companies"), QStringLiteral("jobs"), QStringLiteral("size")},
        {QStringLiteral("json"), QStringLiteral("unknown-company")}, arguments);
    CommandLine command;
    command.verb = CommandLine::Verb::Batch;
    command.json = options.has(QStringLiteral("json"));
    command.batch.directory = options.directory();
    command.batch.seed = options.seed();
    command.batch.companies = options.count(QStringLiteral("companies"), command.batch.companies);
    command.batch.jobs = options.count(QStringLiteral("jobs"), command.batch.jobs);
    command.batch.unknownCompany = options.has(QStringLiteral("unknown-company"));
    if (options.has(QStringLiteral("size")))
        command.batch.jobBytes = options.size(QStringLiteral("size"));
    if (const auto error = invalidBatchRequest(command.batch))
        throw UsageError(*error);
    return command;
}

bool asksForHelp(const QStringList& arguments)
{
    return arguments.contains(QStringLiteral("--help")) || arguments.contains(QStringLiteral("-h"));
}

CommandLine parseVerb(const QStringList& arguments)
{
    const QString verb = arguments.value(1);
    // What follows the verb, with the verb in the place of the program's name.
    const QStringList rest = arguments.mid(1);
    if (verb == QLatin1String("job"))
        return parseJob(rest);
    if (verb == QLatin1String("batch"))
        return parseBatch(rest);
    throw UsageError(verb.isEmpty()
                         ? QStringLiteral("\"job\" or \"batch\" is wanted")
                         : QStringLiteral("\"%1\" is unknown: \"job\" or \"batch\" is wanted").arg(verb));
}

} // namespace

CommandLine parseCommandLine(const QStringList& arguments)
{
    CommandLine command;
    if (asksForHelp(arguments))
        return command;
    try {
        return parseVerb(arguments);
    } catch (const UsageError& error) {
        command.verb = CommandLine::Verb::Invalid;
        command.error = error.text();
        return command;
    }
}

QString usageText()
{
    return QStringLiteral(
        "usage: zav_samples job DIR --name NAME --size SIZE --seed N [--steps N] [--layers N]\n"
        "                   [--archive tgz|zip|kos]\n"
        "       zav_samples batch DIR --seed N [--companies N] [--jobs N] [--size SIZE]\n"
        "                   [--unknown-company] [--json]\n"
        "\n"
        "job    makes up an ODB++-shaped job: the folder DIR/NAME, or an archive of it in DIR\n"
        "batch  makes up a directory of companies with their jobs in DIR, which must be empty or missing\n"
        "SIZE   bytes, or a number with K, M or G (multiples of 1024)\n"
        "The same options give the same bytes on every machine.\n");
}

} // namespace KOZAV::Samples
