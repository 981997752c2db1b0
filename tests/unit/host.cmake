if(ZAV_BUILD_PANELS)
  # Runs the built test NAME a second time without openat2(), refused with the given error.
  function(zav_add_run_without_openat2 name error)
    add_test(NAME ${name}_${error} COMMAND ${name} ${ARGN})
    zav_test_environment(${name}_${error} C.UTF-8)
    set_property(TEST ${name}_${error} APPEND PROPERTY ENVIRONMENT "ZAV_TEST_OPENAT2=${error}")
    set_tests_properties(${name}_${error} PROPERTIES TIMEOUT 300 LABELS host)
  endfunction()

  zav_add_test(host_matrix SOURCES hostMatrix.cpp LIBRARIES zav_client_lib LABELS host)
  zav_add_test(host_unpacker SOURCES hostUnpacker.cpp LIBRARIES zav_client_lib zav_site_test_support zav_samples_lib
               LABELS host)
  foreach(error ENOSYS EPERM)
    zav_add_run_without_openat2(host_matrix ${error})
    zav_add_run_without_openat2(host_unpacker ${error})
  endforeach()
  zav_add_test(host_announcement SOURCES hostAnnouncement.cpp LIBRARIES zav_client_lib LABELS host)
  zav_add_test(host_service_log SOURCES hostServiceLog.cpp LIBRARIES zav_client_lib LABELS host)
  zav_add_test(host_robot_probe SOURCES hostRobotProbe.cpp
               LIBRARIES zav_client_lib zav_site_test_support zav_ui_test_support LABELS host)
  zav_add_test(host_layer_stack SOURCES hostLayerStack.cpp LIBRARIES zav_client_lib LABELS host)
endif()
