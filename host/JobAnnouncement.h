#pragma once

#include <QString>

#include <optional>

namespace KOZAV::Host {

/// What a job-information text of the job list panel says.
struct JobAnnouncement
{
    enum class Origin { Site, Web, Robot };

    QString prefix;
    QString jobName; ///< generated job name
    Origin origin = Origin::Site;
};

/// Reads "prefix|job", "prefix|job|ISWEB" or "prefix|job|ROBOT"; nothing where the text is of no such form.
/// The prefix may hold bars, a generated job name does not.
std::optional<JobAnnouncement> readAnnouncement(const QString& jobInformation);

} // namespace KOZAV::Host
