#pragma once

#include "terminal/LogFile.h"

#include <QAbstractTableModel>
#include <QDateTime>
#include <QMutex>
#include <QString>

#include <deque>

namespace KOZAV::Host {

/// What the services and Qt log while the client runs, newest last: time, category, text. The oldest go where
/// there are more than a few thousand. Messages still go where they went before.
///
/// Where a file is kept as well, each line is in it before the call returns. Lines of Qt's platform plugins
/// are in it alone: they are no operator's business.
class ServiceLog final : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { Time, Category, Text, ColumnCount };

    /// Takes over the message handler of the process until it is destroyed; one at a time.
    explicit ServiceLog(QObject* parent = nullptr);
    ~ServiceLog() override;

    /// Takes it over earlier, before there is a QApplication: what the platform says of itself at any start
    /// without a display is not printed then.
    static void beginHandling();

    /// The file for one that is kept: zav_client.log in the user's own folder for such things
    /// ($XDG_STATE_HOME/zav_client, ~/.local/state/zav_client).
    [[nodiscard]] static QString usualFile();
    /// Writes to the file from now on, which other clients may write to at the same time; a full one is put
    /// aside (see Terminal::LogFile). Its folder is made where it is missing, for the user alone.
    /// @return why that is not possible; empty on success
    [[nodiscard]] QString keepIn(const QString& file);
    /// Absolute path; empty where none is kept.
    [[nodiscard]] QString keptFile() const { return m_keptFile; }

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
    void keep(QtMsgType type, const QString& category, const QString& text);
    void show(const Line& line);
    void append(const Line& line);

    std::deque<Line> m_lines;
    QString m_keptFile;
    /// Writing may itself be a reason for a message.
    QRecursiveMutex m_fileMutex;
    Terminal::LogFile m_file;
    bool m_hasComplained = false;
};

} // namespace KOZAV::Host
