#pragma once

#include <QString>
#include <QTableView>

#include <vector>

class QLabel;

namespace KOZAV::Host {

class JobListModel;

/// A table of jobs. The selected job stays selected and the rows stay where they are while others come and
/// go. Which columns it shows, in which order and how wide, and what it is sorted by is chosen at its header
/// and remembered.
class JobTable final : public QTableView
{
    Q_OBJECT
public:
    /// @param name  under which the columns are remembered
    JobTable(JobListModel& model, const QString& name, QWidget* parent = nullptr);

    /// Widths of the columns, and those that are not shown unless the user wants them.
    void setColumns(const std::vector<int>& widths, const std::vector<int>& hidden);
    /// Has the header tell how the model is sorted; without it that is not told.
    void showOrder(int column, Qt::SortOrder order);
    /// Has the columns be as they were the last time.
    void restoreColumns();
    /// What is shown while there are no rows.
    void setEmptyText(const QString& text);
    /// Puts the selected job on the clipboard, its visible columns parted by tabs.
    void copySelected() const;
    /// Key of the selected job; empty for none.
    [[nodiscard]] QString selectedJob() const;

protected:
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void connectModel();
    void tellVisibleRows();
    void rememberPlace();
    void restorePlace();
    void sortBy(int column, Qt::SortOrder order);
    void offerColumns(const QPoint& place);
    void offerActions(const QPoint& place);
    void saveColumns() const;
    void showEmptyText();

    JobListModel& m_jobs;
    QString m_name;
    QLabel* m_empty;
    int m_sortColumn = -1;
    Qt::SortOrder m_sortOrder = Qt::AscendingOrder;
    QString m_keptSelection; ///< of a job whose row goes, until it comes again
    QString m_keptTop;       ///< of the job that stands at the top, while rows change above
    bool m_keeps = false;    ///< both are to be put back
};

} // namespace KOZAV::Host
