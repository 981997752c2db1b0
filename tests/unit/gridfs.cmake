# The document store in GridFS, beside what the contract asks of every store.
if(ZAV_WITH_MONGODB)
  zav_add_test(gridfs_settings SOURCES gridfsSettings.cpp LIBRARIES zav_config_test_support LABELS gridfs)
  if(ZAV_TEST_PYTHON)
    zav_add_test(gridfs_names SOURCES gridfsNames.cpp LIBRARIES zav_gridfs_store_test_support LABELS gridfs)
    zav_add_test(gridfs_memory SOURCES gridfsMemory.cpp LIBRARIES zav_gridfs_store_test_support LABELS gridfs large)
  endif()
endif()
