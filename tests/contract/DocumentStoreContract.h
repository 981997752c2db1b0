#pragma once

#include "ContractSite.h"

#include <QObject>

#include <memory>

namespace KOZAV::Test {

/// Storing and fetching whole files.
class DocumentStoreContract final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_site = std::make_unique<ContractSite>(); }
    void cleanup() { m_site.reset(); }

    void storedFileComesBackEqual_data();
    void storedFileComesBackEqual();
    void sourceFileStays();
    void sameContentUnderATakenNameIsASuccess();
    void otherContentUnderATakenNameIsRefused();
    void missingSourceIsRefused();
    void folderAsSourceIsRefused();
    void unfitNamesAreRefused_data();
    void unfitNamesAreRefused();
    void locationsAreApart();
    void missingFileLeavesTheTargetAsItWas();
    void fetchingReplacesTheTarget();
    void fetchingReplacesRegularFilesOnly_data();
    void fetchingReplacesRegularFilesOnly();
    void unwritableTargetIsAFailure();
    void namesAreKeptAsTheyAre_data();
    void namesAreKeptAsTheyAre();

private:
    std::unique_ptr<ContractSite> m_site;
};

} // namespace KOZAV::Test
