# zav_admin: its verbs in this process, and the program itself.
add_library(zav_admin_test_support STATIC "${PROJECT_SOURCE_DIR}/tests/support/AdminSession.cpp")
zav_compile_options(zav_admin_test_support)
target_link_libraries(zav_admin_test_support PUBLIC zav_config_test_support zav_admin_lib)

function(zav_add_admin_test subject source)
  zav_add_test(admin_${subject} SOURCES ${source} LIBRARIES zav_admin_test_support LABELS admin)
endfunction()

zav_add_admin_test(command_line adminCommandLine.cpp)
zav_add_admin_test(site adminSite.cpp)
zav_add_admin_test(verbs adminVerbs.cpp)
zav_add_admin_test(manual adminManual.cpp)
target_compile_definitions(admin_manual PRIVATE "ZAV_DOCS_DIR=\"${PROJECT_SOURCE_DIR}/docs\"")
zav_add_admin_test(program adminProgram.cpp)
add_dependencies(admin_program zav_admin)
target_compile_definitions(admin_program PRIVATE "ZAV_ADMIN_PROGRAM=\"$<TARGET_FILE:zav_admin>\""
                                                 "ZAV_PROJECT_VERSION=\"${PROJECT_VERSION}\"")
