#pragma once

#include <QDateTime>
#include <QString>
#include <QVariant>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace KOZAV::Host {

/// State pair of a job flow.
using FlowState = std::pair<int, int>;

/// One job of the site, as the client's lists show it.
struct ListedJob
{
    int jobId = 0;
    QString flowKey;
    QString generatedName;
    QString jobName; ///< name the job came with
    QString company;
    FlowState state{0, 0};
    int batchNumber = 0;  ///< 0: imported by itself
    QDateTime importedAt; ///< local time
    QString storedName;
    qint64 storedLength = -1; ///< bytes of the stored file; -1 where its row does not know it
    bool complete = false;    ///< its import came to its end
    QString failedRequest;    ///< why its newest request to the robot did not arrive; empty where nothing is
                              ///< known against it, or the job was not read as such
    QVariantList place;       ///< in the order that it was read in

    bool operator==(const ListedJob& other) const;
    bool operator!=(const ListedJob& other) const { return !(*this == other); }
};

/// What a list of jobs shows, and in which order. Texts compare by code point.
struct JobQuery
{
    enum class Order { Time, GeneratedName, JobName, State, Batch };

    QString generatedName; ///< begins with this
    QString jobName;       ///< begins with this
    QString companyCode;
    std::optional<FlowState> state;
    std::optional<int> batchNumber; ///< 0: jobs that were imported by themselves
    QDateTime from;                 ///< imported at this time or later; invalid: at any time
    QDateTime until;                ///< imported before this time
    bool onlyComplete = false;      ///< only jobs whose import came to its end
    Order order = Order::Time;
    bool descending = true;

    bool operator==(const JobQuery& other) const;
    bool operator!=(const JobQuery& other) const { return !(*this == other); }
};

/// Why nothing was read; empty where it was.
struct JobReadFailure
{
    QString reason;
    bool unreachable = false; ///< the rows cannot be reached at the moment
};

/// A company that jobs can be sought by.
struct ListedCompany
{
    QString code;
    QString name;
};

/// Reads jobs of the site that the services work on, a page at a time. Each call opens the rows for the
/// calling thread where they are not; a server that is away keeps it as long as its time-outs say. To be used
/// on one thread at a time.
class JobPages final
{
public:
    JobPages();
    ~JobPages();
    Q_DISABLE_COPY(JobPages)

    /// Chooses how this is read; to be called before the pages of it.
    [[nodiscard]] JobReadFailure begin(const JobQuery& query);
    /// The jobs behind one place and up to another one; without them from the first and to the last.
    [[nodiscard]] JobReadFailure read(const std::optional<QVariantList>& after,
                                      const std::optional<QVariantList>& last, int limit,
                                      std::vector<ListedJob>& jobs) const;
    /// How many jobs there are, up to a bound. orMore: there are more than that.
    [[nodiscard]] JobReadFailure count(qint64& jobs, bool& orMore) const;
    /// Jobs whose newest request to the robot failed and that nobody has dealt with, newest first.
    [[nodiscard]] static JobReadFailure failedRequests(int limit, std::vector<ListedJob>& jobs);
    /// All companies, by their names.
    [[nodiscard]] static JobReadFailure companies(std::vector<ListedCompany>& companies);
    /// A text that differs from the one before if jobs may have changed since.
    /// @param tellsAll  whether it does so for all changes; otherwise only for jobs and events that were
    /// added
    [[nodiscard]] static JobReadFailure revision(QString& text, bool& tellsAll);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace KOZAV::Host
