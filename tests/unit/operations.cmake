# What the service operations do alike: guard, log, tell. The test of the guard refuses memory, so it is a program of its
# own.
zav_add_test_program(operations_tests SOURCES "${PROJECT_SOURCE_DIR}/tests/support/CapturedLog.cpp"
                     LIBRARIES zav_site_test_support)
zav_add_tests(operations_tests LABELS operations TESTS operations_events operations_road)
zav_add_test_program(memory_tests SOURCES "${PROJECT_SOURCE_DIR}/tests/support/CapturedLog.cpp"
                     LIBRARIES zav_site_test_support)
zav_add_tests(memory_tests LABELS operations TESTS operations_guard)
