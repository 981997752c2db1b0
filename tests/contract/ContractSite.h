#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <string>
#include <vector>

namespace KOZAV::Test {

/// What an implementation of the services may leave out. Tests of it are skipped then.
enum class Promise {
    SeveralPrograms, ///< several programs work on one site at the same time, and none breaks what others do
    KnownContent ///< a row of an original file knows length and SHA-256 of the stored file, and of a packed
                 ///< folder those of its content (ContractSite::contents())
};

/// A fresh site for the services to work on: empty, without companies, the operator having the number 7. Only
/// this class knows how a site is made and looked into; the tests know the services.
///
/// It is the adapter that an implementation of the services brings with it: this header is the suite's, the
/// source is the implementation's (template/ContractSite.cpp). A function that cannot do its work ends the
/// program (qFatal): a test that cannot be made has not passed. All paths are absolute.
class ContractSite final
{
public:
    /// Whether sites can be made here, such as with a server that has to be there; otherwise why not.
    static bool isAvailable(QString& reason);
    [[nodiscard]] static bool gives(Promise promise);

    /// Makes the site in folder() and has the services of this process work on it.
    ContractSite();
    /// Ends what the services have open of it.
    ~ContractSite();
    Q_DISABLE_COPY(ContractSite)

    /// Has the services of this process, which is another one, work on the site with that configuration().
    static void join(const QString& configuration);

    /// What tells another process which site this is, such as the path of a configuration file.
    [[nodiscard]] QString configuration() const;
    /// A folder of the test's own, in which the site may lie as well: in "site", where the tests write
    /// nothing.
    [[nodiscard]] QString folder() const { return m_folder.path(); }
    [[nodiscard]] QString path(const QString& name) const { return m_folder.filePath(name); }
    /// Writes a file for the test. @return its path in the local code page
    std::string writeFile(const QString& name, const QByteArray& content) const;

    /// Ends all connections, as the end of the program does; the next call of a service opens them again.
    static void close();

    /// Changes what Common::getConfig() and ZAV_StdCommon::getCurrentUser() answer from now on, as an
    /// administrator does. Keys: document_store/database, document_store/file_store, cache/upload,
    /// cache/download, robot/host, robot/port, user/id, user/name. Folders come without a separator at their
    /// end.
    void configure(const QString& key, const QString& value) const;
    /// Takes the configuration away, so that it cannot be read, and expects what the services log of that.
    void loseConfiguration() const;

    /// Has the running test fail unless the services log a failure of the operation.
    /// @param words  which the text holds; empty: any. They are those of libkozav_backend: an implementation
    ///               that says it otherwise looks for its own. QtTest hears what goes through Qt's messages;
    ///               where the log is another, there may be nothing to do here.
    static void expectFailure(const char* operation, const char* words);
    /// The same for a key that another row has, in the words of the engine.
    static void expectTakenKey(const char* operation);

    /// Adds a customer company without jobs. @return its number: 1 for the first one, and so on
    static int addCompany(const char* code, const std::string& name);

    /// Names of all stored files at the configured location, in any order; without those of other locations.
    static std::vector<std::string> storedNames();

    /// What is recorded of the job with that generated name, field by field; empty where there is none:
    /// "jobName=", "flowNo=", "state=", "subState=", "batch=", "user=", "company=" (its code), "stored=",
    /// "suffix=", "fileStore=", "resource=", "customer2=", "customer3=", "complete=". "complete=1" says that
    /// its job-compress row is there, of which "suffix=" and all from "fileStore=" on are.
    static QStringList job(const std::string& generatedName);
    /// The same of the pre-processed files of a job flow: "guid=", "jobName=", "first=", "second=", "third=",
    /// "user=", "userName=", in this order, of one file after the other.
    static QStringList preFiles(const std::string& flowGuid);
    /// The original files, newest first: "guid generated-name stored-name suffix company-code".
    static QStringList origFiles();
    /// What the rows of the original files know of their content, newest first: "stored-name length SHA-256",
    /// and the same of a folder's content behind it; "-" where they do not know it. For
    /// Promise::KnownContent; elsewhere it may be empty.
    static QStringList contents();

private:
    QTemporaryDir m_folder;
};

} // namespace KOZAV::Test
