#pragma once

#include "robot_server/RobotServer.h"

#include <QByteArray>
#include <QFile>
#include <QIODevice>
#include <QString>

namespace KOZAV::Robot {

/// Writes down what comes: a line for people for each document and each dropped connection, and the same as a
/// JSON object to a file. Each line is handed to the system before the call returns.
class RequestLog final
{
public:
    /// @param print  where the lines for people go; outlives the log
    explicit RequestLog(QIODevice& print)
        : m_print(print)
    {
    }

    /// Appends to a file from now on. @return false where that is not possible
    [[nodiscard]] bool openFile(const QString& name);

    /// @return false where a line could not be written; errorString() says why
    [[nodiscard]] bool write(const ReceivedRequest& request);
    [[nodiscard]] bool write(const DroppedConnection& connection);
    [[nodiscard]] QString errorString() const { return m_error; }

private:
    bool write(const QString& line, const QJsonObject& record);
    bool append(QIODevice& device, const QByteArray& line, const QString& name);

    QIODevice& m_print;
    QFile m_file;
    QString m_error;
};

} // namespace KOZAV::Robot
