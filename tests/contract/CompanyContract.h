#pragma once

#include "ContractSite.h"

#include <QObject>

#include <memory>

namespace KOZAV::Test {

/// Companies: selection, job counts and batch numbers.
class CompanyContract final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_site = std::make_unique<ContractSite>(); }
    void cleanup() { m_site.reset(); }

    void noConditionSelectsAllInTheirOrder();
    void conditionsSelect_data();
    void conditionsSelect();
    void unknownColumnsAreRefused_data();
    void unknownColumnsAreRefused();
    void namesAreFoundAsTheyWereGiven_data();
    void namesAreFoundAsTheyWereGiven();
    void anySearchedTextIsOnlyData_data();
    void anySearchedTextIsOnlyData();
    void newCompanyCountsFromZero();
    void jobCountGoesOnlyForward_data();
    void jobCountGoesOnlyForward();
    void jobCountOfAnUnknownCompanyIsRefused();
    void jobCountNotesItsWriter();
    void batchNumberIsStored();
    void batchNumberIsRefused_data();
    void batchNumberIsRefused();

private:
    std::unique_ptr<ContractSite> m_site;
};

} // namespace KOZAV::Test
