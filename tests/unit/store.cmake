# The document store in a local directory. The support library serves the tests of packing too (pack.cmake).
add_library(zav_file_test_support STATIC "${PROJECT_SOURCE_DIR}/tests/support/TestFiles.cpp"
                                         "${PROJECT_SOURCE_DIR}/tests/support/StoreBox.cpp"
                                         "${PROJECT_SOURCE_DIR}/tests/support/PackBox.cpp")
zav_compile_options(zav_file_test_support)
target_link_libraries(zav_file_test_support PUBLIC kozav_backend_core Qt5::Core)

function(zav_add_store_test subject source)
  zav_add_test(store_${subject} SOURCES ${source} LIBRARIES zav_file_test_support Threads::Threads LABELS store)
endfunction()

zav_add_store_test(content storeContent.cpp)
zav_add_store_test(names storeNames.cpp)
zav_add_store_test(adopting storeAdopting.cpp)
zav_add_store_test(damage storeDamage.cpp)
zav_add_store_test(refusals storeRefusals.cpp)
zav_add_store_test(interruption storeInterruption.cpp)
zav_add_store_test(full_disk storeFullDisk.cpp)
zav_add_c_locale_run(store_names)
target_compile_definitions(store_refusals PRIVATE "ZAV_WITH_MONGODB=$<BOOL:${ZAV_WITH_MONGODB}>")
