#pragma once

#include "samples/Random.h"

#include <QByteArray>
#include <QString>

namespace KOZAV::Samples {

/// What the readme.json of a job folder is like.
enum class ManifestKind {
    None,       ///< there is no such file
    Good,       ///< all three texts, and a member that no reader knows
    Partial,    ///< "customer3" only
    WrongTypes, ///< all three members, none of them a text
    Broken      ///< no valid JSON
};

/// The texts that a reader finds in the manifest; those that it does not find are empty.
struct ManifestTexts
{
    QString resource;
    QString customer2;
    QString customer3;
};

/// "none", "good", "partial", "wrong-types" or "broken".
[[nodiscard]] QString manifestKindName(ManifestKind kind);

[[nodiscard]] ManifestTexts manifestTexts(ManifestKind kind, Random random);

/// Content of the file; for every kind but None.
[[nodiscard]] QByteArray manifestFile(ManifestKind kind, const ManifestTexts& texts);

} // namespace KOZAV::Samples
