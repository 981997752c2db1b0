#pragma once

#include "ContractSite.h"

#include <QObject>

#include <memory>

namespace KOZAV::Test {

/// Pre-processed files and robot archives.
class DatabaseApiContract final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_site = std::make_unique<ContractSite>(); }
    void cleanup() { m_site.reset(); }

    void preFileIsRecordedWhole();
    void preFileTextsAreKeptAsTheyAre_data();
    void preFileTextsAreKeptAsTheyAre();
    void everyPreFileHasAKeyOfItsOwn();
    void preFileOfNoJobIsRefused_data();
    void preFileOfNoJobIsRefused();
    void robotArchiveIsStoredAndLinked();
    void laterRobotArchiveTakesTheLink();
    void robotArchiveUnderAnyFileName_data();
    void robotArchiveUnderAnyFileName();
    void robotArchiveIsRefused_data();
    void robotArchiveIsRefused();

private:
    std::unique_ptr<ContractSite> m_site;
};

} // namespace KOZAV::Test
