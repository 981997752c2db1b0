#include "host/core/CompaniesModel.h"

#include "host/core/BehindWindow.h"

namespace KOZAV::Host {

namespace {

/// What a reading gave.
struct CompaniesAnswer
{
    std::optional<std::vector<CompanyRow>> rows;
    QString failure;
};

} // namespace

CompaniesModel::CompaniesModel(QObject* parent)
    : QAbstractTableModel(parent)
{
}

void CompaniesModel::reload()
{
    workBehindWindow(
        this,
        [] {
            CompaniesAnswer answer;
            answer.rows = listCompanyRows(answer.failure);
            return answer;
        },
        [this](const CompaniesAnswer& answer) {
            m_failure = answer.failure;
            if (answer.rows) {
                beginResetModel();
                m_rows = *answer.rows;
                endResetModel();
            }
            Q_EMIT loaded();
        });
}

void CompaniesModel::add(const QString& code, const QString& name)
{
    if (m_changing)
        return;
    m_changing = true;
    workBehindWindow(
        this, [code, name] { return addCompanyRow(code, name); },
        [this, name](const QString& failure) {
            m_changing = false;
            reload();
            if (failure.isEmpty())
                Q_EMIT added(name);
            else
                Q_EMIT refused(failure);
        });
}

bool CompaniesModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (role != Qt::EditRole || index.column() != NameColumn || m_changing)
        return false;
    const QString code = company(index.row()).code;
    const QString before = company(index.row()).name;
    const QString now = value.toString().trimmed();
    if (now == before)
        return false;
    m_changing = true;
    workBehindWindow(
        this, [code, now] { return renameCompanyRow(code, now); },
        [this, before, now](const QString& failure) {
            m_changing = false;
            reload();
            if (failure.isEmpty())
                Q_EMIT renamed(before, now);
            else
                Q_EMIT refused(failure);
        });
    return false;
}

const CompanyRow& CompaniesModel::company(int row) const
{
    return m_rows[static_cast<std::size_t>(row)];
}

int CompaniesModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

int CompaniesModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : HolderColumn + 1;
}

QVariant CompaniesModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::EditRole))
        return {};
    const CompanyRow& row = company(index.row());
    switch (index.column()) {
    case CodeColumn:
        return row.code;
    case NameColumn:
        return row.name;
    case JobsColumn:
        return row.jobCount;
    case BatchColumn:
        return row.batchNumber == 0 ? QVariant() : QVariant(row.batchNumber);
    default:
        return row.heldBy;
    }
}

QVariant CompaniesModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    const QString titles[] = {tr("Code"), tr("Name"), tr("Jobs"), tr("Last batch"), tr("Held by")};
    return titles[section];
}

Qt::ItemFlags CompaniesModel::flags(const QModelIndex& index) const
{
    const Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    return index.column() == NameColumn ? flags | Qt::ItemIsEditable : flags;
}

} // namespace KOZAV::Host
