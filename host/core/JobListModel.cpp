// The rows are blocks that follow each other, each from the place of the block before it to its own last
// place, whatever jobs lie there now: to read one again costs the same wherever it stands, and what others
// add or take away changes that block alone. The last block reaches to the end of the list once that was
// found; until then there is more to fetch.
//
// A block of which something may have changed is stale: its rows stay, and it is read when somebody looks at
// it. Of blocks far from the rows that are looked at only their number of rows is kept.
//
// Whatever is read comes back through the reader, and is dropped where another query was set meanwhile (the
// generation). A block is found again by its key: others may have been split before it.

#include "host/core/JobListModel.h"

#include "host/core/RunGate.h"

#include <QCoreApplication>

#include <algorithm>
#include <utility>

namespace KOZAV::Host {

namespace {

constexpr int pageRows = 200;
/// A block that others have filled up to this is read from its beginning on, and the rest fetched.
constexpr int mostBlockRows = 5 * pageRows;
constexpr int mostFailedRequests = 500;
/// So many blocks may be in memory.
constexpr int mostBlocksHeld = 20;
constexpr int lookMs = 2000;

} // namespace

JobListModel::JobListModel(JobReader& reader, JobQuery query, QObject* parent)
    : QAbstractTableModel(parent)
    , m_reader(reader)
    , m_query(std::move(query))
{
    m_look.setInterval(lookMs);
    connect(&m_look, &QTimer::timeout, this, &JobListModel::look);
}

JobListModel::~JobListModel()
{
    ++*m_generation;
}

/// Whether what was asked for now is of no use any more; may be asked on any thread.
std::function<bool()> JobListModel::staleness() const
{
    return [generation = m_generation, now = m_generation->load()] { return *generation != now; };
}

void JobListModel::setQuery(const JobQuery& query)
{
    if (query == m_query)
        return;
    m_query = query;
    if (m_begun)
        readFirst();
}

void JobListModel::begin()
{
    m_begun = true;
    if (!m_read && !m_asked)
        readFirst();
}

void JobListModel::readFirst()
{
    ++*m_generation;
    m_asked = true;
    m_fetching = false;
    m_looking = false;
    const auto source = std::make_shared<JobPages>();
    m_reader.ask(this,
                 [this, source, isStale = staleness(), query = m_query,
                  failedToo = m_showsFailed]() -> JobReader::Answer {
                     if (isStale())
                         return {};
                     auto page = std::make_shared<Page>();
                     page->failure = source->begin(query);
                     if (page->failure.reason.isEmpty())
                         page->failure = source->read({}, {}, pageRows, page->jobs);
                     if (page->failure.reason.isEmpty() && failedToo)
                         page->failure = JobPages::failedRequests(mostFailedRequests, page->failed);
                     return [this, source, isStale, page] {
                         if (!isStale())
                             takeFirst(source, *page);
                     };
                 });
}

void JobListModel::takeFirst(const std::shared_ptr<JobPages>& source, const Page& page)
{
    m_asked = false;
    if (!page.failure.reason.isEmpty()) {
        Q_EMIT told(page.failure);
        return;
    }
    beginResetModel();
    m_source = source;
    m_read = true;
    m_failed = makeBlock(sought(page.failed));
    m_blocks.clear();
    m_blocks.push_back(makeBlock(page.jobs));
    if (page.jobs.size() >= pageRows)
        m_blocks.back().last = page.jobs.back().place;
    m_firstVisible = m_lastVisible = 0;
    placeBlocks();
    endResetModel();
    Q_EMIT told({});
    count();
}

JobListModel::Block JobListModel::makeBlock(std::vector<ListedJob> jobs)
{
    Block block;
    block.key = ++m_lastKey;
    block.rows = static_cast<int>(jobs.size());
    block.jobs = std::move(jobs);
    block.fresh = true;
    return block;
}

/// Few enough to be sought here.
std::vector<ListedJob> JobListModel::sought(std::vector<ListedJob> failed) const
{
    const auto isOther = [this](const ListedJob& job) {
        return !job.generatedName.startsWith(m_query.generatedName);
    };
    failed.erase(std::remove_if(failed.begin(), failed.end(), isOther), failed.end());
    return failed;
}

void JobListModel::placeBlocks()
{
    m_starts.clear();
    m_rows = 0;
    for (const Block& block : m_blocks) {
        m_starts.push_back(m_rows);
        m_rows += block.rows;
    }
}

int JobListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : headRows() + m_rows;
}

