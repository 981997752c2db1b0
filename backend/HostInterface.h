#pragma once

#include "services/ServicesExport.h"

#include <QMetaType>
#include <QString>

#include <functional>

/// @file
/// For hosts of the services: which site they work on, what becomes of each call, and how the two parts of
/// the site are. Beside the services this is all that the backend offers; a host needs none of it.

namespace KOZAV::Backend {

/// What kind of failure there was. Hosts are compiled against the numbers: new values come at the end.
enum class ErrorCode {
    None,
    InvalidArgument, ///< a name, value or location that cannot be accepted
    NotFound,
    AlreadyExists,    ///< taken by other content
    NotPermitted,     ///< the operating system or the server refuses access
    NoSpace,          ///< disk, quota or inodes exhausted
    Io,               ///< reading or writing failed
    ChangedWhileRead, ///< a source file was changed, replaced or removed while it was read
    Corrupt,          ///< stored data is not what was stored
    Configuration,    ///< the configuration is missing, broken or not usable
    Unavailable,      ///< a server or a locked database cannot be reached in time
    OutcomeUnknown,   ///< the connection was lost before the answer: the change may have been made
    Internal,
    Stopped ///< not tried, since the host has stopped the batch
};

/// The two parts that a site is made of.
enum class SitePart {
    None, ///< neither
    Rows, ///< the database
    Files ///< the document store
};

/// The operations of the services, by the names that they have there. Not among them are those that neither
/// ask a part of the site nor tell anybody anything: getConfig, getGUID, GetTimeStr. New values come at the
/// end.
enum class ServiceOperation {
    MongodbPut,
    MongodbGet,
    FoldersCompressSave2MongoDb,
    GetInputJobList,
    GetCurrentUser,
    RefreshOrigFileTable,
    SendEmitCamImportJobInfo,
    SelectCompanies,
    InputCompanies,
    UpdateBatchNumber,
    InputOrigFile,
    SelectJobFlows,
    InsertFlowBeforeOrigFile,
    UpdateUploadBatchNum,
    UpdateOrigFileGuid,
    UpdateLastOdbppImportMongoFsGuid,
    UpdateState,
    UpdatePreImportOrCheckTime,
    InputJobCompress,
    InputJobCompressByFolder,
    ReuploadRobotTgz,
    UploadPrefile2Mysql
};

/// The operation as its header calls it, such as "MongodbPut".
KOZAV_SERVICES_API QString operationName(ServiceOperation operation);

enum class OperationOutcome {
    Succeeded,
    Failed, ///< nothing was changed, or only what the operation's contract says
    Unknown ///< the answer was lost: neither a success nor a failure
};

/// One finished call of a service operation. Texts are empty and numbers as they begin here where the call
/// does not know them.
struct OperationEvent
{
    ServiceOperation operation = ServiceOperation::MongodbPut;
    OperationOutcome outcome = OperationOutcome::Succeeded;
    ErrorCode reason = ErrorCode::None;
    SitePart part = SitePart::None; ///< what answered last, or failed to; None where neither had a say in it

    QString company;       ///< its name
    QString jobName;       ///< the name that the job came with
    QString generatedName; ///< the name that the system gave it
    QString flowKey;       ///< of an insert that failed: the one that its row would have had
    QString storedName;
    qint64 storedBytes = -1; ///< length of the file that this call has stored

    QString resource; ///< of a job folder's last row: the texts that it was to hold of the manifest
    QString customer2;
    QString customer3;

    QString subject;      ///< what it was called for, in words: a folder, a name, a key
    QString message;      ///< why it did not succeed, for people
    qint64 startedMs = 0; ///< monotonic clock, milliseconds
    qint64 endedMs = 0;

    bool gaveUp = false; ///< failed without being tried: its batch has given up waiting, or was stopped
};

using OperationObserver = std::function<void(const OperationEvent&)>;

/// Has every service operation of this process reported to observer when it ends, on the thread that called
/// it, before it returns; an empty function ends that. An exception that observer throws goes no further. A
/// call that is just ending on another thread may still tell the observer before.
KOZAV_SERVICES_API void setOperationObserver(OperationObserver observer);

/// What an import waits for, as it is told while it waits.
struct ServiceWait
{
    enum class Cause {
        Part,       ///< a server of the site that does not answer
        Company,    ///< another import of the same company
        CompanyLost ///< no wait: the import has lost its company to another one, which the reason tells
    };

