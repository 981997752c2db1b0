#pragma once

#include "admin/ServerOptions.h"
#include "backend/Status.h"

#include <QString>

#include <memory>

namespace KOZAV::Admin {

/// A configuration file in the making. It lies beside its place under another name, and gets its own only
/// when all that it names has been found to work; without that it is removed.
class NewConfiguration final
{
public:
    /// @param target    where the file will be
    /// @param dataRoot  see createDefaultSettings()
    /// @param values    what differs from the defaults
    static Backend::Result<std::unique_ptr<NewConfiguration>>
    create(const QString& target, const QString& dataRoot, const SettingValues& values);

    ~NewConfiguration();
    Q_DISABLE_COPY(NewConfiguration)

    /// Where it lies now.
    [[nodiscard]] const QString& path() const { return m_path; }

    /// Gives it its name. AlreadyExists where somebody else has made such a file meanwhile.
    Backend::Status keep();

    /// A failure that names the file as it will be called.
    [[nodiscard]] Backend::Status named(const Backend::Status& status) const;

private:
    explicit NewConfiguration(QString target);

    QString m_target;
    QString m_path;
    bool m_kept = false;
};

} // namespace KOZAV::Admin
