if(ZAV_BUILD_PANELS)
  zav_add_test(host_site_status SITES SOURCES hostSiteStatus.cpp LIBRARIES zav_client_lib zav_site_test_support Qt5::Sql
               LABELS host)
endif()
