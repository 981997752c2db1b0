#pragma once

#include "services/model/Odbpp_Job_C.h"

#include <QAbstractTableModel>

#include <vector>

namespace KOZAV::Host {

/// The jobs that wait for import, oldest first.
class WaitingJobsModel final : public QAbstractTableModel
{
    Q_OBJECT
public:
    using QAbstractTableModel::QAbstractTableModel;

    void reload();
    [[nodiscard]] const DataLib::Model::Odbpp_Job_C& job(int row) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    std::vector<DataLib::Model::Odbpp_Job_C> m_jobs;
};

} // namespace KOZAV::Host
