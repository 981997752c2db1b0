// A host of its own: chooses the configuration file, hears what becomes of each call, and looks at both parts
// of the site. Prints how many companies the site has.

#include "backend/HostInterface.h"
#include "services/bll/Odbpp_CompanyBll.h"

#include <QCoreApplication>

#include <iostream>
#include <vector>

using namespace KOZAV::Backend;

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    setConfigurationFile(QString::fromLocal8Bit(qgetenv("SITE_TO_WATCH")));
    if (!healthOf(SitePart::Rows).isReachable() || !healthOf(SitePart::Files).isReachable())
        return 1;
    int heard = 0;
    setOperationObserver([&heard](const OperationEvent& event) {
        const bool expected = event.operation == ServiceOperation::SelectCompanies &&
                              event.outcome == OperationOutcome::Succeeded && event.part == SitePart::Rows;
        heard += expected ? 1 : 100;
    });
    std::vector<KOZAV::DataLib::Model::Odbpp_Company> companies;
    if (!KOZAV::DataLib::BLL::Odbpp_CompanyBll().select({}, {}, companies) || heard != 1)
        return 1;
    std::cout << companies.size() << '\n';
}
