# What a site does while its database server fails. A server that comes back often makes some of its files anew each time.
if(ZAV_MARIADBD)
  zav_add_tests(server_tests SECONDS 60 ON_MEMORY TIMEOUT 1500 ENVIRONMENT QTEST_FUNCTION_TIMEOUT=500000
                LABELS mariadb fault TESTS mariadb_faults)
  if(ZAV_BUILD_PANELS)
    zav_add_tests(client_tests SECONDS 90 ON_MEMORY TIMEOUT 900 ENVIRONMENT QTEST_FUNCTION_TIMEOUT=500000
                  LABELS mariadb fault TESTS mariadb_import_faults)
    zav_add_tests(client_tests SECONDS 20 ON_MEMORY TIMEOUT 900
                  ENVIRONMENT ZAV_TEST_SITE=mariadb/local QTEST_FUNCTION_TIMEOUT=500000
                  LABELS mariadb fault TESTS client_batch_faults)
    if(ZAV_WITH_MONGODB)
      zav_add_tests(client_tests SECONDS 40 ON_MEMORY TIMEOUT 900
                    ENVIRONMENT ZAV_TEST_SITE=mariadb/gridfs QTEST_FUNCTION_TIMEOUT=500000
                    LABELS mariadb gridfs fault TESTS client_batch_outages)
    endif()
  endif()
endif()
