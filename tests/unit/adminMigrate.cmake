# The verbs of zav_admin for sites beyond one machine.
add_library(zav_migrate_test_support STATIC "${PROJECT_SOURCE_DIR}/tests/support/SiteContent.cpp"
                                            "${PROJECT_SOURCE_DIR}/tests/support/SitePair.cpp")
zav_compile_options(zav_migrate_test_support)
target_link_libraries(zav_migrate_test_support PUBLIC zav_admin_test_support PRIVATE Qt5::Sql)

zav_add_test(admin_migrate SOURCES adminMigrate.cpp LIBRARIES zav_migrate_test_support LABELS admin)
zav_add_test(admin_migrate_run SOURCES adminMigrateRun.cpp LIBRARIES zav_migrate_test_support LABELS admin)
zav_add_test(admin_migrate_interruption SOURCES adminMigrateInterruption.cpp
             LIBRARIES zav_migrate_test_support zav_file_test_support LABELS admin TIMEOUT 600)
foreach(test admin_migrate_run admin_migrate_interruption)
  add_dependencies(${test} zav_admin)
  target_compile_definitions(${test} PRIVATE "ZAV_ADMIN_PROGRAM=\"$<TARGET_FILE:zav_admin>\"")
endforeach()
zav_add_test(admin_progress SOURCES adminProgress.cpp LIBRARIES zav_admin_lib LABELS admin)
zav_add_test(database_transfer SOURCES databaseTransfer.cpp LIBRARIES zav_database_test_support LABELS database)
zav_add_test(admin_ping SOURCES adminPing.cpp LIBRARIES zav_admin_test_support Qt5::Network LABELS admin)
zav_add_test(admin_init SOURCES adminInit.cpp LIBRARIES zav_admin_test_support zav_mariadb_test_support Qt5::Network
             LABELS admin)
if(ZAV_MARIADBD)
  target_compile_definitions(admin_init PRIVATE ZAV_WITH_MARIADB_SERVER)
endif()
zav_add_test(config_places SOURCES configPlaces.cpp LIBRARIES zav_config_test_support LABELS config)
