# What the tests on servers stand on: the servers themselves. The folder fault adds to the program.
if(ZAV_MARIADBD)
  zav_add_test_program(
    server_tests
    SOURCES "${PROJECT_SOURCE_DIR}/tests/contract/ImportSteps.cpp"
    LIBRARIES zav_site_test_support zav_config_test_support zav_mariadb_test_support Qt5::Network Qt5::Sql)
  zav_add_tests(server_tests ON_MEMORY LABELS mariadb TESTS mariadb_server)
endif()
