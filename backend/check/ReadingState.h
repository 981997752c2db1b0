#pragma once

#include "backend/Status.h"
#include "backend/io/FileLock.h"

#include <QDateTime>
#include <QString>

#include <memory>
#include <optional>
#include <set>
#include <string>

namespace KOZAV::Backend {

/// A place among the stored files of a site: they are read in the order of their names, those of one name in
/// the order of their file stores.
struct ReadingPlace
{
    std::string name;
    std::string fileStore;

    bool operator<(const ReadingPlace& other) const
    {
        return name != other.name ? name < other.name : fileStore < other.fileStore;
    }
};

/// How far a reading of all stored files has come, kept in a small file of the download cache, so that one
/// that was interrupted can be gone on with. One check of a site at a time keeps it.
class ReadingState final
{
public:
    /// @param site    names the site: a state of another one is none
    /// @param goOn    whether what an interrupted reading left is to be gone on with, as far as it is not a
    ///                week old
    /// Unavailable where another check keeps the state.
    static Result<std::unique_ptr<ReadingState>> open(const QString& downloadCache, const QString& site,
                                                      bool goOn);

    /// Whether the file was read before the interruption, and found to be what was stored.
    [[nodiscard]] bool isRead(const ReadingPlace& place, const QDateTime& storedAt) const;

    /// Writes the place down, unless the reading is at its end.
    ~ReadingState();
    Q_DISABLE_COPY(ReadingState)

    /// When the reading that is gone on with had begun; invalid where none is.
    [[nodiscard]] QDateTime wentOnFrom() const { return m_before ? m_before->begun : QDateTime(); }

    /// Everything up to there is read. Written down at most every two seconds; a cache that cannot be written
    /// only costs the going on.
    void reached(const ReadingPlace& place);
    /// The file is to be read again by whoever goes on.
    void notGood(const ReadingPlace& place);

    /// The reading is at its end: there is nothing to go on with.
    void finish();

private:
    struct Before
    {
        QDateTime begun;
        ReadingPlace place;
        std::set<ReadingPlace> notGood;
    };

    ReadingState(QString path, QString site, FileLock lock);
    void load();
    void save();

    QString m_path;
    QString m_site;
    FileLock m_lock;
    std::optional<Before> m_before;
    QDateTime m_begun = QDateTime::currentDateTimeUtc();
    QDateTime m_saved; ///< invalid: not yet
    bool m_finished = false;
    ReadingPlace m_place;
    std::set<ReadingPlace> m_notGood;
};

} // namespace KOZAV::Backend
