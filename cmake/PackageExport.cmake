# Installation: libraries, public headers, the CMake package ZavImport and the pkg-config files.
include(CMakePackageConfigHelpers)

set(ZAV_INSTALL_HEADERS "${CMAKE_INSTALL_INCLUDEDIR}/zav_import")
set(ZAV_INSTALL_PACKAGE "${CMAKE_INSTALL_LIBDIR}/cmake/ZavImport")
set(ZAV_INSTALL_PKGCONFIG "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

# Sets OUT to the Qt modules that TARGET links: what its consumers must find before they import it.
function(zav_linked_qt_modules target out)
  get_target_property(libraries ${target} LINK_LIBRARIES)
  get_target_property(interface_libraries ${target} INTERFACE_LINK_LIBRARIES)
  set(modules ${libraries} ${interface_libraries})
  list(FILTER modules INCLUDE REGEX "^Qt5::")
  list(TRANSFORM modules REPLACE "^Qt5::" "")
  list(REMOVE_DUPLICATES modules)
  set(${out} "${modules}" PARENT_SCOPE)
endfunction()

# Installs TARGET as a component of the package. Each has an export file of its own, so that a consumer of the
# backend needs none of the panels' dependencies.
function(zav_install_component component target)
  zav_linked_qt_modules(${target} modules)
  list(JOIN modules " " modules)
  set(ZAV_QT_${component} "${modules}" PARENT_SCOPE)
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${component})
  install(TARGETS ${target} EXPORT ZavImport_${component}
          RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
          LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
          ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
  install(EXPORT ZavImport_${component} FILE ZavImport_${component}.cmake NAMESPACE ZavImport::
          DESTINATION "${ZAV_INSTALL_PACKAGE}")
endfunction()

# Installs a header so that it is included by the same path as in the source tree.
function(zav_install_header header)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES "${PROJECT_SOURCE_DIR}/${header}" DESTINATION "${ZAV_INSTALL_HEADERS}/${folder}")
endfunction()

# The .pc files lie a fixed way below the prefix and find it from there: they move with the installation.
function(zav_install_pkgconfig name)
  string(REGEX REPLACE "[^/]+" ".." ZAV_PKGCONFIG_TO_PREFIX "${ZAV_INSTALL_PKGCONFIG}")
  configure_file("packaging/${name}.pc.in" "${PROJECT_BINARY_DIR}/packaging/${name}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/packaging/${name}.pc" DESTINATION "${ZAV_INSTALL_PKGCONFIG}")
endfunction()

# Installed programs find our libraries beside themselves, wherever the prefix has been moved to.
function(zav_set_install_rpath)
  if(DEFINED CMAKE_INSTALL_RPATH OR WIN32)
    return()
  endif()
  file(RELATIVE_PATH bin_to_lib "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
  set(origin "$ORIGIN")
  if(APPLE)
    set(origin "@loader_path")
  endif()
  foreach(program zav_client zav_admin zav_robot zav_samples)
    if(TARGET ${program})
      set_target_properties(${program} PROPERTIES INSTALL_RPATH "${origin}/${bin_to_lib}")
    endif()
  endforeach()
endfunction()

zav_install_component(services zav_services)
zav_install_component(kozav_backend kozav_backend)
zav_install_pkgconfig(kozav_backend)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/services/" DESTINATION "${ZAV_INSTALL_HEADERS}/services"
        FILES_MATCHING PATTERN "*.h")
zav_install_header(backend/HostInterface.h)
set(ZAV_PACKAGE_COMPONENTS "services kozav_backend")

if(TARGET zav_import)
  zav_install_component(zav_import zav_import)
  zav_install_pkgconfig(zav_import)
  zav_install_header(ui/PanelTheme.h)
  zav_install_header(ui/import_from_file/ZAV_ImportFromFile_Widget.h)
  zav_install_header(ui/import_from_file/StyleSheets.h)
  zav_install_header(ui/import_from_file/BatchDirectory.h)
  if(EXISTS "${PROJECT_SOURCE_DIR}/ui/import_list/ZAV_Import_Widget.h")
    zav_install_header(ui/import_list/ZAV_Import_Widget.h)
  endif()
  install(FILES "${PROJECT_BINARY_DIR}/generated/zav_import_export.h" DESTINATION "${ZAV_INSTALL_HEADERS}")
  string(APPEND ZAV_PACKAGE_COMPONENTS " zav_import")
endif()

# What developers of hosts and of services begin from, and prove their work with. The adapter of this tree, which knows the
# backend from within, stays here.
set(ZAV_INSTALL_CONTRACT "${CMAKE_INSTALL_DATADIR}/zav_import/contract")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples/host" DESTINATION "${CMAKE_INSTALL_DATADIR}/zav_import/examples")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/tests/contract/" DESTINATION "${ZAV_INSTALL_CONTRACT}"
        FILES_MATCHING REGEX "/contract/[^/]*\\.(cpp|h|md)$" REGEX "/contract/ContractSite\\.cpp$" EXCLUDE
        PATTERN project EXCLUDE PATTERN template EXCLUDE)
install(FILES "${PROJECT_SOURCE_DIR}/tests/contract/project/CMakeLists.txt" DESTINATION "${ZAV_INSTALL_CONTRACT}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/tests/contract/template" DESTINATION "${ZAV_INSTALL_CONTRACT}")

zav_set_install_rpath()

configure_package_config_file(cmake/ZavImportConfig.cmake.in "${PROJECT_BINARY_DIR}/cmake/ZavImportConfig.cmake"
                              INSTALL_DESTINATION "${ZAV_INSTALL_PACKAGE}" NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/cmake/ZavImportConfigVersion.cmake"
                                 COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/cmake/ZavImportConfig.cmake"
              "${PROJECT_BINARY_DIR}/cmake/ZavImportConfigVersion.cmake" DESTINATION "${ZAV_INSTALL_PACKAGE}")
