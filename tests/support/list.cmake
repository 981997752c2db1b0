if(ZAV_BUILD_PANELS)
  # The job list panel over the double. Whoever links this links zav_import_objects too.
  add_library(zav_list_test_support STATIC ListPanelHarness.cpp MessageCloser.cpp)
  zav_compile_options(zav_list_test_support)
  set_target_properties(zav_list_test_support PROPERTIES AUTOMOC ON)
  target_include_directories(zav_list_test_support PUBLIC "${PROJECT_BINARY_DIR}/generated")
  target_link_libraries(zav_list_test_support PUBLIC zav_recording_services zav_ui_test_support)
endif()
