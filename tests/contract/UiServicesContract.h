#pragma once

#include "ContractSite.h"

#include <QObject>

#include <memory>

namespace KOZAV::Test {

/// The operator, the list of waiting jobs and the notifications.
class UiServicesContract final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_site = std::make_unique<ContractSite>(); }
    void cleanup() { m_site.reset(); }

    void interfacesAreOneObjectEach();
    void currentUserIsTheConfiguredOne();
    void emptySiteHasNoWaitingJobs();
    void waitingJobsAreOldestFirst();
    void stateTakesAJobOffTheList_data();
    void stateTakesAJobOffTheList();
    void aJobCanComeBackToTheList();
    void refreshingIsAnnounced();
    void jobInformationIsAnnounced_data();
    void jobInformationIsAnnounced();

private:
    /// Imports a job whole. @return its flow key
    std::string importJob(const std::string& companyName) const;

    std::unique_ptr<ContractSite> m_site;
};

} // namespace KOZAV::Test
