# The network of the bench suite, and the suite itself: its arithmetic, its pictures, and rows of it that need no server.
zav_add_test_program(bench_tests LIBRARIES zav_delaying_proxy Qt5::Network)
zav_add_tests(bench_tests LABELS bench TESTS bench_proxy)
if(TARGET zav_operated_panel AND ZAV_TEST_PYTHON)
  zav_add_run(bench_suite COMMAND "${ZAV_TEST_PYTHON}" -B "${PROJECT_SOURCE_DIR}/bench/check_suite.py" "${PROJECT_BINARY_DIR}"
              TIMEOUT 300 LABELS bench)
endif()
