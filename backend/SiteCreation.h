#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"

#include <QString>

#include <vector>

namespace KOZAV::Backend {

/// What a site is to be like.
struct SitePlan
{
    QString configuration;     ///< absolute path of its configuration file
    QString dataRoot = {};     ///< folder of its data; empty: in the user's data folder
    SettingValues values = {}; ///< what differs from the defaults
    bool toBeFilled = false; ///< an empty part is made also beside one with content, for a migration to fill
};

/// A site as createSite() leaves it.
struct CreatedSite
{
    struct Part
    {
        QString name; ///< "database", "upload cache", ...
        QString place;
        bool made = false; ///< false: it was there
    };

    QString identity;
    std::vector<Part> parts;
};

/// Makes whatever is missing of a site: configuration, database and tables, document store, folders of the
/// caches, and the identity in the first three. Nothing else makes a site.
///
/// A configuration that is there stays, but for the identity, and must say what the plan asks for
/// (AlreadyExists). A new one gets its name when all that it names has been found to work, so a failure or an
/// interruption leaves none behind; what else was made is taken by the next run. A part that is missing is
/// not made where the other one has content: it is lost, or its disk is not mounted (Configuration). Nor are
/// parts joined that belong to different sites or do not fit by their contents.
Result<CreatedSite> createSite(const SitePlan& plan);

/// The part of it that makes the configuration where there is none, without an identity. One that is there
/// must say what the plan asks for (AlreadyExists). @return whether it was made
Result<bool> provideConfiguration(const SitePlan& plan);

} // namespace KOZAV::Backend
