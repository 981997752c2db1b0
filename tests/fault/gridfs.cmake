# The document store in GridFS while its server fails on order.
if(ZAV_WITH_MONGODB AND ZAV_TEST_PYTHON)
  zav_add_test(gridfs_put_faults SOURCES gridfs_put_faults.cpp GridFsTrial.cpp LIBRARIES zav_gridfs_store_test_support LABELS gridfs fault
               TIMEOUT 1500)
  zav_add_test(gridfs_get_faults SOURCES gridfs_get_faults.cpp GridFsTrial.cpp LIBRARIES zav_gridfs_store_test_support LABELS gridfs fault
               TIMEOUT 1500)
  zav_add_test(gridfs_outages SOURCES gridfs_outages.cpp GridFsTrial.cpp LIBRARIES zav_gridfs_store_test_support LABELS gridfs fault
               TIMEOUT 1500)
  foreach(test gridfs_put_faults gridfs_get_faults gridfs_outages)
    set_property(TEST ${test} APPEND PROPERTY ENVIRONMENT "QTEST_FUNCTION_TIMEOUT=500000")
  endforeach()
endif()
