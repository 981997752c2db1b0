# Builds the installed example host against the installation (see Installed.cmake), works its window, has the program
# import two job folders, and looks at what its panels show and what lies on the disk.
include("${CMAKE_CURRENT_LIST_DIR}/Installed.cmake")

# Fails where a program needs the backend: this host has services of its own.
function(expect_no_backend program)
  file(GET_RUNTIME_DEPENDENCIES EXECUTABLES "${program}" RESOLVED_DEPENDENCIES_VAR found UNRESOLVED_DEPENDENCIES_VAR lost
       DIRECTORIES "${prefix}/lib")
  if(lost OR NOT found MATCHES "libzav_import" OR found MATCHES "libkozav_backend")
    message(FATAL_ERROR "${program} needs ${found}, and does not find ${lost}")
  endif()
endfunction()

file(GLOB_RECURSE example "${prefix}/HostWindow.cpp")
cmake_path(GET example PARENT_PATH example)
build_installed_project("${CMAKE_CURRENT_LIST_DIR}/host_operator" "-DEXAMPLE_HOST=${example}")
find_built(operator host_operator)
run("${operator}")
find_program(host example_host PATHS "${WORK_DIR}/build/example_host" PATH_SUFFIXES "${CONFIG}" REQUIRED NO_DEFAULT_PATH
             NO_CACHE)
expect_no_backend("${host}")

set(site "${WORK_DIR}/site")
foreach(job "board one" "board two")
  file(WRITE "${WORK_DIR}/jobs/${job}/matrix/matrix" "STEP {}\n")
  file(WRITE "${WORK_DIR}/jobs/${job}/readme.json" "{\"resource\": \"of ${job}\"}")
endforeach()
run("${host}" "${site}" --import "${WORK_DIR}/jobs/board one" --picture "${WORK_DIR}/dark.png")
expect_output(FC000001)
run("${host}" "${site}" --import "${WORK_DIR}/jobs/board two" --company "Second company" --plain)
expect_output("FC000001\nSC000001")
run("${host}" "${site}" --place --picture "${WORK_DIR}/place.png")
expect_output("FC000001\nSC000001")

# Both jobs are whole: the manifest was read, and the stored archive holds the folder.
file(READ "${site}/rows.json" rows)
foreach(job 0 1)
  string(JSON resource GET "${rows}" compressed ${job} resource)
  string(JSON name GET "${rows}" compressed ${job} jobName)
  string(JSON stored GET "${rows}" compressed ${job} storedName)
  if(NOT resource STREQUAL "of ${name}")
    message(FATAL_ERROR "the manifest of ${name} says \"${resource}\"")
  endif()
  file(ARCHIVE_EXTRACT INPUT "${site}/files/example/jobs/${stored}" DESTINATION "${WORK_DIR}/unpacked ${job}")
  file(READ "${WORK_DIR}/unpacked ${job}/matrix/matrix" matrix)
  if(NOT matrix STREQUAL "STEP {}\n")
    message(FATAL_ERROR "${stored} holds \"${matrix}\"")
  endif()
endforeach()
