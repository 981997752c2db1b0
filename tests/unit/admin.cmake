# zav_admin: its verbs in this process, and the program itself. tests/integration/migrate.cmake adds to the program.
add_library(zav_admin_test_support STATIC "${PROJECT_SOURCE_DIR}/tests/support/AdminSession.cpp")
zav_compile_options(zav_admin_test_support)
target_link_libraries(zav_admin_test_support PUBLIC zav_config_test_support zav_admin_lib)

# Two sites, of which one is moved to the other.
add_library(zav_migrate_test_support STATIC "${PROJECT_SOURCE_DIR}/tests/support/SiteContent.cpp"
                                            "${PROJECT_SOURCE_DIR}/tests/support/SitePair.cpp")
zav_compile_options(zav_migrate_test_support)
target_link_libraries(zav_migrate_test_support PUBLIC zav_admin_test_support PRIVATE Qt5::Sql)

zav_add_test_program(
  admin_tests
  LIBRARIES zav_migrate_test_support zav_admin_test_support zav_site_test_support zav_mariadb_test_support
            zav_file_test_support zav_old_site_test_support zav_robot_test_support Qt5::Network Qt5::Sql
  DEFINITIONS "ZAV_ADMIN_PROGRAM=\"$<TARGET_FILE:zav_admin>\"" "ZAV_PROJECT_VERSION=\"${PROJECT_VERSION}\""
              "ZAV_DOCS_DIR=\"${PROJECT_SOURCE_DIR}/docs\""
              $<$<BOOL:${ZAV_MARIADBD}>:ZAV_WITH_MARIADB_SERVER>
  DEPENDS zav_admin zav_robot)
zav_add_tests(admin_tests LABELS admin TESTS admin_command_line admin_init admin_manual admin_migrate
                                             admin_migrate_run admin_ping admin_program admin_progress admin_reading admin_site
                                             admin_upgrade admin_verbs
                                             check_kinds check_reading_state)
zav_add_tests(admin_tests SITES LABELS admin TESTS admin_job_voiding admin_robot admin_status admin_store_verbs admin_trial)
zav_add_tests(admin_tests SECONDS 20 ON_MEMORY LABELS admin fault TESTS admin_job_interruption)
zav_add_tests(admin_tests SECONDS 20 ON_MEMORY LABELS admin fault TESTS admin_stopping)
zav_add_tests(admin_tests SITES LABELS admin TESTS site_adoption site_refusals)
zav_add_tests(admin_tests SECONDS 60 ON_MEMORY TIMEOUT 600 LABELS admin fault TESTS admin_migrate_interruption)
zav_add_tests(admin_tests ON_MEMORY LABELS admin TESTS admin_backup)
zav_add_tests(admin_tests LABELS admin TESTS admin_runs)
zav_add_tests(admin_tests PARTS 3 SECONDS 20 ON_MEMORY LABELS admin fault TESTS admin_backup_interruption)
