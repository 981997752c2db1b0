# A site moves from embedded engines to each kind of site and back.
zav_add_tests(admin_tests SITES LABELS admin TESTS migrate_sites)
