# What a site does while its database server fails.
if(ZAV_MARIADBD)
  set(fault_libraries zav_site_test_support Qt5::Sql)
  if(ZAV_BUILD_PANELS)
    zav_add_test(mariadb_import_faults SOURCES mariadb_import_faults.cpp
                                               "${PROJECT_SOURCE_DIR}/tests/support/CapturedLog.cpp"
                 LIBRARIES ${fault_libraries} zav_import zav_operated_panel LABELS fault TIMEOUT 600)
  endif()
endif()
