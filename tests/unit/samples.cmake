# The generator of sample jobs and batch directories.
zav_add_test_program(
  samples_tests
  SOURCES SamplesTree.cpp
  LIBRARIES zav_samples_lib
  DEFINITIONS "ZAV_SAMPLES_PROGRAM=\"$<TARGET_FILE:zav_samples>\"" "ZAV_PROJECT_VERSION=\"${PROJECT_VERSION}\""
  DEPENDS zav_samples)
zav_add_tests(samples_tests LABELS samples TESTS samples_archive samples_batch samples_content samples_job
                                                 samples_program)
zav_repeat_tests(c_locale ENVIRONMENT LC_ALL=C TESTS samples_archive samples_batch)
