#include "CommonContract.h"
#include "CompanyContract.h"
#include "ConcurrencyContract.h"
#include "ContractProcess.h"
#include "DatabaseApiContract.h"
#include "DocumentStoreContract.h"
#include "ImportRowsContract.h"
#include "JobFlowContract.h"
#include "PackContract.h"
#include "UiServicesContract.h"

#include <QCoreApplication>
#include <QTest>

#include <cstdio>

using namespace KOZAV::Test;

namespace {

/// Takes the first argument where it names this suite. @return whether the suite is to run
template <typename Suite>
bool isWanted(QStringList& arguments, const QString& named)
{
    const QString name =
        QString::fromLatin1(Suite::staticMetaObject.className()).section(QStringLiteral("::"), -1);
    if (named == name)
        arguments.removeAt(1);
    return named.isEmpty() || named == name;
}

template <typename Suite>
int run(QStringList arguments, const QString& named)
{
    if (!isWanted<Suite>(arguments, named))
        return 0;
    Suite suite;
    return QTest::qExec(&suite, arguments);
}

/// CLASS [options of QtTest] runs the suite of that name, otherwise all run. @return the number of failures
template <typename... Suites>
int runAll(const QStringList& arguments)
{
    const QString named =
        arguments.value(1).endsWith(QLatin1String("Contract")) ? arguments.at(1) : QString();
    return (run<Suites>(arguments, named) + ...);
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
