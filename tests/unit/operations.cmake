# What the service operations do alike: guard, log, tell. The test of the guard refuses memory, so it is a program of its
# own.
zav_add_test_program(operations_tests SOURCES "${PROJECT_SOURCE_DIR}/tests/support/CapturedLog.cpp"
                     LIBRARIES zav_site_test_support Qt5::Sql)
zav_add_tests(operations_tests LABELS operations TESTS operations_events operations_failed_flows operations_fresh_names
                                                     operations_road operations_waits operations_work)
zav_add_tests(operations_tests SITES ON_MEMORY LABELS operations TESTS operations_held_rows)
zav_add_test_program(hold_tests SOURCES "${PROJECT_SOURCE_DIR}/tests/support/CapturedLog.cpp"
                     LIBRARIES zav_database_test_support zav_mariadb_test_support
                     DEFINITIONS $<$<BOOL:${ZAV_MARIADBD}>:ZAV_WITH_MARIADB_SERVER>)
zav_add_tests(hold_tests ON_MEMORY SECONDS 20 LABELS operations TESTS operations_company_hold)
zav_add_test_program(memory_tests SOURCES "${PROJECT_SOURCE_DIR}/tests/support/CapturedLog.cpp"
                     LIBRARIES zav_site_test_support)
zav_add_tests(memory_tests LABELS operations TESTS operations_guard)
