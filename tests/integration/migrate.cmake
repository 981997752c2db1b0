# A site moves from embedded engines to each kind of site and back, and is backed up and restored there.
zav_add_tests(admin_tests SITES SECONDS 15 LABELS admin TESTS backup_sites migrate_sites)
