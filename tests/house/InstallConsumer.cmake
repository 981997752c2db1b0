# Builds and runs the consumer project against the installation (see Installed.cmake).
include("${CMAKE_CURRENT_LIST_DIR}/Installed.cmake")

# A site of its own below WORK_DIR, with two companies in it.
function(make_site)
  set(ENV{ZAV_CONFIG} "${WORK_DIR}/site.ini")
  find_program(zav_admin zav_admin PATHS "${prefix}" PATH_SUFFIXES bin REQUIRED NO_DEFAULT_PATH NO_CACHE)
  run("${zav_admin}" init --data-root "${WORK_DIR}/site data")
  run("${zav_admin}" company add --code AB --name "First company")
  run("${zav_admin}" company add --code CD --name "Second company")
endfunction()

# Fails unless the consumer's program prints the number of companies.
function(expect_companies program count)
  find_built(path ${program})
  run("${path}")
  expect_output("${count}")
endfunction()

# The .pc file must be complete and name the place that the installation was moved to.
function(check_pkgconfig module header)
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

make_site()
build_installed_project("${CMAKE_CURRENT_LIST_DIR}/consumer")
check_pkgconfig(kozav_backend backend/HostInterface.h)
expect_companies(count_companies 2)
set(ENV{SITE_TO_WATCH} "${WORK_DIR}/site.ini")
set(ENV{ZAV_CONFIG} "${WORK_DIR}/no-such-site.ini")
expect_companies(watch_site 2)
set(ENV{ZAV_CONFIG} "${WORK_DIR}/site.ini")
if(PANELS)
  check_pkgconfig(zav_import ui/import_from_file/ZAV_ImportFromFile_Widget.h)
  expect_companies(show_panel 2)
endif()
