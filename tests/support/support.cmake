if(ZAV_BUILD_PANELS)
  # The recording double of the system services.
  add_library(zav_recording_services STATIC JournalText.cpp RecordingServices.cpp RecordingCommon.cpp
              RecordingDataAccess.cpp "${PROJECT_SOURCE_DIR}/services/ui/ZAV_UICommon.h")
  zav_compile_options(zav_recording_services)
  set_target_properties(zav_recording_services PROPERTIES AUTOMOC ON)
  target_compile_definitions(zav_recording_services PUBLIC KOZAV_SERVICES_STATIC)
  target_link_libraries(zav_recording_services PUBLIC ZavImport::services Qt5::Core)

  # Answers modal dialogs; a robot server to send requests to.
  add_library(zav_ui_test_support STATIC DialogDriver.cpp MarkingTranslator.cpp RobotPeer.cpp)
  zav_compile_options(zav_ui_test_support)
  set_target_properties(zav_ui_test_support PROPERTIES AUTOMOC ON)
  target_link_libraries(zav_ui_test_support PUBLIC Qt5::Widgets Qt5::Network Qt5::Test)

  # Has calls of a program fail, or kills it at one. It has nothing of Qt.
  add_executable(zav_fault_tracer FaultTracer.cpp)
  zav_compile_options(zav_fault_tracer)
  set_target_properties(zav_fault_tracer PROPERTIES DISABLE_PRECOMPILE_HEADERS ON)

  # The client as a program.
  add_library(zav_client_test_support STATIC ClientProgram.cpp KilledClient.cpp)
  zav_compile_options(zav_client_test_support)
  target_compile_definitions(zav_client_test_support PRIVATE "ZAV_CLIENT=\"$<TARGET_FILE:zav_client>\"")
  target_link_libraries(zav_client_test_support PUBLIC zav_file_test_support Qt5::Core)
  add_dependencies(zav_client_test_support zav_client)

  # The client in a window on a desktop of its own, and the plugin that tells what it shows.
  add_library(zav_desktop_probe MODULE DesktopProbe.cpp)
  zav_compile_options(zav_desktop_probe)
  set_target_properties(zav_desktop_probe PROPERTIES AUTOMOC ON PREFIX "" LIBRARY_OUTPUT_DIRECTORY
                                                     "${PROJECT_BINARY_DIR}/test-plugins/generic")
  target_link_libraries(zav_desktop_probe PRIVATE Qt5::Widgets Qt5::Network)
  add_library(zav_desktop_test_support STATIC Desktop.cpp DesktopClient.cpp DesktopOperator.cpp)
  zav_compile_options(zav_desktop_test_support)
  target_compile_definitions(zav_desktop_test_support PRIVATE "ZAV_TEST_PLUGINS=\"${PROJECT_BINARY_DIR}/test-plugins\"")
  target_link_libraries(zav_desktop_test_support PUBLIC zav_client_test_support zav_file_test_support Qt5::Widgets Qt5::Network
                                                        Qt5::Test)
  add_dependencies(zav_desktop_test_support zav_desktop_probe)

  # The file import panel over the double. Whoever links this links zav_import_objects too.
  add_library(zav_panel_test_support STATIC PanelHarness.cpp PanelView.cpp)
  zav_compile_options(zav_panel_test_support)
  target_include_directories(zav_panel_test_support PUBLIC "${PROJECT_BINARY_DIR}/generated")
  target_link_libraries(zav_panel_test_support PUBLIC zav_recording_services zav_ui_test_support)
endif()
