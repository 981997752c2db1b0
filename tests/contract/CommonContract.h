#pragma once

#include "ContractSite.h"

#include <QObject>

#include <memory>

namespace KOZAV::Test {

/// Configuration, identifiers and time text.
class CommonContract final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_site = std::make_unique<ContractSite>(); }
    void cleanup() { m_site.reset(); }

    void interfaceIsOneObject();
    void configurationHasItsFields();
    void changedConfigurationIsSeen();
    void unusableConfigurationGivesAnEmptyRecord();
    void identifiersAreRfc4122Text();
    void identifiersAreUnique();
    void timeTextIsTheLocalTime();

private:
    std::unique_ptr<ContractSite> m_site;
};

} // namespace KOZAV::Test
