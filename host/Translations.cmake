# The catalogues of the client's texts: host/translations/*.ts become .qm files, which lie in the program under
# :/translations. Sets client_translations, the sources that hold them.
file(GLOB client_catalogues CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/translations/*.ts")
qt5_add_translation(client_messages ${client_catalogues})
set(catalogue_list "")
foreach(messages IN LISTS client_messages)
  get_filename_component(name "${messages}" NAME)
  string(APPEND catalogue_list "    <file alias=\"${name}\">${messages}</file>\n")
endforeach()
file(CONFIGURE OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/zav_client_translations.qrc"
     CONTENT "<RCC>\n  <qresource prefix=\"/translations\">\n@catalogue_list@  </qresource>\n</RCC>\n" @ONLY)
qt5_add_resources(client_translations "${CMAKE_CURRENT_BINARY_DIR}/zav_client_translations.qrc" OPTIONS --no-compress)

# Reads the texts out of the sources into the catalogues, for a translator to go on with. The source's English has plural
# forms only. By hand: a build changes no sources. The headers tell the namespaces of the classes, which are the contexts of
# their texts.
set(lupdate_options -silent -extensions cpp,h -I "${PROJECT_SOURCE_DIR}" -locations none -no-ui-lines)
set_property(GLOBAL PROPERTY ZAV_LUPDATE_OPTIONS ${lupdate_options})
set(update_commands "")
foreach(catalogue IN LISTS client_catalogues)
  set(plural_only "")
  if(catalogue MATCHES "_en\\.ts$")
    set(plural_only -pluralonly)
  endif()
  list(APPEND update_commands COMMAND Qt5::lupdate ${lupdate_options} -no-obsolete ${plural_only}
       "${CMAKE_CURRENT_SOURCE_DIR}" -ts "${catalogue}")
endforeach()
add_custom_target(update_translations ${update_commands} VERBATIM)
