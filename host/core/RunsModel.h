#pragma once

#include "host/core/RunRecord.h"

#include <QAbstractListModel>
#include <QString>

#include <optional>
#include <vector>

namespace KOZAV::Host {

/// The runs that the site keeps, newest first, a page at a time, each as a line: when, what became of its
/// entries, from where, and who ran it.
class RunsModel final : public QAbstractListModel
{
    Q_OBJECT
public:
    explicit RunsModel(QObject* parent = nullptr);

    /// Reads anew, as many as there are now or a page; loaded() follows.
    void reload();
    /// A run of this client, whether the site keeps it or not: takes the place of what is shown of it, or the
    /// first.
    void put(const RunSummary& run);

    [[nodiscard]] const RunSummary& run(int row) const { return m_runs[static_cast<std::size_t>(row)]; }
    /// @return -1 where it is not among them
    [[nodiscard]] int rowOf(const QString& guid) const;
    /// What the last reading failed at; empty where it did not.
    [[nodiscard]] const QString& failure() const { return m_failure; }

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    [[nodiscard]] bool canFetchMore(const QModelIndex& parent) const override;
    void fetchMore(const QModelIndex& parent) override;

Q_SIGNALS:
    /// A reading has ended, also where it failed.
    void loaded();

private:
    struct Page
    {
        std::optional<std::vector<RunSummary>> runs;
        QString failure;
    };

    void read(qint64 behind, int limit);
    void take(const Page& page, qint64 behind, int limit);
    void add(const std::vector<RunSummary>& runs, qint64 behind, int limit);

    std::vector<RunSummary> m_runs;
    std::optional<RunSummary> m_own; ///< the last one of this client
    QString m_failure;
    bool m_hasMore = false;
    int m_reading = 0; ///< number of the reading whose answer counts; 0: none is under way
    int m_readings = 0;
};

} // namespace KOZAV::Host
