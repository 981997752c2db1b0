#pragma once

#include "tests/support/DesktopClient.h"

#include <QString>
#include <QStringList>

namespace KOZAV::Test {

/// What an operator does in the import panel of a client on a desktop. Those that return bool print why they
/// could not.
class DesktopOperator final
{
public:
    explicit DesktopOperator(DesktopClient& client)
        : m_client(client)
    {
    }

    /// Chooses the directory with the panel's button and its dialog.
    bool chooseBatch(const QString& directory);
    bool pressImport();
    /// Presses Ok in each box of the batch until the last one.
    /// @param button  how Ok is called in the client's language
    /// @return the texts of all of them; empty where the last one did not come
    QStringList answerBatch(const QString& button = QStringLiteral("OK"));
    /// All of these.
    QStringList importBatch(const QString& directory);

private:
    DesktopClient& m_client;
};

} // namespace KOZAV::Test
