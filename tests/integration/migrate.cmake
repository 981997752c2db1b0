# A site moves from embedded engines to each kind of site and back.
zav_add_test(migrate_sites SITES SOURCES migrate_sites.cpp
             LIBRARIES zav_migrate_test_support zav_site_test_support Qt5::Sql LABELS admin)
target_compile_definitions(migrate_sites PRIVATE "ZAV_ADMIN_PROGRAM=\"$<TARGET_FILE:zav_admin>\"")
add_dependencies(migrate_sites zav_admin)
