# The client while it is killed.
if(ZAV_BUILD_PANELS)
  zav_add_tests(client_tests PARTS 4 SECONDS 15 ON_MEMORY TIMEOUT 900 LABELS client fault TESTS client_batch_kills)
endif()
