# The configuration file, the site that follows it, and the services that hand it on.
add_library(zav_config_test_support STATIC "${PROJECT_SOURCE_DIR}/tests/support/ConfigurationFile.cpp"
                                           "${PROJECT_SOURCE_DIR}/tests/support/CapturedLog.cpp")
zav_compile_options(zav_config_test_support)
target_link_libraries(zav_config_test_support PUBLIC kozav_backend_core Qt5::Core)

function(zav_add_config_test subject source)
  zav_add_test(config_${subject} SOURCES ${source} LIBRARIES zav_config_test_support Qt5::Sql LABELS config)
endfunction()

zav_add_config_test(reading configReading.cpp)
zav_add_config_test(writing configWriting.cpp)
zav_add_config_test(passwords configPasswords.cpp)
zav_add_config_test(site configSite.cpp)
zav_add_config_test(services configServices.cpp)
zav_add_config_test(manual configManual.cpp)
target_compile_definitions(config_manual PRIVATE "ZAV_DOCS_DIR=\"${PROJECT_SOURCE_DIR}/docs\"")
zav_add_c_locale_run(config_writing)
