# Installs the build, moves the installation elsewhere, and builds and runs the consumer project against it.
#
# cmake -D BUILD_DIR=<build tree> -D WORK_DIR=<scratch> -D CONSUMER_DIR=<project> -D CONFIG=<configuration>
#       -D GENERATOR=<generator> -D QT5_DIR=<Qt's CMake package> -D CXX_COMPILER=<compiler>
#       -D CXX_FLAGS=<flags> -D PKG_CONFIG=<pkg-config> -D PANELS=<whether the panels were built>
#       -P InstallConsumer.cmake
cmake_minimum_required(VERSION 3.25)

# Runs a command to its end; a failure ends the script with what it wrote. Sets OUTPUT to its standard output.
function(run)
  list(JOIN ARGV "\" \"" command)
  message(STATUS "\"${command}\"")
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "ended with ${result}:\n${output}\n${errors}")
  endif()
  string(STRIP "${output}" output)
  set(OUTPUT "${output}" PARENT_SCOPE)
endfunction()

# Installs under one prefix and moves it to another: nothing may remember where it was installed first.
function(install_and_move prefix)
  run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --config "${CONFIG}" --prefix "${WORK_DIR}/first prefix")
  file(RENAME "${WORK_DIR}/first prefix" "${prefix}")
endfunction()

# A site of its own below WORK_DIR, so that no data of a user is touched, with two companies in it.
function(make_site prefix)
  set(ENV{ZAV_CONFIG} "${WORK_DIR}/site.ini")
  set(ENV{XDG_CONFIG_HOME} "${WORK_DIR}/home")
  set(ENV{XDG_DATA_HOME} "${WORK_DIR}/home")
  set(ENV{QT_QPA_PLATFORM} offscreen)
  find_program(zav_admin zav_admin PATHS "${prefix}" PATH_SUFFIXES bin REQUIRED NO_DEFAULT_PATH NO_CACHE)
  run("${zav_admin}" init --data-root "${WORK_DIR}/site data")
  run("${zav_admin}" company add --code AB --name "First company")
  run("${zav_admin}" company add --code CD --name "Second company")
endfunction()

function(build_consumer prefix)
  run("${CMAKE_COMMAND}" -S "${CONSUMER_DIR}" -B "${WORK_DIR}/build" -G "${GENERATOR}"
      "-DZavImport_ROOT=${prefix}" "-DQt5_DIR=${QT5_DIR}" "-DCMAKE_BUILD_TYPE=${CONFIG}"
      "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}" "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}")
  run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build" --config "${CONFIG}")
endfunction()

# Fails unless the consumer's program prints the number of companies.
function(expect_companies program count)
  find_program(path ${program} PATHS "${WORK_DIR}/build" PATH_SUFFIXES "${CONFIG}" REQUIRED NO_DEFAULT_PATH NO_CACHE)
  run("${path}")
  if(NOT OUTPUT STREQUAL count)
    message(FATAL_ERROR "${program} printed \"${OUTPUT}\" where ${count} companies are")
  endif()
endfunction()

# The .pc file must be complete and name the place that the installation was moved to.
function(check_pkgconfig prefix module header)
  file(GLOB_RECURSE found "${prefix}/*/${module}.pc")
  cmake_path(GET found PARENT_PATH folder)
  set(ENV{PKG_CONFIG_PATH} "${folder}")
  run("${PKG_CONFIG}" --print-errors --exists ${module})
  run("${PKG_CONFIG}" --variable=includedir ${module})
  string(REPLACE "\\ " " " include_dir "${OUTPUT}")
  if(NOT EXISTS "${include_dir}/${header}")
    message(FATAL_ERROR "${module}.pc names ${include_dir}, where ${header} is not")
  endif()
endfunction()

set(prefix "${WORK_DIR}/moved prefix")
file(REMOVE_RECURSE "${WORK_DIR}")
install_and_move("${prefix}")
make_site("${prefix}")
build_consumer("${prefix}")
check_pkgconfig("${prefix}" kozav_backend backend/HostInterface.h)
expect_companies(count_companies 2)
set(ENV{SITE_TO_WATCH} "${WORK_DIR}/site.ini")
set(ENV{ZAV_CONFIG} "${WORK_DIR}/no-such-site.ini")
expect_companies(watch_site 2)
set(ENV{ZAV_CONFIG} "${WORK_DIR}/site.ini")
if(PANELS)
  check_pkgconfig("${prefix}" zav_import ui/import_from_file/ZAV_ImportFromFile_Widget.h)
  expect_companies(show_panel 2)
endif()
