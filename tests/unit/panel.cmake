# Without the panels: the rules of a batch directory stand alone.
zav_add_test(panel_rules SOURCES panelRules.cpp LIBRARIES zav_batch_directory LABELS panel)

if(TARGET zav_import_objects)
  # The file import panel over the recording double of the services.
  function(zav_add_panel_test subject)
    zav_add_test(panel_${subject} SOURCES ${ARGN} LIBRARIES zav_panel_test_support zav_import_objects
                 LABELS panel)
  endfunction()

  zav_add_panel_test(archive_import panelArchiveImport.cpp)
  zav_add_panel_test(batch_import panelBatchImport.cpp)
  zav_add_panel_test(batch_progress panelBatchProgress.cpp)
  zav_add_panel_test(company_list panelCompanyList.cpp)
  zav_add_panel_test(construction panelConstruction.cpp)
  zav_add_panel_test(folder_import panelFolderImport.cpp)
  zav_add_panel_test(manifest panelManifest.cpp)
  zav_add_panel_test(meta_object panelMetaObject.cpp)
  zav_add_panel_test(retrieval panelRetrieval.cpp)
  zav_add_panel_test(robot_request panelRobotRequest.cpp)
  zav_add_panel_test(single_archive_import panelSingleArchiveImport.cpp)
  zav_add_panel_test(single_import panelSingleImport.cpp)
  zav_add_panel_test(source_selection panelSourceSelection.cpp)
  zav_add_panel_test(style_sheets panelStyleSheets.cpp)

  # These pass paths and names through the code page of the locale.
  foreach(subject archive_import folder_import manifest retrieval source_selection)
    zav_add_c_locale_run(panel_${subject})
  endforeach()
endif()
