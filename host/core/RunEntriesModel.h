#pragma once

#include "host/core/RunRecord.h"

#include <QAbstractTableModel>
#include <QSortFilterProxyModel>
#include <QString>
#include <QStringList>

#include <optional>

namespace KOZAV::Host {

/// The entries of one run, in the order of its report: what became of each, why, and what to do. Texts are in
/// the operator's language.
class RunEntriesModel final : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { OutcomeColumn, Company, Job, Reason, Advice, GeneratedName, Size, Duration, ColumnCount };
    enum Role {
        OutcomeRole = Qt::UserRole, ///< int
        SortRole,
        SearchRole ///< all that a search looks into
    };

    explicit RunEntriesModel(QObject* parent = nullptr);

    void setRun(const RunRecord& run);
    /// The same run, of which more is known: no entry has come or gone, or all are shown anew.
    void amendRun(const RunRecord& run);
    [[nodiscard]] const RunRecord& run() const { return m_run; }

    /// All that is known of an entry, for people: meaning, advice, particulars and warnings.
    [[nodiscard]] QString explanation(int row) const;
    /// The same of the run itself: what, when, who, and its remarks.
    [[nodiscard]] QString facts() const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role = Qt::DisplayRole) const override;

private:
    [[nodiscard]] static QString text(const BatchReportRow& row, int column);
    [[nodiscard]] static QString explained(const QString& code, const QString& particulars);

    RunRecord m_run;
};

/// Those of one outcome, and with a text in them.
class RunEntriesFilter final : public QSortFilterProxyModel
{
    Q_OBJECT
public:
    /// @param entries  outlives this object
    explicit RunEntriesFilter(RunEntriesModel& entries, QObject* parent = nullptr);

    /// @param outcome  none: all
    void setOutcome(std::optional<Outcome> outcome);
    /// In whatever case; blanks around it do not count. Empty: all.
    void setSearch(const QString& text);
    /// Rows as lines of cells that are parted by tabs, with the headings above them: for the clipboard.
    [[nodiscard]] QString copyOf(const QModelIndexList& rows) const;

protected:
    [[nodiscard]] bool filterAcceptsRow(int row, const QModelIndex& parent) const override;

private:
    std::optional<Outcome> m_outcome;
    QString m_search;
};

} // namespace KOZAV::Host
