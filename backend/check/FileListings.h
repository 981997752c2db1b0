#pragma once

#include "backend/records/SiteAudit.h"
#include "backend/store/DocumentStore.h"

#include <QString>

#include <set>
#include <string>
#include <vector>

namespace KOZAV::Backend {

class Database;

/// How many rows are read at once.
constexpr int pageRows = 1000;

/// A flaw of a store, and the job whose file it is.
struct NamedFlaw
{
    StoreFlaw flaw;
    QString job;
    bool isNamed = false; ///< a row names the file that the flaw is of
};

/// The stored files of one file store, by name, on their way through the comparison with rows.
struct Listing
{
    StoreLocation location;
    DocumentStore::FilePages pages; ///< none for a file store that is new since the beginning
    std::vector<StoredFile> page;
    std::size_t next = 0;
    std::vector<FileRow> rows;             ///< those that name the next file
    std::vector<NamedFlaw> flaws;          ///< sorted by name
    std::set<std::string> namedByLastRows; ///< of jobs whose original-file row does not

    /// Takes over what the store finds wrong by itself.
    Status survey(DocumentStore& store);
    /// Begins the listing.
    Status open(DocumentStore& store);
    /// Reads the next page where this one is at its end.
    Status fill();
    /// The next file; null behind the last. To be called after fill().
    [[nodiscard]] const StoredFile* file() const { return next < page.size() ? &page[next] : nullptr; }

    /// Marks the flaws of that name with the job of a row, and those of the file itself as named. @return
    /// hasFlaw()
    bool joinFlaws(const std::string& name, const FileRow& row);
    /// Whether something is wrong with the file itself.
    [[nodiscard]] bool hasFlaw(const std::string& name) const;
};

/// The rows of all original files in the order of their stored names, read in pages.
class FileRows final
{
public:
    explicit FileRows(Database& database);

    /// The next row; null behind the last.
    Result<const FileRow*> peek();
    FileRow take() { return std::move(m_page[m_at++]); }

private:
    Status readPage();

    Database& m_database;
    FileRowPlace m_place;
    std::vector<FileRow> m_page;
    std::size_t m_at = 0;
    bool m_atEnd = false;
};

} // namespace KOZAV::Backend
