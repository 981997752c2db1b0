# What the services promise, tested through their headers alone, on every combination of engines.
zav_add_test(
  contract_sqlite_local
  SOURCES contract.cpp
          ContractSite.cpp
          ContractProcess.cpp
          ImportSteps.cpp
          WeirdTexts.cpp
          CommonContract.cpp
          CompanyContract.cpp
          ConcurrencyContract.cpp
          DatabaseApiContract.cpp
          DocumentStoreContract.cpp
          ImportRowsContract.cpp
          JobFlowContract.cpp
          PackContract.cpp
          UiServicesContract.cpp
  LIBRARIES ZavImport::kozav_backend Qt5::Sql
  LABELS contract)
set_property(TEST contract_sqlite_local APPEND PROPERTY ENVIRONMENT "ZAV_CONTRACT_SITE=sqlite/local")
