#pragma once

#include "host/core/JobReader.h"
#include "host/site/JobPages.h"

#include <QAbstractTableModel>
#include <QTimer>

#include <atomic>
#include <memory>
#include <set>
#include <vector>

namespace KOZAV::Host {

/// Jobs of the site, read a page at a time as they are looked at, and read again where something has changed
/// there: only what is looked at, and rows come, go and change one by one. What it holds in memory does not
/// grow with the site. Nothing is read before begin(), and never on the window's thread.
class JobListModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    JobListModel(JobReader& reader, JobQuery query, QObject* parent);
    ~JobListModel() override;

    /// Shows other jobs, or in another order, from the first one on, once begun. Those before stay until the
    /// first page of the new ones is there.
    void setQuery(const JobQuery& query);
    [[nodiscard]] const JobQuery& query() const { return m_query; }
    /// Reads the first page, unless that was done or asked for before.
    void begin();
    /// Reads again what is looked at, when no slot of the panel runs.
    void refresh();
    /// Whether changes by others are looked for, about every two seconds.
    void follow(bool follows);
    /// The rows that are looked at.
    void setVisibleRows(int first, int last);

    /// The job of a row; null while that is not in memory.
    [[nodiscard]] const ListedJob* job(int row) const;
    /// The row of a job; -1 where it is not in memory.
    [[nodiscard]] int rowOf(const QString& flowKey) const;
    /// Whether there has been a first page.
    [[nodiscard]] bool isRead() const { return m_read; }
    [[nodiscard]] int jobsInMemory() const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] bool canFetchMore(const QModelIndex& parent) const override;
    void fetchMore(const QModelIndex& parent) override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    void sort(int column, Qt::SortOrder order) override;

    /// The order that a column stands for; nothing where jobs cannot be sorted by it.
    [[nodiscard]] virtual std::optional<JobQuery::Order> orderOf(int column) const = 0;

Q_SIGNALS:
    /// How many jobs there are.
    void counted(qint64 jobs, bool orMore);
    /// Something was read, or why it was not.
    void told(const KOZAV::Host::JobReadFailure& failure);

protected:
    /// What a cell shows of a job.
    [[nodiscard]] virtual QVariant cell(const ListedJob& job, int column, int role) const = 0;
    /// Has the jobs stand first whose requests to the robot failed.
    void showFailedRequests() { m_showsFailed = true; }

private:
    /// Rows that follow each other.
    struct Block
    {
        quint64 key = 0; ///< of this object, wherever it stands
        std::vector<ListedJob> jobs;
        int rows = 0;                     ///< as many as it has jobs, or would have if they were in memory
        std::optional<QVariantList> last; ///< the place that it reaches to; nothing: to the end of the list
        bool fresh = false;               ///< nothing has changed since it was read, as far as known
        bool asked = false;               ///< it is being read
    };
    struct Page
    {
        JobReadFailure failure;
        std::vector<ListedJob> jobs;
        std::vector<ListedJob> failed;
    };

    void readFirst();
    void refreshNow();
    void takeFirst(const std::shared_ptr<JobPages>& source, const Page& page);
    void takeNext(const Page& page);
    void read(Block& block);
    void takeAgain(quint64 key, const Page& page);
    void readFailed();
    void count();
    void look();
    void want(int row) const;
    void readWanted();
    void markAllStale();
    void readVisible();
    void update(Block& block, int firstRow, std::vector<ListedJob> now);
    void split(std::size_t number, bool isCutOff);
    void forgetFarBlocks();
    void placeBlocks();
    [[nodiscard]] Block makeBlock(std::vector<ListedJob> jobs);
    [[nodiscard]] std::vector<ListedJob> sought(std::vector<ListedJob> failed) const;
    [[nodiscard]] int blockAt(int row) const;
    [[nodiscard]] int headRows() const { return m_failed.rows; }
    [[nodiscard]] std::function<bool()> staleness() const;

    JobReader& m_reader;
    JobQuery m_query;
    std::shared_ptr<JobPages> m_source; ///< used on the reading thread alone
    std::shared_ptr<std::atomic<int>> m_generation = std::make_shared<std::atomic<int>>(0);
    Block m_failed;
    std::vector<Block> m_blocks;
    std::vector<int> m_starts; ///< the first row of each block, behind the failed requests
    int m_rows = 0;            ///< of all blocks
    quint64 m_lastKey = 0;
    bool m_showsFailed = false;
    bool m_begun = false;
    bool m_read = false;
    bool m_refreshes = false; ///< is to be refreshed when no slot runs
    bool m_asked = false;     ///< the first page is being read
    bool m_fetching = false;  ///< the next one is
    bool m_looking = false;
    QString m_revision;
    int m_firstVisible = 0;
    int m_lastVisible = 0;
    mutable std::set<quint64> m_wanted;
    QTimer m_look;
};

/// A state as operators read it.
/// @param complete  whether the import came to its end
QString stateText(const FlowState& state, bool complete);

} // namespace KOZAV::Host
