// How a confirmed job becomes an open one. The job list panel announces it and returns; what follows must not
// hold up the window, so the stored file is fetched and unpacked on a thread of the pool, and only signals
// come back. The file goes through the panel's own retrieval, into a work folder of this program's own, so
// that two clients on one machine do not meet, and what is left when the program is ended goes with that
// folder. The store has compared the file with its own sum, which would change places with the file: here it
// is compared with the job's row.
//
// hasImportSuccess() is emitted last and only for a job whose matrix could be read: the panel stamps the flow
// and asks the robot as soon as it hears it. One job is imported at a time, since that signal names none.

#include "host/CamImport.h"

#include "host/core/RunGate.h"
#include "host/odb/JobUnpacker.h"
#include "services/common/Common.h"
#include "services/ui/ZAV_UICommon.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>
#include <QtConcurrent>

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

CamImport::CamImport(SiteAccess& site, UI::ZAV_ImportFromFile_Widget& panel, QObject* parent)
    : QObject(parent)
    , m_site(site)
    , m_panel(&panel)
{
    connect(UI::ZAV_UICommon::interface(), &UI::ZAV_UICommon::emitCAMImportJobInfo, this,
            &CamImport::announced);
    // The panels ask the robot when they hear of it.
    connect(&m_watcher, &QFutureWatcherBase::finished, this, [this] {
        m_isOver = true;
        RunGate::whenOpen(this, [this] { finished(); });
    });
}

CamImport::~CamImport()
{
    cancel();
    m_watcher.waitForFinished();
}

void CamImport::cancel()
{
    m_cancelled = true;
}

void CamImport::announced(const QString& jobInformation)
{
    const auto announcement = readAnnouncement(jobInformation);
    if (!announcement)
        Q_EMIT failed(jobInformation, tr("the job information cannot be read"));
    else if (isRunning())
        Q_EMIT failed(announcement->jobName, tr("%1 is being opened; please wait").arg(m_jobName));
    else
        start(announcement->jobName);
}

void CamImport::start(const QString& jobName)
{
    const auto job = m_site.jobNamed(jobName);
    if (!job || job->storedName.isEmpty()) {
        Q_EMIT failed(jobName, tr("the database names no stored file of this job"));
        return;
    }
    m_jobName = jobName;
    m_cancelled = false;
    const QString work = m_site.workDirectory();
    m_workFolder = std::make_unique<QTemporaryDir>(work + QStringLiteral("/job-XXXXXX"));
    if (work.isEmpty() || !m_workFolder->isValid()) {
        Q_EMIT failed(jobName, work.isEmpty() ? tr("no work folder can be made in the download cache")
                                              : m_workFolder->errorString());
        return;
    }
    Q_EMIT started(jobName);
    m_watcher.setFuture(QtConcurrent::run(this, &CamImport::importStoredFile, *job,
                                          m_site.storedBytes(job->storedName), m_workFolder->path()));
}

CamImport::Outcome CamImport::importStoredFile(const ImportedJob& job, qint64 storedBytes,
                                               const QString& workFolder)
{
    Q_EMIT progressed(-1, storedBytes);
    const QString archive = fetch(job.storedName, workFolder);
    if (archive.isEmpty())
        return {{}, tr("the stored file %1 cannot be fetched").arg(job.storedName), {}};
    if (!SiteAccess::isAsImported(job, archive)) {
        QFile::remove(archive);
        return {{},
                tr("the stored file %1 does not have the content with which the job %2 was imported")
                    .arg(job.storedName, job.generatedName),
                {}};
    }
    return openFetched(archive, storedBytes, workFolder);
}

CamImport::Outcome CamImport::openFetched(const QString& archive, qint64 storedBytes,
                                          const QString& workFolder)
{
    UnpackRequest request;
    request.archive = archive;
    request.folder = workFolder + QStringLiteral("/job");
    request.cancelled = &m_cancelled;
    request.progress = [this, storedBytes](qint64 done) { Q_EMIT progressed(done, storedBytes); };
    const UnpackResult unpacked = unpackJob(request);
    QFile::remove(archive);
    if (unpacked.cancelled)
        return {{}, tr("cancelled"), {}};
    if (!unpacked.ok())
        return {{}, unpacked.error, {}};
    OdbJob job = openOdbJob(request.folder);
    const QString error = job.error;
    return {std::move(job), error, unpacked.warnings};
}

QString CamImport::fetch(const QString& storedName, const QString& workFolder)
{
    const QFileInfo name(storedName);
    const auto config = Common::commonInterface()->getConfig();
    const QDir cache(QString::fromStdString(config.downloadCacheDir));
    const QString local = cache.relativeFilePath(workFolder + QStringLiteral("/archive"));
    m_panel->getFilesFrommogodbUuidTypeOriginName(local, name.completeBaseName(), name.suffix());
    const QString path = cache.filePath(local) + QLatin1Char('.') + name.suffix();
    return QFile::exists(path) ? path : QString();
}

void CamImport::finished()
{
    m_isOver = false;
    const Outcome outcome = m_watcher.result();
    if (!outcome.error.isEmpty()) {
        m_workFolder.reset();
        Q_EMIT failed(m_jobName, outcome.error);
    } else {
        Q_EMIT opened(m_jobName, outcome.job);
        for (const QString& warning : outcome.warnings)
            Q_EMIT warned(m_jobName, warning);
        Q_EMIT UI::ZAV_UICommon::interface()->hasImportSuccess();
    }
    Q_EMIT ended();
}

} // namespace KOZAV::Host
