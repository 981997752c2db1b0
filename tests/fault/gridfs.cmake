# The document store in GridFS while its server fails on order. These tests mostly wait, each for time-outs of its own.
if(ZAV_WITH_MONGODB AND ZAV_TEST_PYTHON)
  zav_add_tests(gridfs_tests PARTS 5 SECONDS 50 TIMEOUT 1500 ENVIRONMENT QTEST_FUNCTION_TIMEOUT=500000
                LABELS gridfs fault TESTS gridfs_put_faults)
  zav_add_tests(gridfs_tests PARTS 3 SECONDS 55 TIMEOUT 1500 ENVIRONMENT QTEST_FUNCTION_TIMEOUT=500000
                LABELS gridfs fault TESTS gridfs_outages)
  zav_add_tests(gridfs_tests PARTS 2 SECONDS 30 TIMEOUT 1500 ENVIRONMENT QTEST_FUNCTION_TIMEOUT=500000
                LABELS gridfs fault TESTS gridfs_get_faults)
  zav_add_tests(gridfs_tests PARTS 2 SECONDS 40 TIMEOUT 1500 ENVIRONMENT QTEST_FUNCTION_TIMEOUT=500000
                LABELS gridfs fault TESTS gridfs_move_faults)
endif()
