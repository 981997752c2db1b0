#include "host/OrigFileModel.h"

#include "host/Theme.h"

#include <QLocale>

namespace KOZAV::Host {

OrigFileModel::OrigFileModel(SiteAccess& site, QObject* parent)
    : QAbstractTableModel(parent)
    , m_site(site)
{
}

void OrigFileModel::reload()
{
    beginResetModel();
    m_rows = m_site.origFiles();
    endResetModel();
}

int OrigFileModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

int OrigFileModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant OrigFileModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    if (role == Qt::TextAlignmentRole)
        return int(Qt::AlignVCenter | (index.column() == Size ? Qt::AlignRight : Qt::AlignLeft));
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole)
        return {};
    const QString shown = text(m_rows[static_cast<std::size_t>(index.row())], index.column());
    return role == Qt::ToolTipRole ? plainToolTip(shown) : shown;
}

QVariant OrigFileModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    switch (section) {
    case Company:
        return QStringLiteral("公司名");
    case Job:
        return QStringLiteral("原始料号");
    case GeneratedName:
        return QStringLiteral("系统料号");
    case StoredName:
        return QStringLiteral("存储文件");
    case Size:
        return QStringLiteral("大小");
    case Time:
        return QStringLiteral("导入时间");
    case State:
        return QStringLiteral("状态");
    default:
        return {};
    }
}

QString OrigFileModel::text(const OrigFileRow& row, int column) const
{
    switch (column) {
    case Company:
        return row.company;
    case Job:
        return row.jobName;
    case GeneratedName:
        return row.generatedName;
    case StoredName:
        return row.storedName;
    case Size:
        return sizeText(row.storedName);
    case Time:
        return row.importedAt.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    case State:
        return stateText(row.state);
    default:
        return {};
    }
}

QString OrigFileModel::sizeText(const QString& storedName) const
{
    if (!m_sizes.contains(storedName))
        m_sizes.insert(storedName, m_site.storedBytes(storedName));
    const qint64 size = m_sizes.value(storedName);
    return size < 0 ? QStringLiteral("—") : QLocale(QLocale::Chinese).formattedDataSize(size);
}

QString stateText(const std::optional<FlowState>& state)
{
    if (!state)
        return QStringLiteral("未登记");
    if (*state == FlowState(0, 0))
        return QStringLiteral("等待导入");
    if (*state == FlowState(1, 2))
        return QStringLiteral("处理中");
    if (*state == FlowState(-1, -1))
        return QStringLiteral("入库失败");
    return QStringLiteral("%1/%2").arg(state->first).arg(state->second);
}

} // namespace KOZAV::Host
