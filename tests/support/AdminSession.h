#pragma once

#include "admin/Application.h"
#include "tests/support/ConfigurationFile.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <string>

namespace KOZAV::Test {

/// What one command line gave back.
struct AdminOutcome
{
    Admin::ExitCode code = Admin::ExitCode::Failure;
    QString out;
    QString err;

    /// The document on the output, and the one of a failure.
    [[nodiscard]] QJsonObject json() const;
    [[nodiscard]] QJsonObject failure() const;
};

/// Runs a command line of zav_admin in this process, on that configuration file.
AdminOutcome runAdmin(const QString& configuration, QStringList arguments);

/// Runs command lines of zav_admin in this process, on a configuration file in a directory of its own.
class AdminSession final
{
public:
    [[nodiscard]] const ConfigurationFile& file() const { return m_file; }
    [[nodiscard]] AdminOutcome run(QStringList arguments) const;

    /// Imports a job through the services, as the panel does; the site must be the current one, with the
    /// company.
    /// @return its generated name; it is stored as NAME.tgz
    std::string importJob(const char* company, const char* jobName, const QByteArray& content, int batch,
                          bool complete = true) const;

private:
    ConfigurationFile m_file;
};

/// A short name for the many texts of a command line.
inline QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

} // namespace KOZAV::Test
