# The document store in GridFS while its server fails on order.
if(ZAV_WITH_MONGODB AND ZAV_TEST_PYTHON)
  set(gridfs_faults gridfs_get_faults gridfs_outages gridfs_put_faults)
  zav_add_tests(gridfs_tests LABELS gridfs fault TIMEOUT 1500 TESTS ${gridfs_faults})
  foreach(test IN LISTS gridfs_faults)
    set_property(TEST ${test} APPEND PROPERTY ENVIRONMENT "QTEST_FUNCTION_TIMEOUT=500000")
  endforeach()
endif()
