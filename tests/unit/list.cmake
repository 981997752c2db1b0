if(TARGET zav_import_objects)
  # The job list panel over the recording double of the services.
  function(zav_add_list_test subject)
    zav_add_test(list_${subject} SOURCES list_${subject}.cpp LIBRARIES zav_list_test_support zav_import_objects
                 LABELS list)
  endfunction()

  zav_add_list_test(meta_object)
  zav_add_list_test(construction)
  zav_add_list_test(job_table)
  zav_add_list_test(connections)
  zav_add_list_test(filter)
  zav_add_list_test(job_information)
  zav_add_list_test(messages)
  zav_add_list_test(import_button)
  zav_add_list_test(upload)
  zav_add_list_test(flow_update)
  zav_add_list_test(robot_request)
  zav_add_list_test(robot_connection)

  # Names and texts are UTF-8 whatever the locale is.
  foreach(subject job_table filter import_button upload flow_update robot_request)
    zav_add_c_locale_run(list_${subject})
  endforeach()
endif()