bool JobListModel::canFetchMore(const QModelIndex& parent) const
{
    return !parent.isValid() && !m_fetching && !m_blocks.empty() && m_blocks.back().last.has_value();
}

void JobListModel::fetchMore(const QModelIndex& parent)
{
    if (!canFetchMore(parent))
        return;
    m_fetching = true;
    m_reader.ask(this,
                 [this, source = m_source, isStale = staleness(),
                  after = m_blocks.back().last]() -> JobReader::Answer {
                     if (isStale())
                         return {};
                     auto page = std::make_shared<Page>();
                     page->failure = source->read(after, {}, pageRows, page->jobs);
                     return [this, isStale, page] {
                         if (!isStale())
                             takeNext(*page);
                     };
                 });
}

void JobListModel::takeNext(const Page& page)
{
    m_fetching = false;
    Q_EMIT told(page.failure);
    if (!page.failure.reason.isEmpty())
        return;
    Block block = makeBlock(page.jobs);
    if (page.jobs.size() >= pageRows)
        block.last = page.jobs.back().place;
    const int first = rowCount();
    if (block.rows > 0)
        beginInsertRows({}, first, first + block.rows - 1);
    const bool inserts = block.rows > 0;
    m_blocks.push_back(std::move(block));
    placeBlocks();
    if (inserts)
        endInsertRows();
    forgetFarBlocks();
}

/// Which block a row behind the failed requests lies in.
int JobListModel::blockAt(int row) const
{
    const auto behind = std::upper_bound(m_starts.begin(), m_starts.end(), row);
    return static_cast<int>(behind - m_starts.begin()) - 1;
}

const ListedJob* JobListModel::job(int row) const
{
    if (row < 0 || row >= rowCount())
        return nullptr;
    if (row < headRows())
        return &m_failed.jobs[static_cast<std::size_t>(row)];
    const auto number = static_cast<std::size_t>(blockAt(row - headRows()));
    const auto inBlock = static_cast<std::size_t>(row - headRows() - m_starts[number]);
    const Block& block = m_blocks[number];
    return inBlock < block.jobs.size() ? &block.jobs[inBlock] : nullptr;
}

int JobListModel::rowOf(const QString& flowKey) const
{
    const auto find = [&flowKey](const Block& block) {
        const auto found = std::find_if(block.jobs.begin(), block.jobs.end(),
                                        [&](const ListedJob& job) { return job.flowKey == flowKey; });
        return found == block.jobs.end() ? -1 : static_cast<int>(found - block.jobs.begin());
    };
    if (const int row = find(m_failed); row >= 0)
        return row;
    for (std::size_t i = 0; i < m_blocks.size(); ++i) {
        if (const int row = find(m_blocks[i]); row >= 0)
            return headRows() + m_starts[i] + row;
    }
    return -1;
}

int JobListModel::jobsInMemory() const
{
    std::size_t jobs = m_failed.jobs.size();
    for (const Block& block : m_blocks)
        jobs += block.jobs.size();
    return static_cast<int>(jobs);
}

QVariant JobListModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    want(index.row());
    const ListedJob* const shown = job(index.row());
    if (shown)
        return cell(*shown, index.column(), role);
    return role == Qt::DisplayRole ? QVariant(QStringLiteral("…")) : QVariant();
}

/// Asks for a row's block where that is stale; painting itself reads nothing.
void JobListModel::want(int row) const
{
    if (row < headRows() || row >= rowCount())
        return;
    const Block& block = m_blocks[static_cast<std::size_t>(blockAt(row - headRows()))];
    if (block.fresh || block.asked || !m_wanted.insert(block.key).second || m_wanted.size() > 1)
        return;
    auto* const self = const_cast<JobListModel*>(this); // NOLINT(*-const-cast): not before this returns
    QMetaObject::invokeMethod(
        self, [self] { RunGate::whenOpen(self, [self] { self->readWanted(); }); }, Qt::QueuedConnection);
}

void JobListModel::readWanted()
{
    const std::set<quint64> wanted = std::exchange(m_wanted, {});
    for (Block& block : m_blocks) {
        if (wanted.count(block.key) != 0)
            read(block);
    }
}

void JobListModel::read(Block& block)
{
    if (block.fresh || block.asked)
        return;
    block.asked = true;
    const std::size_t number = static_cast<std::size_t>(&block - m_blocks.data());
    const auto after = number == 0 ? std::optional<QVariantList>() : m_blocks[number - 1].last;
    m_reader.ask(this,
                 [this, source = m_source, isStale = staleness(), key = block.key, after,
                  last = block.last]() -> JobReader::Answer {
                     if (isStale())
                         return {};
                     auto page = std::make_shared<Page>();
                     page->failure = source->read(after, last, mostBlockRows, page->jobs);
                     return [this, isStale, key, page] {
                         if (!isStale())
                             takeAgain(key, *page);
                     };
                 });
}

