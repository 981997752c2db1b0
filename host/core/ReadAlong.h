#pragma once

#include "host/core/ArchiveCheck.h"

#include <QMutex>
#include <QString>
#include <QThread>
#include <QWaitCondition>

#include <atomic>
#include <deque>
#include <vector>

namespace KOZAV::Host {

/// Reads archives while their import goes on, on a thread that runs when nobody else wants to, so that it
/// costs the import nothing.
class ReadAlong final : public QThread
{
    Q_OBJECT
public:
    /// An archive that was stored, and where it may be read: the first of the two that is there.
    struct Archive
    {
        QString storedName;
        QString stagedCopy;
        QString source;
    };
    struct Read
    {
        Archive archive;
        ArchiveFlaw flaw;
    };

    explicit ReadAlong(QObject* parent = nullptr);
    /// Ends without reading what is left.
    ~ReadAlong() override;

    /// Starts the thread with the first one.
    void add(const Archive& archive);
    /// What was read since the last call, in the order of reading.
    [[nodiscard]] std::vector<Read> takeRead();
    /// Reads what is left, on all cores, and returns when all is read.
    void finish();

Q_SIGNALS:
    /// There is something to take; on the reading thread.
    void hasRead();

protected:
    void run() override;

private:
    [[nodiscard]] ArchiveFlaw check(const Archive& archive) const;

    QMutex m_mutex;
    QWaitCondition m_changed;
    std::deque<Archive> m_waiting; ///< the first may be being read
    std::vector<Read> m_read;
    std::atomic<bool> m_cancelled{false};
};

} // namespace KOZAV::Host
