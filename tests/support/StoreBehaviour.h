#pragma once

#include "backend/store/DocumentStore.h"

#include <QObject>

#include <string>

namespace KOZAV::Test {

/// What every kind of store promises beside keeping files: the quarantine, the mark of a site, questions for
/// many names, and a survey that finds nothing where nothing is wrong. A test of one kind derives from it.
class StoreBehaviour : public QObject
{
    Q_OBJECT
protected:
    /// An empty store.
    virtual Backend::DocumentStore& store() = 0;
    [[nodiscard]] virtual const Backend::StoreLocation& location() const = 0;
    /// Opens the store anew, as the next start of a program does.
    virtual void reopen() = 0;
    virtual Backend::Result<Backend::StoredFile> put(const std::string& name, const QByteArray& content) = 0;
    /// Null where it fails.
    virtual QByteArray get(const std::string& name) = 0;

private Q_SLOTS:
    void quarantinedFileIsNotThere();
    void quarantinedFileComesBackAsItWas();
    void quarantinedFileIsFetched();
    void nameInQuarantineIsFree();
    void quarantineKeepsWhatItHas();
    void purgedFileIsGone();
    void unknownNamesAreNotFound();
    void unfitNamesAreRefused_data();
    void unfitNamesAreRefused();
    void quarantineIsOfOneLocation();
    void readersSeeAFileWholeOrNotAtAll();
    void oneOfManyMovesAFile();
    void someNamesAreFound();
    void manyNamesAreFound();
    void pagesHoldEveryFileOnce();
    void fileIsReadThrough();
    void growingFileIsStored_data();
    void growingFileIsStored();
    void growingFileOfAFailedWriterIsNotStored();
    void growingFileThatIsRefusedIsGivenUp();
    void markStays();
    void markOfAnotherSiteIsRefused();
    void markIsOfOneLocation();
    void unfitMarksAreRefused_data();
    void unfitMarksAreRefused();
    void oneOfManyMarks();
    void surveyOfAWholeStoreIsEmpty();
    void surveyOfNothingIsEmpty();
    void damageCannotBeRemoved_data();
    void damageCannotBeRemoved();

private:
    QStringList storedNames();
    QStringList quarantinedNames();
    QStringList flawNames();
};

} // namespace KOZAV::Test
