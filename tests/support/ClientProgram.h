#pragma once

#include <QString>
#include <QStringList>

namespace KOZAV::Test {

/// One run of the built zav_client, to its end.
struct ClientRun
{
    int exitCode = -1; ///< -1 where the program crashed
    QString output;
    QString errors; ///< what it wrote to the standard error

    [[nodiscard]] QByteArray everything() const { return (output + errors).toLocal8Bit(); }
};

/// Runs zav_client where there is no display.
/// @param platform  value of QT_QPA_PLATFORM; empty: the variable is not set
ClientRun runClient(const QStringList& arguments, const QString& platform = {});

} // namespace KOZAV::Test
