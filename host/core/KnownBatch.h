#pragma once

#include "host/core/BatchReport.h"
#include "host/core/SourceContents.h"

#include <QString>

#include <atomic>
#include <functional>
#include <vector>

namespace KOZAV::Host {

class SiteAccess;

/// A batch directory without what the site has already: entries whose content the same company has in a
/// complete job that is neither failed nor taken back, and entries whose content comes before in the same
/// company folder. What cannot be read is left to the import, which tells why.
class KnownBatch final
{
public:
    using Progress = std::function<void(double fraction, const QString& details)>;

    /// @param directory  of the batch, absolute
    KnownBatch(SiteAccess& site, const QString& directory);
    /// Removes the stand-in.
    ~KnownBatch();
    Q_DISABLE_COPY(KnownBatch)

    /// Reads, with all cores, what may be known, and asks the site.
    /// @param cancelled  set by another thread or a signal to have it end early: then it says nothing
    /// @return why the site cannot be asked; empty on success
    [[nodiscard]] QString compare(const Progress& progress, const std::atomic<bool>& cancelled);
    /// Whether anything is left to be imported.
    [[nodiscard]] bool isEmpty() const;
    /// Makes a directory for the panel, in the work directory: real company folders, and a link for each
    /// entry that is left. @return why it cannot be made; empty on success
    [[nodiscard]] QString makeStandIn();
    [[nodiscard]] const BatchStandIn& standIn() const { return m_standIn; }

private:
    void list();
    void measure(const Progress& progress, const std::atomic<bool>& cancelled);
    static void read(const std::vector<ComparedSource*>& sources, const Progress& progress,
                     const std::atomic<bool>& cancelled);
    [[nodiscard]] QString leaveOutKnown();

    SiteAccess& m_site;
    std::vector<ComparedSource> m_sources;
    BatchStandIn m_standIn;
};

} // namespace KOZAV::Host
