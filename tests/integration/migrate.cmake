# A site moves from embedded engines to each kind of site and back.
zav_add_tests(admin_tests SITES SECONDS 15 LABELS admin TESTS migrate_sites)
