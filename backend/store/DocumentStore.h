#pragma once

#include "backend/ServiceHealth.h"
#include "backend/Status.h"
#include "backend/config/Settings.h"
#include "backend/io/FileCopy.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace KOZAV::Backend {

class GrowingFile;

/// Where a file store lies: the two location texts of the service operations. UTF-8.
struct StoreLocation
{
    std::string database;
    std::string fileStore;
};

/// The file store that the settings name, or another one of the same database.
StoreLocation storeLocation(const DocumentStoreSettings& settings);
StoreLocation storeLocation(const DocumentStoreSettings& settings, std::string fileStore);

/// What a store knows of one file.
struct StoredFile
{
    std::string name; ///< UTF-8, byte for byte as it was given
    qint64 length = 0;
    QByteArray sha256;  ///< lower-case hexadecimal
    QDateTime storedAt; ///< UTC
};

/// A file that was taken out of the store and can be put back: it is neither found, listed nor fetched.
struct QuarantinedFile
{
    StoredFile file;
    QDateTime since; ///< UTC
};

/// Something of a location that a listing does not show, and that should not be there or should be otherwise.
struct StoreFlaw
{
    enum class Kind {
        SumUnreadable,     ///< what the store knows of the file cannot be understood
        WrongLength,       ///< the content has another length than it should have
        NotRegular,        ///< a folder, a link, a device in the place of a content
        DataWithoutSum,    ///< content that nothing is known of
        SumFileDiffers,    ///< a local store's content carries a sum that its sum file does not say
        SumWithoutData,    ///< knowledge of a content that is not there
        LeftoverTemp,      ///< a temporary file of an interrupted program
        ChunksMissing,     ///< GridFS: the file has fewer chunks than its length asks for
        ChunksSurplus,     ///< GridFS: the file has more
        ChunksWithoutFile, ///< GridFS: chunks of an interrupted upload
        IndexMissing       ///< GridFS: without it names are not unique, or reading takes long
    };

    Kind kind = Kind::SumUnreadable;
    std::string name;  ///< of the stored file; else what the store calls it
    QString text;      ///< one clause for people
    qint64 bytes = -1; ///< that it takes up; -1 where that is not known
    QDateTime since;   ///< UTC; invalid where that is not known
};

/// What the caller knows of the name that it stores a file under.
enum class NameUse {
    MayBeTaken,
    Fresh ///< made for this file and given to nobody: a store need not look whether something has it
};

/// A store of whole files by name. Local paths are in the local 8-bit code page.
///
/// All implementations: a put or adopt that succeeds is durable; one that fails leaves nothing under the name
/// that was not there before; a name is never given other content; a get checks length and SHA-256 and
/// replaces its target as a whole. Names and locations that could leave their place ("", ".", "..", "/", NUL)
/// are InvalidArgument. No exception leaves a store.
class DocumentStore
{
public:
    virtual ~DocumentStore();
    DocumentStore() = default;
    Q_DISABLE_COPY(DocumentStore)

    /// Stores a copy of the file at localPath. The same content under the name already is a success.
    Result<StoredFile> put(const StoreLocation& location, const std::string& name,
                           const std::string& localPath, NameUse use = NameUse::MayBeTaken);

    /// Stores the file at localPath and removes it; moves it where that is cheaper than copying.
    /// On failure the file is still there.
    Result<StoredFile> adopt(const StoreLocation& location, const std::string& name,
                             const std::string& localPath, NameUse use = NameUse::MayBeTaken);

    /// The same for a file that another thread is still writing, which is found at localPath once it is
    /// finished: storing begins with what is final of it. Where the writer fails nothing is stored, and its
    /// failure is returned. Where the store fails the file is given up, unless for want of an answer: then
    /// it can be adopted later.
    Result<StoredFile> adoptGrowing(const StoreLocation& location, const std::string& name,
                                    const std::string& localPath, GrowingFile& growing,
                                    NameUse use = NameUse::MayBeTaken);

    /// Writes the stored file to localPath. A regular file there is replaced as a whole; anything else there
    /// is InvalidArgument and stays: a folder, a link, a device.
    Status get(const StoreLocation& location, const std::string& name, const std::string& localPath);

    /// Is told of bytes as they are read.
    using ReadObserver = std::function<void(qint64 bytes)>;

    /// Reads the stored file through, with one core, and compares it with what was stored: Corrupt where it
    /// is not that. @return length and SHA-256, also of a file whose SHA-256 the store does not know
    Result<ContentDigest> verify(const StoreLocation& location, const std::string& name,
                                 const ReadObserver& onBytes = {});

    /// What is stored under the name; NotFound where nothing is.
    Result<StoredFile> find(const StoreLocation& location, const std::string& name);

    /// All stored files of the location, by name.
    Result<std::vector<StoredFile>> list(const StoreLocation& location);

    /// Gives the next stored files of a location, by name, with each call, and none behind the last.
    using FilePages = std::function<Result<std::vector<StoredFile>>()>;

    /// The same as list(), in pages: for locations of very many files. Each page tells what is stored when it
    /// is asked for. The store outlives what it gives.
    Result<FilePages> listInPages(const StoreLocation& location);

    /// Removes a stored file; NotFound where nothing is.
    Status remove(const StoreLocation& location, const std::string& name);