void JobListModel::takeAgain(quint64 key, const Page& page)
{
    const auto found = std::find_if(m_blocks.begin(), m_blocks.end(),
                                    [key](const Block& block) { return block.key == key; });
    if (found == m_blocks.end())
        return;
    found->asked = false;
    Q_EMIT told(page.failure);
    if (!page.failure.reason.isEmpty())
        return;
    const auto number = static_cast<std::size_t>(found - m_blocks.begin());
    if (page.jobs.size() >= mostBlockRows && found->last) {
        // More came here than a block holds: all of it is read anew.
        readFirst();
        return;
    }
    found->fresh = true;
    update(*found, headRows() + m_starts[number], page.jobs);
    split(number, page.jobs.size() >= mostBlockRows);
    forgetFarBlocks();
}

/// Has the rows of a block be those that were read: what is the same at both ends stays, what lies between
/// goes and comes.
void JobListModel::update(Block& block, int firstRow, std::vector<ListedJob> now)
{
    const int held = block.rows;
    const int wanted = static_cast<int>(now.size());
    const auto same = [&](int before, int after) {
        return block.jobs.empty() || block.jobs[static_cast<std::size_t>(before)].flowKey ==
                                         now[static_cast<std::size_t>(after)].flowKey;
    };
    const int most = std::min(held, wanted);
    int begin = 0;
    while (begin < most && same(begin, begin))
        ++begin;
    int end = 0;
    while (end < most - begin && same(held - 1 - end, wanted - 1 - end))
        ++end;
    const bool changed = block.jobs != now;
    const auto setRows = [&](int rows) {
        block.rows = rows;
        placeBlocks();
    };
    if (const int gone = held - begin - end; gone > 0) {
        beginRemoveRows({}, firstRow + begin, firstRow + begin + gone - 1);
        if (!block.jobs.empty())
            block.jobs.erase(block.jobs.begin() + begin, block.jobs.begin() + begin + gone);
        setRows(begin + end);
        endRemoveRows();
    }
    if (const int come = wanted - begin - end; come > 0) {
        beginInsertRows({}, firstRow + begin, firstRow + begin + come - 1);
        block.jobs = std::move(now);
        setRows(wanted);
        endInsertRows();
    } else {
        block.jobs = std::move(now);
    }
    if (changed && begin + end > 0)
        Q_EMIT dataChanged(index(firstRow, 0), index(firstRow + wanted - 1, columnCount() - 1));
}

/// Parts a block that has grown, so that what is read at once stays small.
void JobListModel::split(std::size_t number, bool isCutOff)
{
    if (m_blocks[number].rows <= 2 * pageRows)
        return;
    Block whole = std::move(m_blocks[number]);
    std::vector<Block> parts;
    for (auto begin = whole.jobs.begin(); begin != whole.jobs.end();) {
        const auto left = whole.jobs.end() - begin;
        const auto end = begin + std::min<std::ptrdiff_t>(left, pageRows);
        parts.push_back(makeBlock({std::make_move_iterator(begin), std::make_move_iterator(end)}));
        parts.back().last = parts.back().jobs.back().place;
        begin = end;
    }
    if (!isCutOff)
        parts.back().last = whole.last;
    const auto at = m_blocks.erase(m_blocks.begin() + static_cast<std::ptrdiff_t>(number));
    m_blocks.insert(at, std::make_move_iterator(parts.begin()), std::make_move_iterator(parts.end()));
    placeBlocks();
}

void JobListModel::forgetFarBlocks()
{
    const int middle = (m_firstVisible + m_lastVisible) / 2 - headRows();
    const int here = m_blocks.empty() ? 0 : std::max(0, blockAt(std::min(middle, m_rows - 1)));
    for (int i = 0; i < static_cast<int>(m_blocks.size()); ++i) {
        Block& block = m_blocks[static_cast<std::size_t>(i)];
        if (std::abs(i - here) <= mostBlocksHeld / 2 || block.asked)
            continue;
        block.jobs = {};
        block.fresh = block.rows == 0;
    }
}

void JobListModel::setVisibleRows(int first, int last)
{
    m_firstVisible = first;
    m_lastVisible = last;
    forgetFarBlocks();
}

