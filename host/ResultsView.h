#pragma once

#include "host/core/RunRecord.h"

#include <QWidget>

#include <optional>

class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QStackedWidget;
class QTableView;

namespace KOZAV::Host {

class RunEntriesFilter;
class RunEntriesModel;
class RunsModel;
class SiteAccess;

/// The results of a run of the import panel: of the last one, or of one that the site keeps. Each entry with
/// what became of it, why, and what to do; by outcome, searched, copied, and written into a file.
class ResultsView final : public QWidget
{
    Q_OBJECT
public:
    /// @param site  outlives this object
    explicit ResultsView(const SiteAccess& site, QWidget* parent = nullptr);

    /// Shows a run of this client that has just ended.
    void show(const RunRecord& run);
    /// More is known of that run; shown where it still is.
    void amend(const RunRecord& run);
    /// Shows the run that was given last.
    /// @param outcome  only its entries of that one; none: all
    void showLast(std::optional<Outcome> outcome);
    /// What the site keeps has changed.
    void reload();

protected:
    void showEvent(QShowEvent* event) override;

private:
    QWidget* buildTop();
    QWidget* buildFilter();
    QWidget* buildCentre();
    QWidget* buildBottom();
    void connectParts();
    void chooseRun(int row);
    void restoreChoice();
    void display(const RunRecord& run);
    void fillOutcomes();
    void showState();
    void showDetail();
    void copySelected();
    void exportRun();

    const SiteAccess& m_site;
    RunsModel* m_runs;
    RunEntriesModel* m_entries;
    RunEntriesFilter* m_shown;
    RunRecord m_last;  ///< of this client
    QString m_chosen;  ///< key of the run that is shown, or is being read
    QString m_failure; ///< why that could not be read
    QComboBox* m_run = nullptr;
    QPushButton* m_refresh = nullptr;
    QComboBox* m_outcome = nullptr;
    QLineEdit* m_search = nullptr;
    QTableView* m_table = nullptr;
    QStackedWidget* m_centre = nullptr;
    QLabel* m_empty = nullptr;
    QPlainTextEdit* m_detail = nullptr;
    QLabel* m_state = nullptr;
    QPushButton* m_copy = nullptr;
    QPushButton* m_export = nullptr;
    bool m_isRead = false;
};

} // namespace KOZAV::Host
