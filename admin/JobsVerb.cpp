#include "admin/JobChoice.h"
#include "admin/Verbs.h"
#include "backend/Site.h"
#include "terminal/TextTable.h"

#include <QRegularExpression>

#include <limits>
#include <utility>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

constexpr int jobsAtOnce = 200;

/// What the options ask for: a filter of the rows, and a further condition.
struct JobQuestion
{
    JobFilter filter;
    bool (*accepts)(const JobRecord& job) = nullptr; ///< null: all
    int after = 0;
    int limit = std::numeric_limits<int>::max();
};

/// Writes the jobs that it is given as they come, some hundred at a time.
class JobsOutput final
{
public:
    JobsOutput(QIODevice& out, bool json);

    /// @return whether what is due could be written
    bool add(const JobRecord& job);
    bool finish();

private:
    bool write();

    QIODevice& m_out;
    bool m_json;
    TextTable m_table;
    QByteArray m_lines; ///< of JSON
    bool m_isFirst = true;
    int m_waiting = 0; ///< jobs that are not written yet
};

bool isComplete(const JobRecord& job)
{
    return job.complete;
}

/// An import that did not end and was voided is dealt with.
bool isFailedImport(const JobRecord& job)
{
    return hasFailed(job) || (!job.complete && !isVoided(job));
}

void askForPair(int state, int subState, JobFilter& filter)
{
    filter.state = state;
    filter.subState = subState;
}

Status askForState(const QString& state, JobQuestion& question)
{
    static const QRegularExpression numbers(QStringLiteral("^(\\d{1,9})(?:,(\\d{1,9}))?$"));
    if (state == QLatin1String("failed")) {
        question.accepts = isFailedImport;
        return {};
    }
    if (state == QLatin1String("waiting")) {
        askForPair(0, 0, question.filter);
        question.accepts = isComplete;
        return {};
    }
    if (state == QLatin1String("voided")) {
        askForPair(voidedState, voidedSubState, question.filter);
        return {};
    }
    const QRegularExpressionMatch match = numbers.match(state);
    if (!match.hasMatch())
        return refusedOption("state", state, "a state N, a state pair N,M, waiting, failed or voided");
    question.filter.state = match.captured(1).toInt();
    if (!match.captured(2).isEmpty())
        question.filter.subState = match.captured(2).toInt();
    return {};
}

/// A number from an option that may be missing.
Status readNumber(const CommandLine& line, const char* option, int least, int& number)
{
    const auto given = line.value(QLatin1String(option));
    bool isNumber = true;
    const int read = given ? given->toInt(&isNumber) : number;
    if (!isNumber || (given && read < least))
        return refusedOption(option, *given, least > 0 ? "a number from 1 on" : "a number from 0 on");
    number = read;
    return {};
}

Result<JobQuestion> questionOf(const CommandLine& line, Database& database)
{
    const auto filter = companyAndBatch(line, database);
    if (!filter.ok())
        return filter.status();
    JobQuestion question;
    question.filter = filter.value();
    const auto state = line.value(QStringLiteral("state"));
    Status status = state ? askForState(*state, question) : Status();
    if (status.ok())
        status = readNumber(line, "after", 0, question.after);
    if (status.ok())
        status = readNumber(line, "limit", 1, question.limit);
    return status.ok() ? Result(question) : status;
}

QStringList jobRow(const JobRecord& job)
{
    return {job.generatedName,
            job.jobName,
            job.companyName,
            statePair(job.state, job.subState),
            job.batchNumber == 0 ? QStringLiteral("-") : QString::number(job.batchNumber),
            importText(job),
            job.createdTime,
            job.storedName};
}

JobsOutput::JobsOutput(QIODevice& out, bool json)
    : m_out(out)
    , m_json(json)
    , m_table({QStringLiteral("JOB"), QStringLiteral("NAME"), QStringLiteral("COMPANY"),
               QStringLiteral("STATE"), QStringLiteral("BATCH"), QStringLiteral("IMPORT"),
               QStringLiteral("CREATED"), QStringLiteral("STORED FILE")})
{
    m_table.alignRight({4});
    if (m_json)
        m_lines = "{\"jobs\":[";
}

bool JobsOutput::add(const JobRecord& job)
{
    if (m_json) {
        if (!std::exchange(m_isFirst, false))
            m_lines += ',';
        m_lines += jsonLine(jobJson(job)).trimmed();
    } else {
        m_table.addRow(jobRow(job));
    }
    return ++m_waiting < jobsAtOnce || write();
}

bool JobsOutput::write()
{
    m_waiting = 0;
    return writeWhole(m_out, m_json ? std::exchange(m_lines, {}) : m_table.takeLines().toUtf8());
}

bool JobsOutput::finish()
{
    if (m_json)
        m_lines += "]}\n";
    return write();
}

} // namespace

Result<Report> jobsVerb(const Call& call)
{
    const auto database = call.site.database();
    if (!database.ok())
        return database.status();
    const auto question = questionOf(call.line, *database.value());
    if (!question.ok())
        return question.status();
    JobsOutput output(call.out, call.line.has(QStringLiteral("json")));
    int left = question->limit;
    bool isWritten = true;
    const auto visit = [&](const JobRecord& job) {
        if (question->accepts && !question->accepts(job))
            return true;
        isWritten = output.add(job);
        return isWritten && --left > 0;
    };
    if (const auto read = visitJobs(*database.value(), question->filter, question->after, visit); !read.ok())
        return read;
    if (!isWritten || !output.finish())
        return Status::io(QStringLiteral("the report cannot be written: %1").arg(call.out.errorString()));
    Report report;
    report.isWritten = true;
    return report;
}

} // namespace KOZAV::Admin
