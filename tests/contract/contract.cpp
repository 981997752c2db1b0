#include "tests/contract/CommonContract.h"
#include "tests/contract/CompanyContract.h"
#include "tests/contract/ConcurrencyContract.h"
#include "tests/contract/ContractProcess.h"
#include "tests/contract/DatabaseApiContract.h"
#include "tests/contract/DocumentStoreContract.h"
#include "tests/contract/ImportRowsContract.h"
#include "tests/contract/JobFlowContract.h"
#include "tests/contract/PackContract.h"
#include "tests/contract/UiServicesContract.h"

#include <QCoreApplication>
#include <QTest>

#include <cstdio>

using namespace KOZAV::Test;

namespace {

template <typename Suite>
int run(const QStringList& arguments)
{
    Suite suite;
    return QTest::qExec(&suite, arguments);
}

template <typename... Suites>
int runAll(const QStringList& arguments)
{
    return (run<Suites>(arguments) + ...);
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    int exitCode = 1;
    if (ContractProcess::play(arguments, exitCode))
        return exitCode;
    QString reason;
    if (!ContractSite::isAvailable(reason)) {
        std::fprintf(stderr, "%s\n", qPrintable(reason));
        return 1;
    }
    return runAll<CommonContract, CompanyContract, ConcurrencyContract, DatabaseApiContract,
                  DocumentStoreContract, ImportRowsContract, JobFlowContract, PackContract,
                  UiServicesContract>(arguments);
}
