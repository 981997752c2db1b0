# The document store in a local directory, and the packing of folders.
add_library(zav_file_test_support STATIC "${PROJECT_SOURCE_DIR}/tests/support/TestFiles.cpp"
                                         "${PROJECT_SOURCE_DIR}/tests/support/StoreBox.cpp"
                                         "${PROJECT_SOURCE_DIR}/tests/support/CrashModel.cpp"
                                         "${PROJECT_SOURCE_DIR}/tests/support/PackBox.cpp")
zav_compile_options(zav_file_test_support)
target_link_libraries(zav_file_test_support PUBLIC kozav_backend_core Qt5::Core)

zav_add_test_program(
  file_tests
  SOURCES "${PROJECT_SOURCE_DIR}/tests/support/StoreBehaviour.cpp"
  LIBRARIES zav_file_test_support Threads::Threads ZLIB::ZLIB
  DEFINITIONS "ZAV_WITH_MONGODB=$<BOOL:${ZAV_WITH_MONGODB}>")
zav_add_tests(file_tests LABELS store TESTS store_adopting store_behaviour store_content store_damage
                                            store_full_disk store_names store_refusals store_survey)
zav_add_tests(file_tests PARTS 2 SECONDS 15 ON_MEMORY LABELS store fault TESTS store_interruption)
zav_add_tests(file_tests SECONDS 10 ON_MEMORY LABELS store fault TESTS store_crashes)
zav_add_tests(file_tests LABELS pack TESTS pack_changes pack_content pack_digest pack_faults pack_growing pack_links
                                           pack_pieces pack_refusals)
zav_add_tests(file_tests SECONDS 10 LABELS pack TESTS pack_many)
zav_add_tests(file_tests SECONDS 30 TIMEOUT 600 LABELS pack large TESTS pack_huge)
zav_repeat_tests(c_locale ENVIRONMENT LC_ALL=C TESTS store_names)
