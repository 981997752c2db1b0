# The document store in GridFS, beside what the contract asks of every store. The folders integration and fault add to
# the program.
if(ZAV_WITH_MONGODB)
  zav_add_test_program(
    gridfs_tests
    SOURCES "${PROJECT_SOURCE_DIR}/tests/fault/GridFsTrial.cpp"
            "${PROJECT_SOURCE_DIR}/tests/support/StoreBehaviour.cpp"
    LIBRARIES zav_gridfs_store_test_support zav_config_test_support zav_mariadb_test_support
    DEFINITIONS "ZAV_TEST_PYTHON=\"${ZAV_TEST_PYTHON}\""
                "ZAV_GRIDFS_INTEROP=\"${PROJECT_SOURCE_DIR}/tests/integration/gridfs_interop.py\"")
  zav_add_tests(gridfs_tests LABELS gridfs TESTS gridfs_settings)
  if(ZAV_TEST_PYTHON)
    zav_add_tests(gridfs_tests LABELS gridfs TESTS gridfs_behaviour gridfs_exchanges gridfs_names)
    zav_add_tests(gridfs_tests LABELS gridfs large TESTS gridfs_memory)
  endif()
endif()
