// The copies of a batch are one file, the journal: a line for each manifest, with its folder and its content;
// then, appended while the batch runs, a line with the name that a folder was stored under, and one for each
// copy that was dropped. It is on the disk before the panel begins to delete manifests, which costs the batch
// one flush; what is appended is not flushed, since the program alone may end at any moment without losing
// it. Where it ended between the last row of a job and the line of its drop, or the answer to that row was
// lost, the site is asked whether it has a job of that stored name. After a crash of the machine a manifest
// may come back into the folder of a job that was imported, which loses nothing.
//
// The panel removes a manifest that it cannot read, for want of a file descriptor or a permission, and
// imports the job without its texts. So the texts of the last row are compared with those of the copy, and a
// copy that says something else is marked as kept, for which no site is asked.
//
// A press of the panel's button that does not become a click leaves copies of manifests that are all in their
// places, which the next press puts aside.

#include "host/ManifestKeeper.h"

#include "host/PanelReport.h"
#include "host/PanelRun.h"
#include "host/core/ManifestCheck.h"
#include "host/odb/WorkFolder.h"
#include "host/site/SiteAccess.h"
#include "ui/import_from_file/BatchDirectory.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QSet>

namespace KOZAV::Host {

using Backend::OperationEvent;
using Backend::OperationOutcome;
using Backend::ServiceOperation;

namespace {

/// So long a copy waits for a batch directory that is not there, such as one on a disk that is not mounted.
constexpr int mostDays = 30;

QString journalName(int batch)
{
    return QStringLiteral("/manifests-%1").arg(batch);
}

QByteArray line(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

/// Of texts as rows hold them, where half a surrogate pair is another character.
QByteArray digestOf(const QStringList& texts)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    for (const QString& text : texts) {
        const QByteArray utf8 = text.toUtf8();
        hash.addData(QByteArray::number(utf8.size()) + ' ' + utf8);
    }
    return hash.result();
}

/// What became of the copies of a journal, by their numbers.
struct Fates
{
    QSet<int> dropped;
    QHash<int, QString> storedNames;
};

Fates readFates(const QList<QByteArray>& lines)
{
    Fates fates;
    for (const QByteArray& line : lines) {
        const QJsonObject entry = QJsonDocument::fromJson(line).object();
        const QJsonValue dropped = entry.value(QStringLiteral("dropped"));
        const QJsonValue stored = entry.value(QStringLiteral("stored"));
        const QJsonValue keptAgain = entry.value(QStringLiteral("kept"));
        if (dropped.isDouble()) {
            fates.dropped.insert(dropped.toInt());
        } else if (keptAgain.isDouble()) {
            fates.dropped.remove(keptAgain.toInt());
            fates.storedNames.remove(keptAgain.toInt());
        }
        if (stored.isDouble())
            fates.storedNames.insert(stored.toInt(), entry.value(QStringLiteral("name")).toString());
    }
    return fates;
}

} // namespace

ManifestKeeper::ManifestKeeper(SiteAccess& site, const PanelRun& run, PanelReport& reports, QObject* parent)
    : QObject(parent)
    , m_site(site)
    , m_reports(reports)
{
    connect(&run, &PanelRun::begins, this, [this](const PanelSource& source) {
        if (source.kind == PanelSource::Kind::Batch)
            keep(source.path);
    });
    connect(&run, &PanelRun::ended, this, &ManifestKeeper::restore);
    connect(&site, &SiteAccess::serviceCalled, this, &ManifestKeeper::serviceCalled);
}

ManifestKeeper::~ManifestKeeper()
{
    restore();
}

void ManifestKeeper::keep(const QString& batchDirectory)
{
    restore();
    if (batchDirectory.isEmpty())
        return;
    const QString work = m_site.workDirectory();
    QSaveFile journal(work + journalName(++m_batches));
    QHash<QString, Copy> copies;
    int lines = 0;
    bool isWritten = !work.isEmpty();
    for (const QFileInfo& company : UI::batchCompanies(batchDirectory)) {
        for (const QFileInfo& job : UI::batchJobs(UI::batchEntryPath(company))) {
            if (UI::batchEntryKind(job) != UI::BatchEntryKind::JobFolder)
                continue;
            const QString folder = UI::batchEntryPath(job);
            const ManifestLook manifest = lookAtManifest(folder);
            for (const Remark& flaw : manifest.remarks)
                m_reports.current()->warn(folder, flaw);
            const auto& content = manifest.content;
            if (!content)
                continue;
            copies.insert(folder, {lines++, digestOf(manifest.texts)});
            const QByteArray copy =
                line({{QStringLiteral("folder"), folder},
                      {QStringLiteral("content"), QString::fromLatin1(content->toBase64())}});
            isWritten = isWritten && (journal.isOpen() || journal.open(QIODevice::WriteOnly)) &&
                        journal.write(copy) == copy.size();
        }
    }
    if (copies.isEmpty())
        return;
    m_journal.setFileName(journal.fileName());
    // A commit alone does not tell that the disk was full.
    if (!isWritten || !journal.flush() || !journal.commit() ||
        !m_journal.open(QIODevice::ReadWrite | QIODevice::Append | QIODevice::Unbuffered)) {
        const QString reason =
            work.isEmpty() ? QStringLiteral("there is no work folder") : journal.errorString();
        for (auto copy = copies.cbegin(); copy != copies.cend(); ++copy)
            m_reports.current()->warn(copy.key(), manifestNotKept(reason));
        return;
    }
    m_kept = copies;
}

void ManifestKeeper::keepAgain(const QString& folder)
{
    const int number = m_kept.value(folder).number;
    if (number >= 0)
        m_journal.write(line({{QStringLiteral("kept"), number}}));
}

void ManifestKeeper::serviceCalled(const OperationEvent& event)
{
    switch (event.operation) {
    case ServiceOperation::FoldersCompressSave2MongoDb:
        m_current = m_kept.contains(event.subject) ? event.subject : QString();
        m_storedName = event.storedName;
        if (!m_current.isEmpty())
            m_journal.write(line({{QStringLiteral("stored"), m_kept.value(m_current).number},
                                  {QStringLiteral("name"), m_storedName}}));
        break;
    case ServiceOperation::InputJobCompressByFolder:
        if (!m_current.isEmpty() && event.storedName == m_storedName)
            lastRowCalled(event);
        break;
    default:
        break;
    }
}

/// Of a row that was not written the copy stays as it is, and goes back.
void ManifestKeeper::lastRowCalled(const OperationEvent& event)
{
    if (event.outcome == OperationOutcome::Failed)
        return;
    const Copy copy = m_kept.value(m_current);
    const QStringList written = {event.resource, event.customer2, event.customer3};
    if (digestOf(written) != copy.digest) {
        keepAgain(m_current);
        m_reports.current()->warn(m_current, manifestNotUsed(written));
    } else if (event.outcome == OperationOutcome::Succeeded) {
        m_journal.write(line({{QStringLiteral("dropped"), copy.number}}));
    }
}

void ManifestKeeper::restore()
{
    m_kept.clear();
    m_current.clear();
    if (!m_journal.isOpen())
        return;
    m_journal.close();
    restoreFrom(m_journal.fileName());
}

void ManifestKeeper::recover()
{
    for (const QString& work : m_site.takeAbandonedWork()) {
        const QDir folder(work);
        const QStringList journals = {QStringLiteral("manifests-*")};
        for (const QString& name : folder.entryList(journals, QDir::Files))
            restoreFrom(folder.filePath(name));
        if (folder.entryList(journals, QDir::Files).isEmpty())
            m_site.removeAbandonedWork(work);
    }
}

/// Puts back what the journal has and did not drop. The journal goes when nothing in it is left to do.
void ManifestKeeper::restoreFrom(const QString& journalPath)
{
    QFile journal(journalPath);
    if (!journal.open(QIODevice::ReadWrite | QIODevice::Append | QIODevice::Unbuffered) || !journal.seek(0))
        return tellLost(journalPath, journal.errorString());
    // A journal of which a part cannot be read stays: manifests stand nowhere else.
    const QByteArray content = journal.readAll();
    if (content.size() != journal.size())
        return tellLost(journalPath, journal.errorString());
    const QList<QByteArray> lines = content.split('\n');
    const bool mayWait = QFileInfo(journal).lastModified().daysTo(QDateTime::currentDateTime()) < mostDays;
    const Fates fates = readFates(lines);
    QByteArray done;
    int waiting = 0;
    for (int number = 0; number < lines.size(); ++number) {
        const QJsonObject copy = QJsonDocument::fromJson(lines.at(number)).object();
        if (!copy.contains(QStringLiteral("folder")))
            break;
        const QString storedName = fates.storedNames.value(number);
        if (fates.dropped.contains(number) ||
            (!storedName.isEmpty() && m_site.isImported(storedName).value_or(false)))
            continue;
        const QByteArray manifest =
            QByteArray::fromBase64(copy.value(QStringLiteral("content")).toString().toLatin1());
        if (restoreOne(copy.value(QStringLiteral("folder")).toString(), manifest, mayWait))
            done += line({{QStringLiteral("dropped"), number}});
        else
            ++waiting;
    }
    if (waiting == 0)
        journal.remove();
    else
        journal.write(done);
}

/// @return false where it is to be tried again at the next start
bool ManifestKeeper::restoreOne(const QString& folder, const QByteArray& content, bool mayWait)
{
    const ManifestLook found = lookAtManifest(folder);
    if (found.content == content)
        return true;
    WorkFolder opened;
    std::error_code error = opened.open(folder);
    if (error == std::errc::no_such_file_or_directory && QFileInfo::exists(QFileInfo(folder).path())) {
        tellLost(folder, QStringLiteral("the job folder is gone"));
        return true;
    }
    if (!error)
        error = opened.publishFile(manifestName(), content);
    if (!error) {
        m_remarks << QStringLiteral("the manifest is back in %1").arg(folder);
        Q_EMIT putBack(folder);
        return true;
    }
    const bool taken = error == std::errc::file_exists;
    tellLost(folder, taken ? QStringLiteral("there is another one now") : WorkFolder::reason(error));
    return taken || !mayWait;
}

void ManifestKeeper::tellLost(const QString& folder, const QString& reason)
{
    m_remarks << QStringLiteral("the manifest of %1 could not be kept: %2").arg(folder, reason);
    Q_EMIT lost(folder, reason);
}

} // namespace KOZAV::Host
