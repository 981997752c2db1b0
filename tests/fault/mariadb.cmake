# What a site does while its database server fails.
if(ZAV_MARIADBD)
  set(fault_libraries zav_site_test_support Qt5::Network Qt5::Sql)
  set(fault_tests mariadb_faults)
  zav_add_test(mariadb_faults SOURCES mariadb_faults.cpp "${PROJECT_SOURCE_DIR}/tests/support/CapturedLog.cpp"
                                      "${PROJECT_SOURCE_DIR}/tests/contract/ImportSteps.cpp"
               LIBRARIES ${fault_libraries} LABELS fault TIMEOUT 1500)
  if(ZAV_BUILD_PANELS)
    list(APPEND fault_tests mariadb_import_faults)
    zav_add_test(mariadb_import_faults SOURCES mariadb_import_faults.cpp
                                               "${PROJECT_SOURCE_DIR}/tests/support/CapturedLog.cpp"
                 LIBRARIES ${fault_libraries} zav_import zav_operated_panel LABELS fault TIMEOUT 900)
  endif()
  # A server that comes back often makes some of its files anew each time.
  foreach(test IN LISTS fault_tests)
    set_property(TEST ${test} APPEND PROPERTY ENVIRONMENT "QTEST_FUNCTION_TIMEOUT=500000")
    zav_keep_off_disk(${test})
  endforeach()
endif()
