#include "backend/operations/RefusedImports.h"

#include "backend/Operation.h"
#include "backend/records/SiteEvents.h"

#include <utility>

namespace KOZAV::Backend {

namespace {

std::string& unclaimedFile()
{
    thread_local std::string storedName;
    return storedName;
}

} // namespace

void noteStoredFile(const std::string& storedName)
{
    unclaimedFile() = storedName;
}

void noteClaimedFile(const std::string& storedName)
{
    if (unclaimedFile() == storedName)
        unclaimedFile().clear();
}

void tellRefusedImport(Database& database, const QString& company, const QString& reason)
{
    const QString storedName = QString::fromStdString(std::exchange(unclaimedFile(), {}));
    if (storedName.isEmpty())
        return;
    SiteEvent event;
    event.kind = eventKind::refused;
    event.subject = company;
    event.reason = reason;
    event.detail = {{QStringLiteral("stored_name"), storedName}};
    if (const auto told = addEvent(database, event); !told.ok())
        qCWarning(logDatabase).noquote()
            << QStringLiteral("no event tells that the import of \"%1\" was refused: %2")
                   .arg(storedName, told.message());
}

} // namespace KOZAV::Backend
