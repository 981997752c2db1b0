#pragma once

#include "host/core/Remark.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace KOZAV::Host {

/// What a look at the job manifest of a folder tells, before a batch import uses it up.
struct ManifestLook
{
    std::optional<QByteArray> content; ///< nothing where there is none, or none that could be kept
    QStringList texts;                 ///< of the content: resource, customer2 and customer3, empty where
                                       ///< the import takes none from it
    std::vector<Remark> remarks;       ///< what the import will not use, or not store as it is
    QString refusal;                   ///< why the site takes no job with these texts; empty where it does
};

/// The name of a job manifest in its folder.
QString manifestName();

/// Reads the manifest of a job folder, where it is a regular file of a length that one may have, and judges
/// it. A link is not followed, and nothing is waited for.
ManifestLook lookAtManifest(const QString& folder);

/// That no copy of a manifest is kept, and why.
Remark manifestNotKept(const QString& reason);

/// That the row of a job was written with other texts than those of its manifest.
/// @param written  its texts, in the order of ManifestLook::texts
Remark manifestNotUsed(const QStringList& written);

} // namespace KOZAV::Host
