# Rows of a site: the database, its dialect, and the records.
add_library(zav_database_test_support STATIC "${PROJECT_SOURCE_DIR}/tests/support/TemporaryDatabase.cpp")
zav_compile_options(zav_database_test_support)
target_link_libraries(zav_database_test_support PUBLIC kozav_backend_core Qt5::Sql Qt5::Test)

function(zav_add_database_test subject)
  zav_add_test(database_${subject} SOURCES ${ARGN} LIBRARIES zav_database_test_support LABELS database)
endfunction()

zav_add_database_test(opening databaseOpening.cpp)
zav_add_database_test(statements databaseStatements.cpp)
zav_add_database_test(transactions databaseTransactions.cpp)
zav_add_database_test(migrations databaseMigrations.cpp)
zav_add_database_test(locking databaseLocking.cpp)
zav_add_database_test(durability databaseDurability.cpp)
zav_add_database_test(full_disk databaseFullDisk.cpp)
zav_add_database_test(companies databaseCompanies.cpp)
zav_add_database_test(listings databaseListings.cpp)
if(TARGET zav_mariadb_test_support)
  zav_add_test(database_mariadb SOURCES databaseMariaDb.cpp LIBRARIES zav_database_test_support zav_mariadb_test_support
               LABELS database)
endif()
