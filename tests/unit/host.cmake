if(ZAV_BUILD_PANELS)
  zav_add_test(host_matrix SOURCES hostMatrix.cpp LIBRARIES zav_client_lib LABELS host)
  zav_add_test(host_unpacker SOURCES hostUnpacker.cpp LIBRARIES zav_client_lib zav_site_test_support zav_samples_lib
               LABELS host)
  zav_add_test(host_announcement SOURCES hostAnnouncement.cpp LIBRARIES zav_client_lib LABELS host)
  zav_add_test(host_service_log SOURCES hostServiceLog.cpp LIBRARIES zav_client_lib LABELS host)
  zav_add_test(host_robot_probe SOURCES hostRobotProbe.cpp
               LIBRARIES zav_client_lib zav_site_test_support zav_ui_test_support LABELS host)
  zav_add_test(host_layer_stack SOURCES hostLayerStack.cpp LIBRARIES zav_client_lib LABELS host)
endif()
