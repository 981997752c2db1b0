// Prints how many companies the site has: the services alone, without widgets.

#include "services/bll/Odbpp_CompanyBll.h"

#include <QCoreApplication>

#include <iostream>
#include <vector>

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    std::vector<KOZAV::DataLib::Model::Odbpp_Company> companies;
    if (!KOZAV::DataLib::BLL::Odbpp_CompanyBll().select({}, {}, companies))
        return 1;
    std::cout << companies.size() << '\n';
}
