#pragma once

#include "host/core/JobListModel.h"

namespace KOZAV::Host {

/// All jobs of the site, newest first unless sorted otherwise.
class JobsModel final : public JobListModel
{
    Q_OBJECT
public:
    enum Column { Company, Job, GeneratedName, StoredName, Size, Time, State, Batch, ColumnCount };

    explicit JobsModel(JobReader& reader, QObject* parent = nullptr);

    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    [[nodiscard]] std::optional<JobQuery::Order> orderOf(int column) const override;

protected:
    [[nodiscard]] QVariant cell(const ListedJob& job, int column, int role) const override;

private:
    [[nodiscard]] static QString text(const ListedJob& job, int column);
};

} // namespace KOZAV::Host
