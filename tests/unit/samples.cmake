# The generator of sample jobs and batch directories.
add_library(zav_samples_test_support STATIC "${PROJECT_SOURCE_DIR}/tests/unit/SamplesTree.cpp")
zav_compile_options(zav_samples_test_support)
target_link_libraries(zav_samples_test_support PUBLIC zav_samples_lib Qt5::Core)

function(zav_add_samples_test subject source)
  zav_add_test(samples_${subject} SOURCES ${source} LIBRARIES zav_samples_test_support LABELS samples)
endfunction()

zav_add_samples_test(job samplesJob.cpp)
zav_add_samples_test(content samplesContent.cpp)
zav_add_samples_test(archive samplesArchive.cpp)
zav_add_samples_test(batch samplesBatch.cpp)
zav_add_samples_test(program samplesProgram.cpp)
add_dependencies(samples_program zav_samples)
target_compile_definitions(samples_program PRIVATE "ZAV_SAMPLES_PROGRAM=\"$<TARGET_FILE:zav_samples>\""
                                                   "ZAV_PROJECT_VERSION=\"${PROJECT_VERSION}\"")
zav_add_c_locale_run(samples_archive)
zav_add_c_locale_run(samples_batch)
