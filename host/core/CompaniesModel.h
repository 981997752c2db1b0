#pragma once

#include "host/site/Companies.h"

#include <QAbstractTableModel>

namespace KOZAV::Host {

/// The companies of the site, read and changed on another thread. A company is renamed by giving its name's
/// cell another text.
class CompaniesModel final : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { CodeColumn, NameColumn, JobsColumn, BatchColumn, HolderColumn };

    explicit CompaniesModel(QObject* parent = nullptr);

    /// Reads anew; loaded() follows.
    void reload();
    /// Adds a company; added() or refused() follows.
    void add(const QString& code, const QString& name);

    [[nodiscard]] const CompanyRow& company(int row) const;
    /// What the last reading failed at; empty where it did not.
    [[nodiscard]] const QString& failure() const { return m_failure; }
    /// Whether a company is being added or renamed.
    [[nodiscard]] bool isChanging() const { return m_changing; }

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;
    /// @return false: the name changes when the site has taken it, and renamed() or refused() follows
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;

Q_SIGNALS:
    void loaded();
    void added(const QString& name);
    void renamed(const QString& before, const QString& now);
    /// A company could not be added or renamed, and why, for people.
    void refused(const QString& reason);

private:
    std::vector<CompanyRow> m_rows;
    QString m_failure;
    bool m_changing = false;
};

} // namespace KOZAV::Host
