#pragma once

#include "host/core/Foresight.h"

#include <QTimer>
#include <QWidget>

class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QTableView;

namespace KOZAV::Host {

class ForesightModel;
class PanelRun;

/// What an import of the chosen source would come to, before it begins. Follows what the file import panel
/// keeps, not what its fields show.
class ForesightView final : public QWidget
{
    Q_OBJECT
public:
    /// @param run  of the panel; outlives this object
    explicit ForesightView(const PanelRun& run, QWidget* parent = nullptr);
    ~ForesightView() override;

Q_SIGNALS:
    /// A look at another source has begun.
    void lookBegun();
    /// Companies were added to the site.
    void companiesChanged();

private:
    class Filter;

    QWidget* buildHead();
    QWidget* buildFilter();
    QWidget* buildEntries();
    void connectParts();
    void choose(const PanelSource& source);
    void look();
    void take(const ForesightPiece& piece);
    void noteRun();
    void applyFilter();
    void showTotals();
    void showNotes();
    void showDetails();
    void addCompanies();
    [[nodiscard]] QStringList unknownCompanies() const;

    const PanelRun& m_run;
    Foresight m_foresight;
    ForesightModel* m_entries;
    Filter* m_filter;
    PanelSource m_source;
    QTimer m_begin;         ///< puts off a look until the choice is settled
    bool m_looking = false; ///< a look is under way or put off
    bool m_wasRun = false;  ///< what is shown was found before the last import
    QStackedWidget* m_centre = nullptr;
    QLabel* m_title = nullptr;
    QLabel* m_totals = nullptr;
    QLabel* m_notes = nullptr;
    QLabel* m_details = nullptr;
    QProgressBar* m_progress = nullptr;
    QPushButton* m_add = nullptr;
    QPushButton* m_again = nullptr;
    QComboBox* m_show = nullptr;
    QLineEdit* m_search = nullptr;
    QTableView* m_table = nullptr;
};

} // namespace KOZAV::Host
