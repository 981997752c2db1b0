# The robot's stand-in, and the request document.
zav_add_test_program(robot_tests LIBRARIES zav_robot_test_support)
zav_add_tests(robot_tests LABELS robot TESTS robot_command_line robot_json_faults robot_json_splitter robot_limits
                                             robot_program robot_request robot_request_log robot_server)
# Names are UTF-8 whatever the locale is.
zav_repeat_tests(c_locale ENVIRONMENT LC_ALL=C TESTS robot_request_log)
