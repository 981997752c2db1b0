# Rows of a site: the database, its dialect, and the records.
add_library(zav_database_test_support STATIC "${PROJECT_SOURCE_DIR}/tests/support/FilledDatabase.cpp"
                                             "${PROJECT_SOURCE_DIR}/tests/support/TemporaryDatabase.cpp")
zav_compile_options(zav_database_test_support)
target_link_libraries(zav_database_test_support PUBLIC kozav_backend_core Qt5::Sql Qt5::Test)

# A site that version 1 of the schema has made.
add_library(zav_old_site_test_support STATIC "${PROJECT_SOURCE_DIR}/tests/support/OldSite.cpp")
zav_compile_options(zav_old_site_test_support)
target_compile_definitions(zav_old_site_test_support PRIVATE "ZAV_FIXTURES_DIR=\"${PROJECT_SOURCE_DIR}/tests/fixtures\"")
target_link_libraries(zav_old_site_test_support PUBLIC zav_file_test_support kozav_backend_core Qt5::Sql)

zav_add_test_program(database_tests SOURCES "${PROJECT_SOURCE_DIR}/tests/support/CapturedLog.cpp"
                     LIBRARIES zav_database_test_support zav_mariadb_test_support zav_old_site_test_support
                     DEFINITIONS $<$<BOOL:${ZAV_MARIADBD}>:ZAV_WITH_MARIADB_SERVER>)
zav_add_tests(database_tests LABELS database
              TESTS database_companies database_content database_durability database_events database_failed_import database_full_disk database_job_pages
                    database_listings database_locking database_mariadb database_migrations database_opening
                    database_runs database_statements database_transactions database_transfer)
zav_add_tests(database_tests ON_MEMORY LABELS database TESTS database_examination database_watch)
zav_add_tests(database_tests ON_MEMORY SECONDS 15 LABELS database TESTS database_damages database_upgrade)
