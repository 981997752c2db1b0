#pragma once

#include "host/site/RobotRecords.h"

#include <QAbstractTableModel>

namespace KOZAV::Host {

/// The requests to the CAM robot that the site has recorded, newest first, in pages that are read on another
/// thread as they are needed.
class RobotRequestsModel final : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column {
        JobColumn,
        NameColumn,
        OutcomeColumn,
        StandingColumn,
        TimeColumn,
        AddressColumn,
        OriginColumn,
        UserColumn
    };

    explicit RobotRequestsModel(QObject* parent = nullptr);

    /// Reads anew, as many as there are now or a page; loaded() follows.
    void reload();
    /// What is shown from now on; reads it.
    void setFilter(RobotFilter filter);

    [[nodiscard]] const RobotRequestRow& request(int row) const;
    /// What became of the request and what can be done, in a sentence.
    [[nodiscard]] static QString sentence(const RobotRequestRow& row);
    /// What the last reading failed at; empty where it did not.
    [[nodiscard]] const QString& failure() const { return m_failure; }
    [[nodiscard]] bool isLoaded() const { return m_loaded; }

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    [[nodiscard]] bool canFetchMore(const QModelIndex& parent) const override;
    void fetchMore(const QModelIndex& parent) override;

Q_SIGNALS:
    /// A reading has ended, also where it failed.
    void loaded();

private:
    struct Answer
    {
        std::optional<RobotPage> page;
        QString failure;
    };

    void read(qint64 before, int limit);
    void take(const Answer& answer, qint64 before);

    std::vector<RobotRequestRow> m_rows;
    RobotFilter m_filter = RobotFilter::All;
    QString m_failure;
    bool m_hasMore = false;
    bool m_loaded = false;
    int m_reading = 0; ///< number of the reading whose answer counts; 0: none is under way
    int m_readings = 0;
};

} // namespace KOZAV::Host
