# What the services promise, tested through their headers alone, on every combination of engines.
zav_add_test(
  contract SITES
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
  LIBRARIES zav_site_test_support Qt5::Sql
  LABELS contract)
