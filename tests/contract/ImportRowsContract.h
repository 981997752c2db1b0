#pragma once

#include "ContractSite.h"

#include <QObject>

#include <memory>

namespace KOZAV::Test {

/// The rows of an import: original file, links, job-compress row.
class ImportRowsContract final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_site = std::make_unique<ContractSite>(); }
    void cleanup() { m_site.reset(); }

    void archiveImportIsRecordedWhole();
    void folderImportHasItsThreeTexts();
    void originalFileNeedsItsStoredFile();
    void originalFileIsRefused_data();
    void originalFileIsRefused();
    void originalFileKeyIsUnique();
    void originalFileKnowsItsContent();
    void packedFolderIsKnownByItsContent();
    void compressRowNeedsItsStoredFile();
    void compressRowWithoutItsFileTakesTheJobOffTheList();
    void compressRowOfACompleteJobChangesNothing();
    void aJobWaitsOnceItsImportIsComplete();
    void compressRowIsRefused_data();
    void compressRowIsRefused();
    void oneCompressRowAFlow();
    void textsAreKeptAsTheyAre_data();
    void textsAreKeptAsTheyAre();
    void everythingIsThereAfterReopening();

private:
    std::unique_ptr<ContractSite> m_site;
};

} // namespace KOZAV::Test