    /// Which of the names are stored, by name; names that no file can have are not. As in a listing, damaged
    /// files are there as well.
    Result<std::vector<StoredFile>> findSome(const StoreLocation& location,
                                             const std::vector<std::string>& names);

    /// Takes a file out of the store, where it can be put back from. Readers see it stored or not stored;
    /// whatever interrupts this, it is stored or in quarantine. The name is free then. NotFound where nothing
    /// is stored; AlreadyExists where an earlier file of the name is in quarantine.
    Status quarantine(const StoreLocation& location, const std::string& name);

    /// What is in quarantine, by name, damaged files included.
    Result<std::vector<QuarantinedFile>> listQuarantine(const StoreLocation& location);

    /// As get() for a file in quarantine, which stays there. NotFound where it has none of the name; Corrupt
    /// also where its hash is not known.
    Status getQuarantined(const StoreLocation& location, const std::string& name,
                          const std::string& localPath);

    /// Puts a file back as it was. NotFound where the quarantine has none of the name; AlreadyExists where
    /// the name is stored anew.
    Status restoreQuarantined(const StoreLocation& location, const std::string& name);

    /// Removes a file from the quarantine, for good; NotFound where none of the name is there.
    Status purgeQuarantined(const StoreLocation& location, const std::string& name);

    /// The identity of the site that the location belongs to; empty where it has none.
    Result<QString> siteMark(const StoreLocation& location);

    /// Marks the location, which is made where it is missing, as one of this site. AlreadyExists where it is
    /// another's.
    Status setSiteMark(const StoreLocation& location, const QString& identity);

    /// Looks for what a listing does not show, without reading contents and in bounded memory. What others
    /// are doing meanwhile is no flaw.
    Result<std::vector<StoreFlaw>> survey(const StoreLocation& location);

    /// Mends a flaw that a survey has found, as long as that is still there: removes a leftover
    /// (SumWithoutData, LeftoverTemp, ChunksWithoutFile), moves content that nothing is known of to the
    /// quarantine (DataWithoutSum), writes a sum file (SumFileDiffers), makes an index (IndexMissing). All
    /// others are InvalidArgument: they are damage.
    Status removeFlaw(const StoreLocation& location, const StoreFlaw& flaw);

    /// Asks the engine for its version and how fast it answers.
    Result<ServiceHealth> health();

protected:
    /// Puts the file, then removes it. The folder that it lies in may be written.
    virtual Result<StoredFile> adoptFile(const StoreLocation& location, const std::string& name,
                                         const std::string& localPath, NameUse use);

    /// Waits for the whole file and adopts it.
    virtual Result<StoredFile> adoptGrowingFile(const StoreLocation& location, const std::string& name,
                                                const std::string& localPath, GrowingFile& growing,
                                                NameUse use);

private:
    // Where the kinds of store differ. The two checks are asked first: the others get what these accept.
    [[nodiscard]] virtual Status checkLocation(const StoreLocation& location) const;
    [[nodiscard]] virtual Status checkName(const std::string& name) const;

    virtual Result<StoredFile> putFile(const StoreLocation& location, const std::string& name,
                                       const std::string& localPath, NameUse use) = 0;
    virtual Status getFile(const StoreLocation& location, const std::string& name,
                           const std::string& localPath) = 0;
    virtual Result<ContentDigest> verifyFile(const StoreLocation& location, const std::string& name,
                                             const ReadObserver& onBytes) = 0;
    virtual Result<StoredFile> findFile(const StoreLocation& location, const std::string& name) = 0;
    virtual Result<std::vector<StoredFile>> listFiles(const StoreLocation& location) = 0;
    virtual Result<FilePages> filePages(const StoreLocation& location) = 0;
    virtual Status removeStored(const StoreLocation& location, const std::string& name) = 0;
    /// @param names  sorted, each once
    virtual Result<std::vector<StoredFile>> findFiles(const StoreLocation& location,
                                                      const std::vector<std::string>& names) = 0;
    virtual Status quarantineFile(const StoreLocation& location, const std::string& name) = 0;
    virtual Result<std::vector<QuarantinedFile>> listQuarantined(const StoreLocation& location) = 0;
    virtual Status getQuarantinedFile(const StoreLocation& location, const std::string& name,
                                      const std::string& localPath) = 0;
    virtual Status restoreFile(const StoreLocation& location, const std::string& name) = 0;
    virtual Status purgeFile(const StoreLocation& location, const std::string& name) = 0;
    virtual Result<QString> readSiteMark(const StoreLocation& location) = 0;
    virtual Status writeSiteMark(const StoreLocation& location, const QString& identity) = 0;
    virtual Result<std::vector<StoreFlaw>> surveyLocation(const StoreLocation& location) = 0;
    virtual Status mendFlaw(const StoreLocation& location, const StoreFlaw& flaw) = 0;
    virtual Result<ServiceHealth> engineHealth() = 0;

    template <typename Work>
    auto onLocation(const char* task, const StoreLocation& location, Work&& work) -> decltype(work());
    template <typename Work>
    auto onName(const char* task, const StoreLocation& location, const std::string& name, Work&& work)
        -> decltype(work());
};

/// Makes the store that the settings choose.
Result<std::unique_ptr<DocumentStore>> openDocumentStore(const DocumentStoreSettings& settings);

} // namespace KOZAV::Backend
