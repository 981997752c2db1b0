#pragma once

#include "host/core/RobotOrders.h"
#include "host/core/RobotRequestsModel.h"

#include <QTimer>
#include <QWidget>

class QComboBox;
class QLabel;
class QPushButton;
class QStackedWidget;
class QTableView;

namespace KOZAV::Host {

/// The requests to the CAM robot that the site has recorded, what became of them, and what can be done about
/// those that did not arrive.
class RobotView final : public QWidget
{
    Q_OBJECT
public:
    explicit RobotView(QWidget* parent = nullptr);

    /// Reads the requests anew, and keeps what is selected. While the view is not shown it waits for that.
    void reload();

Q_SIGNALS:
    /// Jobs were put back on the waiting list, or their histories have grown.
    void jobsChanged();
    /// What became of one job of an order that failed, for people.
    void told(const QString& text);

protected:
    void showEvent(QShowEvent* event) override;

private:
    QWidget* buildTop();
    QWidget* buildCentre();
    QWidget* buildBottom();
    void connectParts();
    void startOrder(RobotOrders::Order order);
    [[nodiscard]] std::vector<int> selectedRows() const;
    /// Generated names of the selected jobs that are with the robot, each once, oldest request first.
    [[nodiscard]] QStringList selectedJobs() const;
    void keepSelection();
    void restoreSelection();
    void showSelection();
    void showLoaded();
    void showOrder();
    void finishOrder();

    RobotRequestsModel* m_requests;
    RobotOrders* m_orders;
    QComboBox* m_filter = nullptr;
    QTableView* m_table = nullptr;
    QStackedWidget* m_centre = nullptr;
    QLabel* m_empty = nullptr;
    QLabel* m_detail = nullptr;
    QLabel* m_state = nullptr;
    QPushButton* m_resend = nullptr;
    QPushButton* m_requeue = nullptr;
    QPushButton* m_stop = nullptr;
    QPushButton* m_refresh = nullptr;
    QTimer m_interval;
    std::vector<qint64> m_selected; ///< numbers of the requests to be selected again
};

} // namespace KOZAV::Host
