# The whole road on the real services: the panels in their window, the client as a program, many clients at once.
if(ZAV_BUILD_PANELS)
  zav_add_test_program(
    client_tests
    SOURCES "${PROJECT_SOURCE_DIR}/tests/support/CapturedLog.cpp" "${PROJECT_SOURCE_DIR}/tests/support/SiteContent.cpp"
    LIBRARIES zav_client_lib zav_operated_panel zav_site_test_support zav_client_test_support zav_file_test_support
              zav_samples_lib zav_admin_lib zav_admin_test_support zav_robot_test_support Qt5::Network Qt5::Sql
    DEFINITIONS "ZAV_VERSION=\"${PROJECT_VERSION}\"" "ZAV_CLIENT=\"$<TARGET_FILE:zav_client>\""
                "ZAV_FIXTURES_DIR=\"${PROJECT_SOURCE_DIR}/tests/fixtures\"")
  zav_add_tests(client_tests LABELS client TESTS client_batch client_command_line client_import client_known_batch
                                               client_manifests client_panels client_sites client_sources client_window)
  zav_add_tests(client_tests LABELS client TESTS client_check client_foresight client_stopping)
  zav_add_tests(client_tests LABELS client TESTS client_results release_sites)
  zav_add_tests(client_tests SECONDS 15 LABELS client TESTS import_edges import_real_jobs)
  zav_add_tests(client_tests SECONDS 20 LABELS client TESTS client_robot)
  zav_add_tests(client_tests SITES LABELS client TESTS road)
  zav_add_tests(client_tests SITES SECONDS 20 ON_MEMORY TIMEOUT 600 ENVIRONMENT QTEST_FUNCTION_TIMEOUT=500000
                LABELS client large TESTS client_together)
  zav_add_tests(client_tests SECONDS 100 ON_MEMORY TIMEOUT 900 ENVIRONMENT QTEST_FUNCTION_TIMEOUT=800000
                LABELS client large TESTS import_sizes)
  if(ZAV_MARIADBD)
    zav_add_tests(client_tests ON_MEMORY ENVIRONMENT ZAV_TEST_SITE=mariadb/local LABELS mariadb TESTS import_exchanges)
  endif()
  if(ZAV_MARIADBD AND ZAV_WITH_MONGODB)
    zav_add_tests(client_tests SECONDS 15 ON_MEMORY TIMEOUT 900
                  ENVIRONMENT ZAV_TEST_SITE=mariadb/gridfs QTEST_FUNCTION_TIMEOUT=800000
                  LABELS client large TESTS races)
  endif()
endif()
