#pragma once

#include <QString>
#include <QStringList>

#include <functional>

namespace KOZAV::Test {

/// One run of the built zav_client, to its end.
struct ClientRun
{
    int exitCode = -1; ///< -1 where the program crashed
    QString output;
    QString errors; ///< what it wrote to the standard error

    [[nodiscard]] QByteArray everything() const { return (output + errors).toLocal8Bit(); }
};

/// The path of the built zav_client.
QString clientProgram();

/// Runs zav_client where there is no display.
/// @param platform  value of QT_QPA_PLATFORM; empty: the variable is not set
/// @param watch     called with all that it has written so far, each time that there is more
ClientRun runClient(const QStringList& arguments, const QString& platform = {},
                    const std::function<void(const QString& output)>& watch = {});

} // namespace KOZAV::Test
