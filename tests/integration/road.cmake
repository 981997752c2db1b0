if(ZAV_BUILD_PANELS)
  zav_add_test(road SITES SOURCES road.cpp LIBRARIES zav_client_lib zav_operated_panel zav_site_test_support
               zav_samples_lib Qt5::Network)
  zav_add_test(client_import SOURCES client_import.cpp LIBRARIES zav_operated_panel zav_import zav_site_test_support
               zav_samples_lib zav_client_test_support Qt5::Network)
endif()
