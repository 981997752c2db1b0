# Builds the installed contract suite with an adapter against the installation (see Installed.cmake), and runs it.
#
# ADAPTER  the adapter's folder, in share/zav_import of the installation or, where it is not there, in the source tree
# SKIPS    how many tests it may skip: those of promises that the implementation does not give
include("${CMAKE_CURRENT_LIST_DIR}/Installed.cmake")

file(GLOB_RECURSE suite "${prefix}/contract.cpp")
cmake_path(GET suite PARENT_PATH suite)
cmake_path(GET suite PARENT_PATH data_dir)
set(adapter "${data_dir}/${ADAPTER}")
if(NOT IS_DIRECTORY "${adapter}")
  set(adapter "${SOURCE_DIR}/${ADAPTER}")
endif()

# Not optimised: it takes longer to compile than to run.
find_program(zav_admin zav_admin PATHS "${prefix}" PATH_SUFFIXES bin REQUIRED NO_DEFAULT_PATH NO_CACHE)
string(TOUPPER "${CONFIG}" config)
build_installed_project("${suite}" "-DZAV_CONTRACT_ADAPTER=${adapter}" "-DZAV_ADMIN=${zav_admin}"
                        "-DCMAKE_CXX_FLAGS_${config}=-O0")

run("${CMAKE_CTEST_COMMAND}" --test-dir "${WORK_DIR}/build" --build-config "${CONFIG}" --parallel 2
    --no-tests=error --output-on-failure --verbose)
string(REGEX MATCHALL "Totals: [^\n]*" totals "${OUTPUT}")
set(passed 0)
set(skipped 0)
foreach(total IN LISTS totals)
  string(REGEX MATCH "([0-9]+) passed, 0 failed, ([0-9]+) skipped" found "${total}")
  math(EXPR passed "${passed} + ${CMAKE_MATCH_1}")
  math(EXPR skipped "${skipped} + ${CMAKE_MATCH_2}")
endforeach()
message(STATUS "${passed} passed, ${skipped} skipped")
list(LENGTH totals suites)
if(suites LESS 9 OR passed LESS 250 OR skipped GREATER SKIPS)
  message(FATAL_ERROR "${suites} suites ran")
endif()
