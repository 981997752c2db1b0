# The client's parts, one by one.
if(ZAV_BUILD_PANELS)
  get_property(lupdate_options GLOBAL PROPERTY ZAV_LUPDATE_OPTIONS)
  list(JOIN lupdate_options "|" lupdate_options)
  zav_add_test_program(host_tests LIBRARIES zav_client_lib zav_file_test_support zav_site_test_support zav_samples_lib
                                            zav_operated_panel zav_database_test_support zav_robot_test_support zav_config_test_support Qt5::Sql
                         DEFINITIONS "ZAV_DOCS_DIR=\"${PROJECT_SOURCE_DIR}/docs\"" "ZAV_SOURCE_DIR=\"${PROJECT_SOURCE_DIR}\""
                                     "ZAV_LUPDATE=\"$<TARGET_FILE:Qt5::lupdate>\"" "ZAV_LUPDATE_OPTIONS=\"${lupdate_options}\"")
  zav_add_tests(host_tests LABELS host TESTS host_announcement host_batch_report host_client_state host_hostile_archives host_layer_stack
                                             host_matrix host_panel_run host_panel_tidying host_plain_text host_publishing
                                             host_robot_probe host_run_gate host_run_record host_service_log host_unpacker)
  zav_add_tests(host_tests LABELS host TESTS host_archive_check host_foresight)
  zav_add_tests(host_tests LABELS host TESTS host_about_dialog host_help_window host_language host_manual host_theme host_translations)
  if(TARGET Qt5::DBus)
    zav_add_tests(host_tests LABELS host TESTS host_desktop_notice)
    target_link_libraries(host_tests PRIVATE Qt5::DBus)
  endif()
  zav_add_tests(host_tests ON_MEMORY LABELS host TESTS host_results_view host_run_entries)
  zav_add_tests(host_tests LABELS host TESTS host_run_progress host_work_pulse)
  zav_add_tests(host_tests LABELS host TESTS host_companies_view host_robot_requests host_settings_dialog)
  zav_add_tests(host_tests LABELS host TESTS host_first_run)
  zav_add_tests(host_tests SITES LABELS host TESTS host_run_history host_site_status)
  zav_add_tests(host_tests LABELS host TESTS host_job_lists)

  # Once more without openat2(), refused as an old kernel and as a strict sandbox refuse it.
  foreach(error ENOSYS EPERM)
    zav_repeat_tests(${error} ENVIRONMENT ZAV_TEST_OPENAT2=${error} TESTS host_hostile_archives host_matrix host_unpacker)
  endforeach()
endif()
