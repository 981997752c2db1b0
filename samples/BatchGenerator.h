#pragma once

#include "samples/Manifest.h"

#include <QString>

#include <optional>
#include <vector>

namespace KOZAV::Samples {

/// A directory of companies with their jobs, as the batch import takes it.
struct BatchRequest
{
    /// Made where it is missing; must be empty where it exists.
    QString directory;
    quint64 seed = 1;
    int companies = 5;
    /// Job folders and archives of each company. From 8 on, every company has each kind of entry.
    int jobs = 8;
    /// Size of each job, unpacked.
    quint64 jobBytes = quint64{256} << 10U;
    /// Adds a company directory that no site knows.
    bool unknownCompany = false;
};

enum class EntryKind {
    Folder,  ///< a job folder
    Archive, ///< an archive that the import takes
    Refused  ///< a file that the import must not take
};

struct BatchEntry
{
    QString name;
    EntryKind kind = EntryKind::Folder;
    ManifestKind manifest = ManifestKind::None;
    ManifestTexts texts;
    /// Files in the folder, hidden ones and the manifest included, or files packed into the archive.
    quint64 files = 0;
    /// Size of these files, or of the archive.
    quint64 bytes = 0;
};

struct BatchCompany
{
    QString name;
    /// The company's code in generated job names; empty for the company that no site knows.
    QString code;
    std::vector<BatchEntry> entries;

    [[nodiscard]] bool isKnown() const { return !code.isEmpty(); }
};

struct BatchResult
{
    /// What went wrong; empty after success. A failure leaves nothing of the batch behind.
    QString error;
    std::vector<BatchCompany> companies;
    /// Files beside the companies, which the import passes over.
    std::vector<BatchEntry> outside;

    [[nodiscard]] bool ok() const { return error.isEmpty(); }
};

/// Why no batch can be made from the request; nothing where it can. Looks at the request alone, not at the
/// disk.
[[nodiscard]] std::optional<QString> invalidBatchRequest(const BatchRequest& request);

[[nodiscard]] BatchResult generateBatch(const BatchRequest& request);

} // namespace KOZAV::Samples
