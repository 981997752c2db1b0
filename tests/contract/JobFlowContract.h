#pragma once

#include "ContractSite.h"

#include <QObject>

#include <memory>

namespace KOZAV::Test {

/// Job flows: making, finding and changing them.
class JobFlowContract final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_site = std::make_unique<ContractSite>(); }
    void cleanup() { m_site.reset(); }

    void newFlowIsFoundByItsName();
    void newFlowWaits();
    void flowKeysAreUnique();
    void generatedNameIsUnique();
    void generatedNameMustNotBeEmpty();
    void generatedNamesDifferByCase();
    void conditionsSelect_data();
    void conditionsSelect();
    void unknownColumnsAreRefused();
    void textsAreKeptAsTheyAre_data();
    void textsAreKeptAsTheyAre();
    void changesAreStored();
    void preImportStampIsStored();
    void originalFileIsLinked();
    void missingOriginalFileIsNotLinked();
    void changesNeedAFlow_data();
    void changesNeedAFlow();
    void textThatIsNotUtf8IsRefused();

private:
    std::unique_ptr<ContractSite> m_site;
};

} // namespace KOZAV::Test
