# Another driver on the same bucket, and encrypted connections.
if(ZAV_WITH_MONGODB AND ZAV_TEST_PYTHON)
  zav_add_tests(gridfs_tests SECONDS 30 LABELS gridfs TESTS gridfs_interop)
  zav_add_tests(gridfs_tests PARTS 2 SECONDS 15 LABELS gridfs TESTS gridfs_survey)
  zav_add_tests(gridfs_tests LABELS gridfs TESTS gridfs_tls)
endif()
