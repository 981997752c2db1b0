# What a site does while its database server fails.
if(ZAV_MARIADBD)
  zav_add_tests(server_tests LABELS mariadb fault TIMEOUT 1500 TESTS mariadb_faults)
  set(mariadb_faults mariadb_faults)
  if(ZAV_BUILD_PANELS)
    zav_add_tests(client_tests LABELS mariadb fault TIMEOUT 900 TESTS mariadb_import_faults)
    list(APPEND mariadb_faults mariadb_import_faults)
  endif()
  # A server that comes back often makes some of its files anew each time.
  foreach(test IN LISTS mariadb_faults)
    set_property(TEST ${test} APPEND PROPERTY ENVIRONMENT "QTEST_FUNCTION_TIMEOUT=500000")
    zav_keep_off_disk(${test})
  endforeach()
endif()
