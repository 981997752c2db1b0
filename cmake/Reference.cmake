# The target "docs": the reference of the installed headers in build/<preset>/reference/html, where Doxygen is there.
# A warning is an error: what is said of an operation must fit it.
find_package(Doxygen 1.9 QUIET)
if(NOT DOXYGEN_FOUND)
  return()
endif()

set(DOXYGEN_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/reference")
set(DOXYGEN_STRIP_FROM_PATH "${PROJECT_SOURCE_DIR}")
set(DOXYGEN_STRIP_FROM_INC_PATH "${PROJECT_SOURCE_DIR}")
set(DOXYGEN_EXTRACT_ALL YES)
set(DOXYGEN_QUIET YES)
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)
# A parameter whose name says all has no line of its own.
set(DOXYGEN_WARN_IF_INCOMPLETE_DOC NO)
# What Qt's and our own macros would stand for is nothing to a reader.
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
set(DOXYGEN_PREDEFINED KOZAV_SERVICES_API= ZAV_IMPORT_EXPORT= Q_OBJECT= Q_SIGNALS=public "Q_SLOTS="
                       "Q_DECLARE_METATYPE(x)=" "Q_DISABLE_COPY(x)=" "Q_DECL_OVERRIDE=override")
set(reference_inputs services backend/HostInterface.h ui/PanelTheme.h ui/import_from_file/ZAV_ImportFromFile_Widget.h
                     ui/import_from_file/StyleSheets.h ui/import_from_file/BatchDirectory.h
                     ui/import_list/ZAV_Import_Widget.h)
doxygen_add_docs(docs ${reference_inputs} WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}"
                 COMMENT "Writing the reference of the installed headers")
