# What the tests of the installation share. Run by itself with INSTALL set it makes the installation that they use.
#
# BUILD_DIR, SOURCE_DIR                 build and source tree
# INSTALLED_DIR                         where the installation is made
# WORK_DIR                              the test's own folder
# CONFIG, GENERATOR, QT5_DIR, CXX_COMPILER, CXX_COMPILER_LAUNCHER, CXX_FLAGS, PKG_CONFIG
# PANELS                                whether the panels were built
cmake_minimum_required(VERSION 3.25)

set(prefix "${INSTALLED_DIR}/moved prefix")

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

# Fails unless the last run printed that.
macro(expect_output text)
  if(NOT OUTPUT STREQUAL "${text}")
    message(FATAL_ERROR "printed \"${OUTPUT}\", not \"${text}\"")
  endif()
endmacro()

# Builds a project against the installation, in the folder build of the test, with further arguments for CMake.
function(build_installed_project source_dir)
  run("${CMAKE_COMMAND}" -S "${source_dir}" -B "${WORK_DIR}/build" -G "${GENERATOR}"
      "-DZavImport_ROOT=${prefix}" "-DQt5_DIR=${QT5_DIR}" "-DCMAKE_BUILD_TYPE=${CONFIG}"
      "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}" "-DCMAKE_CXX_COMPILER_LAUNCHER=${CXX_COMPILER_LAUNCHER}"
      "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}" ${ARGN})
  run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build" --config "${CONFIG}" --parallel 2)
endfunction()

# Sets OUT to a program that the project has made.
macro(find_built out name)
  find_program(${out} ${name} PATHS "${WORK_DIR}/build" PATH_SUFFIXES "${CONFIG}" REQUIRED NO_DEFAULT_PATH NO_CACHE)
endmacro()

# No data of a user is touched.
file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")
set(ENV{XDG_CONFIG_HOME} "${WORK_DIR}/home")
set(ENV{XDG_DATA_HOME} "${WORK_DIR}/home")
set(ENV{QT_QPA_PLATFORM} offscreen)

if(INSTALL)
  # Nothing may remember where it was installed first.
  file(REMOVE_RECURSE "${INSTALLED_DIR}")
  run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --config "${CONFIG}" --prefix "${INSTALLED_DIR}/first prefix")
  file(RENAME "${INSTALLED_DIR}/first prefix" "${prefix}")
endif()
