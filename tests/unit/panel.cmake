# Without the panels: the rules of a batch directory stand alone.
zav_add_test_program(rules_tests LIBRARIES zav_batch_directory)
zav_add_tests(rules_tests LABELS panel TESTS panel_rules)

# Both panels over the recording double of the services.
if(ZAV_BUILD_PANELS)
  zav_add_test_program(panel_tests LIBRARIES zav_panel_test_support zav_list_test_support zav_robot_test_support
                                             zav_import_objects)
  zav_add_tests(panel_tests LABELS panel
                TESTS panel_archive_import panel_batch_import panel_batch_progress panel_company_list
                      panel_construction panel_folder_import panel_manifest panel_meta_object panel_retrieval
                      panel_robot_request panel_single_archive_import panel_single_import panel_source_selection
                      panel_style_sheets panel_theme)
  zav_add_tests(panel_tests LABELS list
                TESTS list_connections list_construction list_filter list_flow_update list_import_button
                      list_job_information list_job_table list_messages list_meta_object list_robot_connection
                      list_robot_request list_upload)
  zav_add_tests(panel_tests LABELS robot TESTS robot_senders)

  # Paths and names pass through the code page of the locale; texts are UTF-8 whatever the locale is.
  zav_repeat_tests(c_locale ENVIRONMENT LC_ALL=C
                   TESTS panel_archive_import panel_folder_import panel_manifest panel_retrieval
                         panel_source_selection list_filter list_flow_update list_import_button list_job_table
                         list_robot_request list_upload)
endif()
