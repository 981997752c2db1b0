# Flags of our own targets: zav_compile_options(<target>) on every one.

function(zav_compile_options target)
  set_property(GLOBAL APPEND PROPERTY ZAV_OWN_TARGETS ${target})
  target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_compile_definitions(
    ${target}
    PRIVATE QT_NO_CAST_TO_ASCII
            QT_NO_CAST_FROM_ASCII
            QT_NO_CAST_FROM_BYTEARRAY
            QT_NO_FOREACH
            QT_NO_KEYWORDS
            QT_STRICT_ITERATORS
            QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
            QT_DEPRECATED_WARNINGS
            QT_DISABLE_DEPRECATED_BEFORE=0x050f00)
  if(MSVC)
    target_compile_options(${target} PRIVATE /utf-8 /W4 /permissive-)
    if(ZAV_WARNINGS_AS_ERRORS)
      target_compile_options(${target} PRIVATE /WX)
    endif()
    return()
  endif()
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor
                                           -Woverloaded-virtual -fstack-protector-strong)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # Qt's macros for logging have no arguments for theirs.
    target_compile_options(${target} PRIVATE -Wno-gnu-zero-variadic-macro-arguments)
  endif()
  if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # A type with a field of a source's own type is no header's when sources are compiled together.
    target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
  endif()
  if(ZAV_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(ZAV_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${ZAV_SANITIZE} -fno-sanitize-recover=undefined
                                             -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${ZAV_SANITIZE})
    target_compile_definitions(${target} PRIVATE ZAV_SANITIZED)
  else()
    target_compile_definitions(${target} PRIVATE $<$<CONFIG:Release,RelWithDebInfo>:_FORTIFY_SOURCE=2>)
  endif()
  if(NOT APPLE)
    target_link_options(${target} PRIVATE -Wl,-z,relro -Wl,-z,now)
  endif()
endfunction()
