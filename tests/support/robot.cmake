if(TARGET zav_robot_lib)
  # A peer of the robot's stand-in, and the stand-in as a program.
  add_library(zav_robot_test_support STATIC RobotClient.cpp RobotProgram.cpp ScriptedRobot.cpp)
  zav_compile_options(zav_robot_test_support)
  target_compile_definitions(zav_robot_test_support PRIVATE "ZAV_ROBOT_PROGRAM=\"$<TARGET_FILE:zav_robot>\"")
  target_link_libraries(zav_robot_test_support PUBLIC zav_robot_lib Qt5::Network Qt5::Core)
  add_dependencies(zav_robot_test_support zav_robot)
endif()
