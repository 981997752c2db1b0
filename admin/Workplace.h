#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"

#include <QString>

#include <memory>
#include <optional>

namespace KOZAV::Backend {
class Database;
class DocumentStore;
} // namespace KOZAV::Backend

namespace KOZAV::Admin {

/// The site that one command works on, opened as far as the command needs it. Other than the services it
/// never makes a configuration file by itself: only the verb "init" does.
class Workplace final
{
public:
    explicit Workplace(QString configurationPath);
    ~Workplace();
    Q_DISABLE_COPY(Workplace)

    [[nodiscard]] const QString& configurationPath() const { return m_path; }

    Backend::Result<Backend::Settings> settings();
    Backend::Result<Backend::Database*> database();
    Backend::Result<Backend::DocumentStore*> documentStore();

private:
    QString m_path;
    std::optional<Backend::Settings> m_settings;
    std::unique_ptr<Backend::Database> m_database;
    std::unique_ptr<Backend::DocumentStore> m_store;
};

} // namespace KOZAV::Admin
