#include "host/JobAnnouncement.h"

#include <QStringList>

namespace KOZAV::Host {

std::optional<JobAnnouncement> readAnnouncement(const QString& jobInformation)
{
    QStringList fields = jobInformation.split(QLatin1Char('|'));
    JobAnnouncement announcement;
    if (fields.size() > 2 && fields.last() == QLatin1String("ISWEB"))
        announcement.origin = JobAnnouncement::Origin::Web;
    else if (fields.size() > 2 && fields.last() == QLatin1String("ROBOT"))
        announcement.origin = JobAnnouncement::Origin::Robot;
    if (announcement.origin != JobAnnouncement::Origin::Site)
        fields.removeLast();
    if (fields.size() < 2 || fields.last().isEmpty())
        return std::nullopt;
    announcement.jobName = fields.takeLast();
    announcement.prefix = fields.join(QLatin1Char('|'));
    return announcement;
}

} // namespace KOZAV::Host
