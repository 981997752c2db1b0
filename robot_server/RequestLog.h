#pragma once

#include "robot_server/RobotServer.h"
#include "terminal/LogFile.h"

#include <QByteArray>
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
    [[nodiscard]] bool openFile(const QString& name, const Terminal::LogLimits& limits = {});

    /// @return false where a line could not be written; errorString() says why
    [[nodiscard]] bool write(const ReceivedRequest& request);
    [[nodiscard]] bool write(const DroppedConnection& connection);
    [[nodiscard]] QString errorString() const { return m_error; }
    /// See Terminal::LogFile::takeComplaint().
    [[nodiscard]] QString takeComplaint() { return m_file.takeComplaint(); }

private:
    bool write(const QString& line, const QJsonObject& record);
    bool print(const QByteArray& line);

    QIODevice& m_print;
    Terminal::LogFile m_file;
    QString m_error;
};

} // namespace KOZAV::Robot
