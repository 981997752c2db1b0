#pragma once

#include "host/core/JobListModel.h"

namespace KOZAV::Host {

/// The jobs that wait for import, oldest first; before them those that were handed to the robot and whose
/// request failed, until somebody has dealt with it.
class WaitingModel final : public JobListModel
{
    Q_OBJECT
public:
    enum Column { Number, GeneratedName, Company, Note, ColumnCount };

    explicit WaitingModel(JobReader& reader, QObject* parent = nullptr);

    /// Shows only jobs whose generated names begin with this.
    void search(const QString& generatedName);

    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    [[nodiscard]] std::optional<JobQuery::Order> orderOf(int column) const override;

protected:
    [[nodiscard]] QVariant cell(const ListedJob& job, int column, int role) const override;
};

} // namespace KOZAV::Host
