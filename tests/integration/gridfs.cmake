# Another driver on the same bucket.
if(ZAV_WITH_MONGODB AND ZAV_TEST_PYTHON)
  zav_add_test(gridfs_interop SOURCES gridfs_interop.cpp LIBRARIES zav_gridfs_store_test_support LABELS gridfs)
  target_compile_definitions(
    gridfs_interop PRIVATE "ZAV_TEST_PYTHON=\"${ZAV_TEST_PYTHON}\""
                           "ZAV_GRIDFS_INTEROP=\"${CMAKE_CURRENT_SOURCE_DIR}/gridfs_interop.py\"")
  if(TARGET zav_mariadb_test_support)
    zav_add_test(gridfs_tls SOURCES gridfs_tls.cpp LIBRARIES zav_gridfs_store_test_support zav_mariadb_test_support
                 LABELS gridfs)
  endif()
endif()
