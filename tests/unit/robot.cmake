if(TARGET zav_robot_lib)
  function(zav_add_robot_test subject)
    zav_add_test(robot_${subject} SOURCES robot_${subject}.cpp LIBRARIES zav_robot_test_support ${ARGN} LABELS robot)
  endfunction()

  foreach(subject request json_splitter json_faults server limits request_log command_line program)
    zav_add_robot_test(${subject})
  endforeach()
  # Names are UTF-8 whatever the locale is.
  zav_add_c_locale_run(robot_request_log)

  if(TARGET zav_import_objects)
    zav_add_robot_test(senders zav_panel_test_support zav_list_test_support zav_import_objects)
  endif()
endif()
include("${PROJECT_SOURCE_DIR}/tests/fuzz/robot.cmake")
