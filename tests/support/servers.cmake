# A server for GridFS that fails on order. Python is Debian's, which has the modules for BSON and the wire protocol.
find_program(ZAV_TEST_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH DOC "Python with bson, mockupdb and gridfs")
set(ZAV_GRIDFS_PEER "${PROJECT_SOURCE_DIR}/tests/peers/gridfs_peer.py")

add_library(zav_gridfs_test_support STATIC GridFsPeer.cpp)
zav_compile_options(zav_gridfs_test_support)
target_compile_definitions(zav_gridfs_test_support PRIVATE "ZAV_GRIDFS_PEER=\"${ZAV_GRIDFS_PEER}\""
                                                           "ZAV_TEST_PYTHON=\"${ZAV_TEST_PYTHON}\"")
target_link_libraries(zav_gridfs_test_support PUBLIC Qt5::Core PRIVATE Qt5::Network)

# A store on such a server.
if(ZAV_WITH_MONGODB)
  add_library(zav_gridfs_store_test_support STATIC GridFsBox.cpp)
  zav_compile_options(zav_gridfs_store_test_support)
  target_link_libraries(zav_gridfs_store_test_support PUBLIC kozav_backend_core zav_gridfs_test_support
                                                             zav_file_test_support Qt5::Core)
endif()

# The peer itself, by an independent driver.
if(ZAV_TEST_PYTHON)
  add_test(NAME gridfs_peer COMMAND "${ZAV_TEST_PYTHON}" -B "${PROJECT_SOURCE_DIR}/tests/peers/check_gridfs_peer.py")
  zav_test_environment(gridfs_peer)
  set_tests_properties(gridfs_peer PROPERTIES LABELS "gridfs;quick" TIMEOUT 120)
endif()
