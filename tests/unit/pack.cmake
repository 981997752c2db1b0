# Packing of folders. zav_file_test_support is the store tests' (store.cmake).
function(zav_add_pack_test subject source)
  zav_add_test(pack_${subject} SOURCES ${source} LIBRARIES zav_file_test_support Threads::Threads ${ARGN} LABELS pack)
endfunction()

zav_add_pack_test(content packContent.cpp)
zav_add_pack_test(pieces packPieces.cpp ZLIB::ZLIB)
zav_add_pack_test(links packLinks.cpp)
zav_add_pack_test(refusals packRefusals.cpp)
zav_add_pack_test(changes packChanges.cpp)
zav_add_pack_test(faults packFaults.cpp)
zav_add_test(pack_many SOURCES packMany.cpp LIBRARIES zav_file_test_support LABELS pack)
zav_add_test(pack_huge SOURCES packHuge.cpp LIBRARIES zav_file_test_support TIMEOUT 600 LABELS pack large)
