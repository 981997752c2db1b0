#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <string>
#include <vector>

namespace KOZAV::Test {

/// A fresh site for the services to work on, on the engines of this test program (see SiteEngines). Only this
/// class knows how a site is made and looked into; the tests know the services.
class ContractSite final
{
public:
    /// Whether this program can make a site on the named engines; otherwise why not.
    static bool isAvailable(QString& reason);

    /// Makes the site and has the services of this process work on it.
    ContractSite();
    ~ContractSite();
    Q_DISABLE_COPY(ContractSite)

    /// Has the services of another process work on the site of this one.
    static void join(const QString& configuration);

    [[nodiscard]] QString configuration() const;
    /// Folder for files of the test.
    [[nodiscard]] QString folder() const { return m_folder.path(); }
    [[nodiscard]] QString path(const QString& name) const { return m_folder.filePath(name); }
    /// Writes a file for the test. @return its path in the local code page
    std::string writeFile(const QString& name, const QByteArray& content) const;

    /// Ends all connections, as the end of the program does.
    static void close();

    /// Changes one key of the configuration file, as an administrator does.
    void configure(const QString& key, const QString& value) const;

    /// @return the number of the new company
    static int addCompany(const char* code, const std::string& name);

    /// Names of all stored files at the configured location.
    static std::vector<std::string> storedNames();

    /// What is recorded of one job, or of its pre-processed files, field by field ("name=value").
    static QStringList job(const std::string& generatedName);
    static QStringList preFiles(const std::string& flowGuid);
    /// The original files, newest first ("guid generated-name stored-name suffix company-code").
    static QStringList origFiles();
    /// What the rows of the original files know of their content, newest first: "stored-name length SHA-256",
    /// and the same of a folder's content behind it; "-" where they do not know it.
    static QStringList contents();

private:
    QTemporaryDir m_folder;
};

} // namespace KOZAV::Test
