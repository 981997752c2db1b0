// The job-information text: written by the job list panel, read by the host. The first byte of an input is
// the panel's mode; behind it lie, parted by line feeds, source name, file name and job name, and the whole
// of it is read as a text of some other panel too.

#include "host/CamImport.h"
#include "services/ui/Import_Info.h"
#include "tests/fuzz/FuzzTarget.h"
#include "ui/import_list/JobInformation.h"

#include <QStringList>

namespace KOZAV::Test {

namespace {

using Host::JobAnnouncement;
using Host::readAnnouncement;
using Origin = JobAnnouncement::Origin;

QString suffixOf(Origin origin)
{
    if (origin == Origin::Site)
        return {};
    return origin == Origin::Web ? QStringLiteral("|ISWEB") : QStringLiteral("|ROBOT");
}

/// What was read names a job, and is the whole text.
QString readingViolation(const QString& text, const std::optional<JobAnnouncement>& announcement)
{
    const bool due = text.contains(QLatin1Char('|')) && !text.endsWith(QLatin1Char('|'));
    if (!announcement)
        return due && !text.contains(QLatin1String("||")) ? QStringLiteral("'%1' is refused").arg(text)
                                                          : QString();
    if (announcement->jobName.isEmpty() || announcement->jobName.contains(QLatin1Char('|')))
        return QStringLiteral("the job is '%1'").arg(announcement->jobName);
    if (announcement->prefix + QLatin1Char('|') + announcement->jobName + suffixOf(announcement->origin) !=
        text)
        return QStringLiteral("'%1' is read as another text").arg(text);
    return {};
}

/// A generated job name: a code and at least six digits, without a bar.
bool isGeneratedName(const QString& name)
{
    return !name.isEmpty() && name.back().isDigit() && !name.contains(QLatin1Char('|'));
}

/// What the panel writes of a generated name is read as it was meant.
QString writingViolation(int mode, const QStringList& parts)
{
    const QString jobName = parts.value(2);
    if (!isGeneratedName(jobName))
        return {};
    const UI::Import_Info info{"key", jobName.toStdString(), parts.value(0).toStdString(), "company",
                               parts.value(1)};
    const auto announcement = readAnnouncement(UI::jobInformation(mode, info, jobName));
    const Origin origin = mode >= 1 ? Origin::Robot : parts.value(1).isEmpty() ? Origin::Site : Origin::Web;
    if (!announcement || announcement->jobName != jobName || announcement->origin != origin)
        return QStringLiteral("'%1' is not read as announced").arg(jobName);
    if (announcement->prefix != QString::fromStdString(info.sourceName) &&
        !parts.value(1).startsWith(announcement->prefix))
        return QStringLiteral("the prefix is '%1'").arg(announcement->prefix);
    return {};
}

FuzzVerdict check(const QByteArray& input)
{
    const int mode = input.isEmpty() ? -1 : static_cast<unsigned char>(input.front()) % 3 - 1;
    const QString text = QString::fromUtf8(input.constData() + 1, qMax(0, input.size() - 1));
    const auto announcement = readAnnouncement(text);
    QString violation = readingViolation(text, announcement);
    if (violation.isEmpty())
        violation = writingViolation(mode, text.split(QLatin1Char('\n')));
    if (!announcement)
        return {violation, "refused"};
    return {violation, announcement->origin == Origin::Site  ? "site"
                       : announcement->origin == Origin::Web ? "web"
                                                             : "robot"};
}

const RegisteredFuzzTarget registered({"announcement",
                                       check,
                                       {"|", "||", "|ISWEB", "|ROBOT", "|isweb", "AB000001", "\n", ".",
                                        ".tgz", "0", "\xe7\x94\xb2", "\xff", QByteArray(1, '\0')},
                                       {"refused", "site", "web", "robot"},
                                       50'000});

} // namespace

} // namespace KOZAV::Test
