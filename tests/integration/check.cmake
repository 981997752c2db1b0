# Damage of every kind, planted on each kind of site.
zav_add_tests(admin_tests SITES SECONDS 20 LABELS admin TESTS check_sites)
