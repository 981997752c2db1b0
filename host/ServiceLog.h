#pragma once

#include <QAbstractTableModel>
#include <QDateTime>
#include <QString>

#include <deque>

namespace KOZAV::Host {

/// What the services and Qt log while the client runs, newest last: time, category, text. The oldest go where
/// there are more than a few thousand. Messages still go where they went before.
class ServiceLog final : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { Time, Category, Text, ColumnCount };

    /// Takes over the message handler of the process until it is destroyed; one at a time.
    explicit ServiceLog(QObject* parent = nullptr);
    ~ServiceLog() override;

    /// Adds a line of the client's own. May be called on any thread.
    void add(QtMsgType type, const QString& category, const QString& text);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    struct Line
    {
        QDateTime time;
        QtMsgType type;
        QString category;
        QString text;
    };

    static void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& text);
    void append(const Line& line);

    std::deque<Line> m_lines;
};

} // namespace KOZAV::Host
