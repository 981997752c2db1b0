#include "admin/Workplace.h"

#include "backend/database/Database.h"
#include "backend/store/DocumentStore.h"

#include <QFileInfo>

#include <utility>

namespace KOZAV::Admin {

using namespace Backend;

Workplace::Workplace(QString configurationPath)
    : m_path(std::move(configurationPath))
{
}

Workplace::~Workplace() = default;

Result<Settings> Workplace::settings()
{
    if (m_settings)
        return *m_settings;
    if (!QFileInfo::exists(m_path))
        return Status::configuration(
            QStringLiteral("there is no configuration file \"%1\"; \"zav_admin init\" makes one")
                .arg(m_path));
    Result<Settings> loaded = loadSettings(m_path);
    if (loaded.ok())
        m_settings = loaded.value();
    return loaded;
}

Result<Database*> Workplace::database()
{
    if (m_database)
        return m_database.get();
    const Result<Settings> now = settings();
    if (!now.ok())
        return now.status();
    Result<std::unique_ptr<Database>> opened = Database::open(now->database);
    if (!opened.ok())
        return opened.status();
    m_database = std::move(opened.value());
    return m_database.get();
}

Result<DocumentStore*> Workplace::documentStore()
{
    if (m_store)
        return m_store.get();
    const Result<Settings> now = settings();
    if (!now.ok())
        return now.status();
    Result<std::unique_ptr<DocumentStore>> opened = openDocumentStore(now->documentStore);
    if (!opened.ok())
        return opened.status();
    m_store = std::move(opened.value());
    return m_store.get();
}

} // namespace KOZAV::Admin
