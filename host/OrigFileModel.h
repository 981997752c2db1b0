#pragma once

#include "host/site/SiteAccess.h"

#include <QAbstractTableModel>
#include <QHash>

#include <vector>

namespace KOZAV::Host {

/// The original files of the site, newest first. Sizes are asked of the store when a row is first shown.
class OrigFileModel final : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { Company, Job, GeneratedName, StoredName, Size, Time, State, ColumnCount };

    explicit OrigFileModel(SiteAccess& site, QObject* parent = nullptr);

    void reload();

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    [[nodiscard]] QString text(const OrigFileRow& row, int column) const;
    [[nodiscard]] QString sizeText(const QString& storedName) const;

    SiteAccess& m_site;
    std::vector<OrigFileRow> m_rows;
    mutable QHash<QString, qint64> m_sizes;
};

/// A flow state as operators read it.
QString stateText(const std::optional<FlowState>& state);

} // namespace KOZAV::Host
