#pragma once

#include "backend/Status.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>
#include <utility>
#include <vector>

namespace KOZAV::Backend {

class Database;

/// The jobs of a site as lists show them: a page at a time, from a place in their order to the next, whatever
/// the number of jobs.

/// One job, as a row of a list. Absent parts are empty texts.
struct JobRow
{
    int jobId = 0;
    QString flowGuid;
    QString generatedName;
    QString jobName; ///< name it came with
    QString companyName;
    int state = 0;
    int subState = 0;
    int batchNumber = 0; ///< 0: imported by itself
    QString createdTime; ///< as rows have it
    QString storedName;
    std::optional<qint64>
        storedLength;      ///< of the stored file, in bytes; absent where its row does not know it
    bool complete = false; ///< its import came to its end

    /// Where it stands in the order that it was read in.
    QVariantList place;
};

/// What jobs are looked for by; all given conditions must hold. Texts compare by code point, so upper and
/// lower case are different.
struct JobSearch
{
    QString generatedName; ///< begins with this
    QString jobName;       ///< begins with this; of a longer one than 128 characters the first 128 count
    QString companyCode;   ///< of exactly this company
    std::optional<std::pair<int, int>> state;
    std::optional<int> batchNumber; ///< 0: jobs that were imported by themselves
    QString from;                   ///< made at this row time or later
    QString until;                  ///< made before this row time
    bool onlyComplete = false;      ///< only imports that came to their end

    [[nodiscard]] bool isEmpty() const;
};

/// What jobs may be sorted by. The time is the order in which the rows were made. Jobs of one name, state or
/// batch follow each other in that order. There is none by a company's name: generated names begin with the
/// company's code, so their order has the jobs of one company together.
enum class JobOrder { Time, GeneratedName, JobName, State, Batch };

/// How a search is answered: the index that leads to the jobs and the order that they come in, chosen once
/// for all pages by how many jobs the conditions leave.
struct JobPlan
{
    /// An index that leads to jobs.
    enum class Way { Number, Time, GeneratedName, JobName, State, Batch, Company, NamesOfCompany };
    /// What a place in the order consists of.
    enum class Column { Number, Time, GeneratedName, JobName, State, SubState, Batch, File };

    JobSearch search;
    Way way = Way::Number;
    bool sorted = false; ///< the index has another order: what it leads to is sorted for each page
    std::vector<Column> order = {Column::Number};
    bool descending = false;
};

/// Costs a few statements that look at no more entries of an index than are few, or at a beginning of one.
/// @param few  so many jobs are rather sorted than sought in the order asked for
Result<JobPlan> planJobs(Database& database, const JobSearch& search, JobOrder order, bool descending,
                         int few = 30'000);

/// The first jobs behind a place and not behind another one, in the order of the plan.
/// @param after  place of a row that was read by this plan, itself excluded; nothing: from the first on
/// @param last   the same, itself included; nothing: to the last
/// @param limit  fewer come only where there are no more; jobs that share the last one's place come with it
Result<std::vector<JobRow>> readJobs(Database& database, const JobPlan& plan,
                                     const std::optional<QVariantList>& after,
                                     const std::optional<QVariantList>& last, int limit);

/// A statement that reads rows of a page.
struct PageStatement
{
    QByteArray sql;
    QVariantList values; ///< the last one is how many rows are wanted
};

/// The statements that readJobs() runs one after the other until it has read as many rows as are wanted.
std::vector<PageStatement> statementsOfPage(const JobPlan& plan, const std::optional<QVariantList>& after,
                                            const std::optional<QVariantList>& last, int limit);

/// How many jobs a plan leads to.
struct JobCount
{
    qint64 jobs = 0;
    bool orMore = false; ///< there are more, which were not counted
};

/// @param most  jobs that are counted, and a tenth of them where other tables have to be asked about each
Result<JobCount> countJobs(Database& database, const JobPlan& plan, int most);

/// A job that was handed to the robot, and whose newest request did not arrive as far as can be seen.
struct FailedRequest
{
    JobRow job;
    QString outcome; ///< a word of RobotOutcome
    QString reason;  ///< for people
    QString time;    ///< of the event
};

/// The jobs in the state of those that were handed to the robot, newest request first, whose newest event of
/// a request tells that it was not sent, refused, or not answered; or, of one whose outcome is unknown, that
/// it was sent again by an administrator, who is answered, or that the client's own attempt at the address
/// found no connection that stood. Requeueing such a job or a request that arrives deals with it.
Result<std::vector<FailedRequest>> listFailedRequests(Database& database, int limit);

/// A text that differs from one read before if a job or an event was added meanwhile, for engines whose
/// Database::revision() tells nothing. A change of a row alone does not show in it.
Result<QString> newestRows(Database& database);

} // namespace KOZAV::Backend
