#pragma once

#include "host/site/SiteSettings.h"

#include <QString>
#include <QStringList>

namespace KOZAV::Host {

/// What a client's first start is to make.
struct FirstSitePlan
{
    QString configuration; ///< absolute path of its file
    QString dataRoot;      ///< absolute path of the folder of its data
    /// What differs from the defaults: the servers, by their keys.
    SettingChanges values;
};

/// What became of it.
struct FirstSite
{
    QString configuration;
    QStringList places; ///< what it is made of, "name: place"
    QString failure;    ///< why there is no site; empty where there is one
};

/// An embedded site at the default places.
[[nodiscard]] FirstSitePlan defaultSitePlan();

/// Makes a site as "zav_admin init" does. On any thread; as slow as its servers.
[[nodiscard]] FirstSite makeSite(const FirstSitePlan& plan);

/// Looks at rows and files as such a site would have them. Makes nothing.
[[nodiscard]] std::vector<ConnectionLook> lookAtPlan(const FirstSitePlan& plan);

/// Why a file is no configuration that can be used; empty where it is one.
[[nodiscard]] QString flawOfConfiguration(const QString& path);

} // namespace KOZAV::Host
