# What lies beneath the services: the configuration file, the site that follows it, files of the operating system, texts.
add_library(zav_config_test_support STATIC "${PROJECT_SOURCE_DIR}/tests/support/ConfigurationFile.cpp"
                                           "${PROJECT_SOURCE_DIR}/tests/support/CapturedLog.cpp")
zav_compile_options(zav_config_test_support)
target_link_libraries(zav_config_test_support PUBLIC kozav_backend_core Qt5::Core)

zav_add_test_program(
  core_tests
  LIBRARIES zav_config_test_support zav_file_test_support zav_terminal Qt5::Sql Threads::Threads
  DEFINITIONS "ZAV_DOCS_DIR=\"${PROJECT_SOURCE_DIR}/docs\"")
zav_add_tests(core_tests LABELS config TESTS config_manual config_passwords config_places config_reading
                                             config_services config_site config_writing)
zav_add_tests(core_tests LABELS io TESTS io_beneath io_growing io_process_folder io_publishing)
zav_add_tests(core_tests LABELS text TESTS terminal_log_file terminal_printable_text text_iso_time text_utf8)
zav_repeat_tests(c_locale ENVIRONMENT LC_ALL=C TESTS config_writing)
