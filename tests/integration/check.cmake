# Damage of every kind, planted on each kind of site; and 10,000 jobs that are checked while they arrive.
zav_add_tests(admin_tests SITES SECONDS 20 LABELS admin TESTS check_sites)
zav_add_run(check_sites_large COMMAND admin_tests check_sites cleanWhileTwoImport TIMEOUT 900 LABELS "admin;large")
set_property(TEST check_sites_large APPEND PROPERTY ENVIRONMENT ZAV_TEST_JOBS=10000 QTEST_FUNCTION_TIMEOUT=800000)
zav_keep_off_disk(check_sites_large)
