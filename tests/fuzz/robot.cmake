# The splitter of the robot's stand-in: fuzzed with libFuzzer where that is asked for, and in every build with the
# corpus and a fixed set of mutations of it.
include_guard(GLOBAL)

if(TARGET zav_robot_lib)
  set(fuzz_dir "${PROJECT_SOURCE_DIR}/tests/fuzz")
  set(fuzz_corpus "${fuzz_dir}/corpus/json_splitter")

  zav_add_test(robot_json_fuzz SOURCES "${fuzz_dir}/robot_json_fuzz.cpp" "${fuzz_dir}/JsonSplitterCheck.cpp"
               LIBRARIES zav_robot_lib LABELS robot)
  target_compile_definitions(robot_json_fuzz PRIVATE "ZAV_FUZZ_CORPUS=\"${fuzz_corpus}\"")

  option(ZAV_BUILD_FUZZERS "Build the libFuzzer targets (needs clang)" OFF)
  if(ZAV_BUILD_FUZZERS AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # The splitter's source is compiled in, so that libFuzzer sees its branches.
    add_executable(fuzz_json_splitter "${fuzz_dir}/JsonSplitterFuzzer.cpp" "${fuzz_dir}/JsonSplitterCheck.cpp"
                                      "${PROJECT_SOURCE_DIR}/robot_server/JsonSplitter.cpp")
    zav_compile_options(fuzz_json_splitter)
    # Made without the sanitizers, the precompiled headers do not fit.
    set_target_properties(fuzz_json_splitter PROPERTIES DISABLE_PRECOMPILE_HEADERS ON)
    target_compile_options(fuzz_json_splitter PRIVATE -fsanitize=fuzzer,address,undefined
                                                      -fno-sanitize-recover=undefined)
    target_link_options(fuzz_json_splitter PRIVATE -fsanitize=fuzzer,address,undefined)
    target_link_libraries(fuzz_json_splitter PRIVATE Qt5::Core)
  elseif(ZAV_BUILD_FUZZERS)
    message(WARNING "The libFuzzer targets are left out: they need clang, not ${CMAKE_CXX_COMPILER_ID}")
  endif()
endif()
