#pragma once

#include "host/core/CompaniesModel.h"

#include <QWidget>

class QLabel;
class QLineEdit;
class QPushButton;
class QStackedWidget;
class QTableView;

namespace KOZAV::Host {

/// The companies of the site with their counters; adds and renames them.
class CompaniesView final : public QWidget
{
    Q_OBJECT
public:
    explicit CompaniesView(QWidget* parent = nullptr);

    /// Reads the companies anew. While the view is not shown it waits for that.
    void reload();
    /// Puts the cursor where a new company is entered.
    /// @param name  what its name is proposed to be; may be empty
    void enterCompany(const QString& name = {});

Q_SIGNALS:
    /// A company was added or has another name.
    void companiesChanged();

protected:
    void showEvent(QShowEvent* event) override;

private:
    QWidget* buildCentre();
    QWidget* buildForm();
    void connectParts();
    void keepPlace();
    void restorePlace();
    void showLoaded();
    void showEntered();
    void tell(const QString& text);

    CompaniesModel* m_companies;
    QTableView* m_table = nullptr;
    QStackedWidget* m_centre = nullptr;
    QWidget* m_emptyPage = nullptr;
    QLabel* m_empty = nullptr;
    QPushButton* m_first = nullptr;
    QLineEdit* m_code = nullptr;
    QLineEdit* m_name = nullptr;
    QLabel* m_flaw = nullptr;
    QPushButton* m_add = nullptr;
    QPushButton* m_rename = nullptr;
    QLabel* m_state = nullptr;
    int m_current = 0; ///< number of the company that is to be chosen again
};

} // namespace KOZAV::Host
