#pragma once

#include "backend/records/JobListing.h"
#include "backend/records/SiteRecords.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <vector>

namespace KOZAV::Test {

/// A fresh site on the engines of this test program (see SiteEngines), with a directory of its own, which the
/// services of this process work on until the object ends. Ends the test program where the site cannot be
/// made.
class FreshSite final
{
public:
    FreshSite();
    ~FreshSite();
    FreshSite(const FreshSite&) = delete;
    FreshSite& operator=(const FreshSite&) = delete;

    /// A path below the site's directory, for what a test makes itself.
    [[nodiscard]] QString path(const QString& name) const { return m_directory.filePath(name); }
    [[nodiscard]] QString configuration() const;

    void addCompany(const QString& code, const QString& name) const;
    void configure(const QString& key, const QString& value) const;

    [[nodiscard]] std::vector<Backend::JobRecord> jobs() const;
    [[nodiscard]] std::vector<Backend::OrigFileRecord> origFiles() const;
    [[nodiscard]] DataLib::Model::Odbpp_Company company(const QString& code) const;

    /// Fetches the stored file through the service. @return its local path; empty where the service fails
    [[nodiscard]] QString fetch(const Backend::JobRecord& job) const;
    /// The names that the store holds.
    [[nodiscard]] QStringList storedNames() const;
    /// Changes the content of a stored file behind the store's back.
    /// @return why this store's cannot be changed; empty where it was
    [[nodiscard]] static QString damage(const QString& storedName);

private:
    QTemporaryDir m_directory;
};

/// Has two stored files of a site change places, each with its sum: the store finds nothing wrong with
/// either. Ends the test program where that fails.
void swapStoredFiles(const QString& configuration, const QString& one, const QString& other);

/// The content of a file; ends the test program where it cannot be read.
QByteArray contentOf(const QString& path);

} // namespace KOZAV::Test