    Cause cause = Cause::Part;
    SitePart part = SitePart::None; ///< the one that does not answer
    QString company;                ///< the one that is held, or whose batch waits
    QString holder;                 ///< who holds it, in words
    QString reason;                 ///< what the last try said, in words
    qint64 waitedMs = 0;
    qint64 patienceMs = 0; ///< how long it waits at most
    bool over = false;     ///< it waits no longer
    bool gaveUp = false;   ///< it is over since the patience is used up, not since the import can go on
};

using WaitObserver = std::function<void(const ServiceWait&)>;

/// Has every wait of an import in this process told to observer: about four times a second, but not while a
/// try is under way, and once when it is over. It is called on the thread that waits, which goes on when it
/// returns; an empty function ends that. An exception that observer throws goes no further.
KOZAV_SERVICES_API void setWaitObserver(WaitObserver observer);

/// How far a service operation is that takes its time.
struct WorkProgress
{
    enum class Stage {
        Listing,  ///< looks through a folder
        Packing,  ///< of a folder's files, in bytes before compression
        Reading,  ///< of a file, to know its content
        Copying,  ///< of a file, within this machine
        Sending,  ///< of a file, to a server
        Fetching, ///< of a file, from a server
        Flushing  ///< has what was written brought to the disk
    };

    ServiceOperation operation = ServiceOperation::MongodbPut;
    QString subject; ///< what it was called for, as its event will say
    Stage stage = Stage::Listing;
    qint64 done = -1;  ///< bytes of this stage; -1 where it has none
    qint64 total = -1; ///< all that the stage has
};

using WorkObserver = std::function<void(const WorkProgress&)>;

/// Has every service operation of this process tell observer how far it is, on the thread that called it:
/// about every 50 ms while it works, not while it waits for an answer of a server or a lock. The operation
/// goes on when observer returns, which may call no service on that thread; an empty function ends that. An
/// exception that observer throws goes no further.
KOZAV_SERVICES_API void setWorkObserver(WorkObserver observer);

/// Has the batch that the calling thread imports get no further entry: the entry that is under way goes on to
/// its end, each one after it, and each further company, fails with Stopped before anything is tried. Their
/// events say that they were given up. The batch number of the company that the batch is at is written
/// nevertheless, since its jobs have it. Ends with the batch; without effect outside of one.
/// @param reason  in words, for messages
KOZAV_SERVICES_API void refuseImports(const QString& reason);

/// Has the services work on the site of a configuration file from now on.
/// Nothing of a site is ever made by that: every operation fails while the file, the database or the store
/// that it names is missing or belongs to another site, and the message says what to do. "zav_admin init"
/// makes a site.
/// @param path  the file; empty: $ZAV_CONFIG; without that the one in the user's configuration folder, and
///              where none is there the machine's, /etc/zav_import/zav.ini
KOZAV_SERVICES_API void setConfigurationFile(const QString& path);
[[nodiscard]] KOZAV_SERVICES_API QString configurationFile();

/// What a look at one part of a site tells. Holds no password.
struct ServiceHealth
{
    QString engine;      ///< name and version, such as "MariaDB 10.11.6"
    QString place;       ///< file, folder, or host, port and name
    bool remote = false; ///< reached over a network connection or socket
    QString encryption; ///< protocol of an encrypted connection, such as "TLSv1.3"; empty where there is none
    QString topology;   ///< how several servers make the engine, in a few words; empty where it is one
    double latencyMs = 0; ///< of the fastest of a few small requests
    QString failure;      ///< why it could not be asked; then only the place is known, if that

    [[nodiscard]] bool isReachable() const { return failure.isEmpty(); }
};

/// Asks the rows or the files of the services' site, over a connection of the calling thread, which is opened
/// where it is not. Takes as long as the time-outs of the configuration allow.
KOZAV_SERVICES_API ServiceHealth healthOf(SitePart part);

} // namespace KOZAV::Backend

Q_DECLARE_METATYPE(KOZAV::Backend::OperationEvent)
Q_DECLARE_METATYPE(KOZAV::Backend::ServiceWait)
Q_DECLARE_METATYPE(KOZAV::Backend::WorkProgress)
