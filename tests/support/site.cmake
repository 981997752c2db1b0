# A fresh site on the real backend, on any of its engines.
add_library(zav_site_test_support STATIC FolderTree.cpp FreshSite.cpp ServiceWatch.cpp SiteEngines.cpp)
zav_compile_options(zav_site_test_support)
target_link_libraries(
  zav_site_test_support
  PUBLIC kozav_backend_core zav_gridfs_test_support zav_mariadb_test_support Qt5::Core
  PRIVATE Qt5::Sql)

if(ZAV_BUILD_PANELS)
  # The file import panel over whatever services the program is linked with.
  add_library(zav_operated_panel STATIC OperatedPanel.cpp PanelView.cpp)
  zav_compile_options(zav_operated_panel)
  target_include_directories(zav_operated_panel PUBLIC "${PROJECT_BINARY_DIR}/generated")
  target_link_libraries(zav_operated_panel PUBLIC zav_ui_test_support ZavImport::services Qt5::Widgets)
endif()
