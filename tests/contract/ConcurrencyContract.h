#pragma once

#include "ContractSite.h"

#include <QObject>

#include <memory>

namespace KOZAV::Test {

/// Several programs on one site at once, and programs that die.
class ConcurrencyContract final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup() { m_site.reset(); }

    void oneOfManyTakesAJobNumber();
    void manyCountWithoutGapOrRepeat();
    void oneOfManyTakesAGeneratedName();
    void oneOfManyTakesAStoredName();
    void completeImportSurvivesTheDeathOfTheProgram();

private:
    std::unique_ptr<ContractSite> m_site;
};

} // namespace KOZAV::Test
