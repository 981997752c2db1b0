#pragma once

#include "host/core/Remark.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace KOZAV::Host {

struct PanelSource;

/// An entry that the import of a batch directory comes to.
struct ListedEntry
{
    QString company;
    QString name;
    QString path;
    bool isFolder = false;
    Remark refusal; ///< of a file that the import passes over for its suffix; its code is empty for others

    [[nodiscard]] bool isAccepted() const { return refusal.code.isEmpty(); }
};

/// What lies in a batch directory and the import does not look at, or a folder that it cannot look into.
struct UnseenEntry
{
    QString company;
    QString name;
    QString path; ///< empty where the name on the disk is no text
    Remark reason;
};

/// Something to be known of a path in a batch directory.
struct ToldSource
{
    QString path;
    Remark remark;
};

/// What a batch directory holds. A single source is listed as a batch of one entry.
struct BatchListing
{
    QStringList companies;            ///< names of the company folders, in the order of the import
    std::vector<ListedEntry> entries; ///< in the order of the import
    std::vector<UnseenEntry> unseen;
    std::vector<ToldSource> remarks; ///< of links that lead out of it
};

/// Lists what the panel is to import, by the rules of the import; nothing where nothing was chosen.
BatchListing listSource(const PanelSource& source);

} // namespace KOZAV::Host