void JobListModel::refresh()
{
    if (!m_begun || std::exchange(m_refreshes, true))
        return;
    RunGate::whenOpen(this, [this] {
        m_refreshes = false;
        refreshNow();
    });
}

void JobListModel::refreshNow()
{
    if (!m_read) {
        begin();
        return;
    }
    markAllStale();
    readVisible();
    readFailed();
    count();
}

/// What was being read when something changed may have been read before that.
void JobListModel::markAllStale()
{
    for (Block& block : m_blocks) {
        block.fresh = false;
        block.asked = false;
    }
}

/// The first block as well: what is new comes there, and pushes down what is looked at.
void JobListModel::readVisible()
{
    if (m_blocks.empty())
        return;
    const auto clamp = [this](int row) {
        return std::max(0, blockAt(std::clamp(row - headRows(), 0, std::max(0, m_rows - 1))));
    };
    const auto last = static_cast<std::size_t>(clamp(m_lastVisible));
    read(m_blocks.front());
    for (auto i = static_cast<std::size_t>(clamp(m_firstVisible)); i <= last; ++i)
        read(m_blocks[i]);
    // A list that ends in sight gets its new rows behind the last one.
    if (!m_blocks.back().last && last + 2 >= m_blocks.size())
        read(m_blocks.back());
}

void JobListModel::readFailed()
{
    if (!m_showsFailed)
        return;
    m_reader.ask(this, [this, isStale = staleness()]() -> JobReader::Answer {
        if (isStale())
            return {};
        auto page = std::make_shared<Page>();
        page->failure = JobPages::failedRequests(mostFailedRequests, page->failed);
        return [this, isStale, page] {
            if (isStale() || !page->failure.reason.isEmpty())
                return;
            update(m_failed, 0, sought(page->failed));
        };
    });
}

void JobListModel::count()
{
    m_reader.ask(this, [this, source = m_source, isStale = staleness()]() -> JobReader::Answer {
        qint64 jobs = 0;
        bool orMore = false;
        if (isStale() || !source->count(jobs, orMore).reason.isEmpty())
            return {};
        return [this, isStale, jobs, orMore] {
            if (!isStale())
                Q_EMIT counted(jobs + headRows(), orMore);
        };
    });
}

void JobListModel::follow(bool follows)
{
    if (!follows)
        m_look.stop();
    else if (!m_look.isActive())
        m_look.start();
}

/// Looks for changes by others. Engines that tell nothing of rows that change are asked for what is looked
/// at.
void JobListModel::look()
{
    if (RunGate::isClosed() || m_looking || !m_begun)
        return;
    if (!m_read) {
        begin();
        return;
    }
    m_looking = true;
    m_reader.ask(this, [this, isStale = staleness()]() -> JobReader::Answer {
        QString revision;
        bool tellsAll = false;
        const JobReadFailure failure = JobPages::revision(revision, tellsAll);
        return [this, isStale, failure, revision, tellsAll] {
            if (isStale())
                return;
            m_looking = false;
            Q_EMIT told(failure);
            if (!failure.reason.isEmpty())
                return;
            if (std::exchange(m_revision, revision) != revision) {
                refresh();
            } else if (!tellsAll) {
                markAllStale();
                readVisible();
            }
        };
    });
}

void JobListModel::sort(int column, Qt::SortOrder order)
{
    const auto wanted = orderOf(column);
    if (!wanted)
        return;
    JobQuery query = m_query;
    query.order = *wanted;
    query.descending = order == Qt::DescendingOrder;
    setQuery(query);
}

QString stateText(const FlowState& state, bool complete)
{
    const auto text = [](const char* source) {
        return QCoreApplication::translate("KOZAV::Host::JobListModel", source);
    };
    if (state == FlowState(0, 0))
        return complete ? text(QT_TRANSLATE_NOOP("KOZAV::Host::JobListModel", "Waiting"))
                        : text(QT_TRANSLATE_NOOP("KOZAV::Host::JobListModel", "Import not ended"));
    if (state == FlowState(1, 2))
        return text(QT_TRANSLATE_NOOP("KOZAV::Host::JobListModel", "With the robot"));
    if (state == FlowState(-1, -1))
        return text(QT_TRANSLATE_NOOP("KOZAV::Host::JobListModel", "Storing failed"));
    if (state == FlowState(-2, -2))
        return text(QT_TRANSLATE_NOOP("KOZAV::Host::JobListModel", "Voided"));
    return QStringLiteral("%1/%2").arg(state.first).arg(state.second);
}

} // namespace KOZAV::Host
