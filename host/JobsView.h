#pragma once

#include <QTimer>
#include <QWidget>

class QComboBox;
class QDateEdit;
class QLabel;
class QLineEdit;

namespace KOZAV::Host {

class JobReader;
class JobsModel;
class JobTable;
struct JobQuery;
struct JobReadFailure;

/// All jobs of the site, and what they are looked for by.
class JobsView final : public QWidget
{
    Q_OBJECT
public:
    explicit JobsView(JobReader& reader, QWidget* parent = nullptr);

    /// Reads again what is shown, and the companies to choose from.
    void refresh();

Q_SIGNALS:
    /// Something was read, or why it was not.
    void told(const KOZAV::Host::JobReadFailure& failure);
    /// How many jobs the site has, or more than that, told when it was read and is another number than
    /// before.
    void allCounted(int jobs, bool orMore);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QWidget* buildSearch();
    QLineEdit* addField(const QString& name, const QString& placeholder);
    QComboBox* addChoice(const QString& name);
    void fillTimes();
    void fillStates();
    void readCompanies();
    void clearSearch();
    void search();
    void setTimes(JobQuery& query) const;
    void showCount(qint64 jobs, bool orMore);
    void showFailure(const JobReadFailure& failure);
    [[nodiscard]] bool isSearching() const;
    [[nodiscard]] QString emptyText() const;

    JobReader& m_reader;
    JobsModel* m_jobs;
    JobTable* m_table;
    QLineEdit* m_generatedName = nullptr;
    QLineEdit* m_jobName = nullptr;
    QLineEdit* m_batch = nullptr;
    QComboBox* m_company = nullptr;
    QComboBox* m_state = nullptr;
    QComboBox* m_time = nullptr;
    QDateEdit* m_from = nullptr;
    QDateEdit* m_until = nullptr;
    QLabel* m_count;
    qint64 m_all = -1; ///< jobs of the site when they were last counted
    QTimer m_typing;   ///< runs while somebody types
};

} // namespace KOZAV::Host
