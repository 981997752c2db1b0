#pragma once

#include "ContractSite.h"

#include <QObject>

#include <memory>

namespace KOZAV::Test {

/// Packing a folder into the document store.
class PackContract final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_site = std::make_unique<ContractSite>(); }
    void cleanup() { m_site.reset(); }

    void packedFolderHoldsAllFiles();
    void nothingIsLeftInTheStagingFolder();
    void separatorAtTheEndMakesNoDifference();
    void everyArchiveHasANameOfItsOwn();
    void failureLeavesNothing_data();
    void failureLeavesNothing();

private:
    std::unique_ptr<ContractSite> m_site;
};

} // namespace KOZAV::Test
