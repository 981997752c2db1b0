# A MariaDB server that tests start for themselves, and certificates for servers.
find_program(ZAV_MARIADBD mariadbd PATHS /usr/sbin /usr/libexec DOC "Server that tests on MariaDB start")
find_program(ZAV_MARIADB_INSTALL_DB mariadb-install-db PATHS /usr/sbin DOC "Makes the data folder of such a server")
if(NOT ZAV_MARIADBD OR NOT ZAV_MARIADB_INSTALL_DB)
  message(STATUS "No mariadbd: the tests on MariaDB are left out")
endif()

add_library(zav_mariadb_test_support STATIC BoundProcess.cpp MariaDbServer.cpp ServerRelay.cpp TableLock.cpp
            TestAuthority.cpp)
zav_compile_options(zav_mariadb_test_support)
target_compile_definitions(zav_mariadb_test_support PRIVATE "ZAV_MARIADBD=\"${ZAV_MARIADBD}\""
                                                            "ZAV_MARIADB_INSTALL_DB=\"${ZAV_MARIADB_INSTALL_DB}\"")
target_link_libraries(zav_mariadb_test_support PUBLIC kozav_backend_core Qt5::Core Qt5::Network PRIVATE Qt5::Sql)
