# What the tests on servers stand on: the servers themselves.
if(ZAV_MARIADBD)
  zav_add_test(mariadb_server SOURCES mariadb_server.cpp "${PROJECT_SOURCE_DIR}/tests/support/ConfigurationFile.cpp"
               LIBRARIES zav_mariadb_test_support Qt5::Network Qt5::Sql)
  zav_keep_off_disk(mariadb_server)
endif()

# Many clients at once: a panel in each, so with the panels only.
if(ZAV_MARIADBD AND ZAV_WITH_MONGODB AND ZAV_BUILD_PANELS)
  zav_add_test(race_mariadb_gridfs SOURCES races.cpp LIBRARIES zav_client_lib zav_operated_panel zav_site_test_support
               Qt5::Sql LABELS large TIMEOUT 900)
  set_property(TEST race_mariadb_gridfs APPEND PROPERTY ENVIRONMENT "ZAV_TEST_SITE=mariadb/gridfs"
                                                        "QTEST_FUNCTION_TIMEOUT=800000")
  zav_keep_off_disk(race_mariadb_gridfs)
endif()
