# Precompiled headers of our own targets: zav_precompile_headers() once all targets are there.
#
# A precompiled header fits whoever compiles with the same options and has at least its definitions, so a few are made
# once and shared. Which one a target takes follows from the Qt modules that it links: QtTest's header reads the
# definitions that the modules bring, and so there is one for tests with widgets and one for tests without. Every source
# still includes what it uses; ZAV_PRECOMPILED_HEADERS=OFF builds the same.
option(ZAV_PRECOMPILED_HEADERS "Compile the headers of Qt and of the standard library once" ON)

set(ZAV_PRECOMPILED_CORE
    <QByteArray> <QCoreApplication> <QDateTime> <QDir> <QFile> <QFileInfo> <QHash> <QJsonArray> <QJsonDocument>
    <QJsonObject> <QLoggingCategory> <QObject> <QRegularExpression> <QString> <QStringList> <QUuid> <QVariant>
    <algorithm> <array> <chrono> <functional> <map> <memory> <optional> <string> <utility> <vector>)
set(ZAV_PRECOMPILED_WIDGETS
    <QApplication> <QComboBox> <QHeaderView> <QLabel> <QLayout> <QLineEdit> <QMessageBox> <QProgressBar> <QPushButton>
    <QTableWidget> <QWidget>)
set(ZAV_PRECOMPILED_TEST <QProcess> <QSignalSpy> <QTcpServer> <QTcpSocket> <QTemporaryDir> <QTest>)

# Sets OUT to every target that TARGET links, itself included, however far away.
function(zav_linked_targets target out)
  set(found "${target}")
  set(open "${target}")
  while(open)
    list(POP_FRONT open current)
    get_target_property(libraries ${current} INTERFACE_LINK_LIBRARIES)
    get_target_property(type ${current} TYPE)
    if(NOT type STREQUAL "INTERFACE_LIBRARY")
      get_target_property(own ${current} LINK_LIBRARIES)
      list(APPEND libraries ${own})
    endif()
    foreach(library IN LISTS libraries)
      if(TARGET "${library}" AND NOT library IN_LIST found)
        list(APPEND found "${library}")
        list(APPEND open "${library}")
      endif()
    endforeach()
  endwhile()
  set(${out} "${found}" PARENT_SCOPE)
endfunction()

# The target that owns the precompiled header called KIND; made when it is first asked for.
function(zav_precompiled_owner kind out)
  set(owner "zav_precompiled_${kind}")
  set(${out} "${owner}" PARENT_SCOPE)
  if(TARGET ${owner})
    return()
  endif()
  set(headers ${ZAV_PRECOMPILED_CORE})
  set(libraries Qt5::Core)
  if(kind MATCHES "widgets")
    list(APPEND headers ${ZAV_PRECOMPILED_WIDGETS})
    list(APPEND libraries Qt5::Widgets)
  endif()
  if(kind MATCHES "test")
    list(APPEND headers ${ZAV_PRECOMPILED_TEST})
    list(APPEND libraries Qt5::Network Qt5::Test)
  endif()
  set(source "${PROJECT_BINARY_DIR}/generated/${owner}.cpp")
  file(CONFIGURE OUTPUT "${source}" CONTENT "// The precompiled header is all that this target is for.\n")
  add_library(${owner} OBJECT "${source}")
  zav_compile_options(${owner})
  target_link_libraries(${owner} PRIVATE ${libraries})
  target_precompile_headers(${owner} PRIVATE ${headers})
endfunction()

# Gives every target that has our options the precompiled header that fits it.
function(zav_precompile_headers)
  get_property(targets GLOBAL PROPERTY ZAV_OWN_TARGETS)
  foreach(target IN LISTS targets)
    zav_linked_targets(${target} linked)
    set(kind core)
    if(Qt5::Widgets IN_LIST linked)
      set(kind widgets)
    endif()
    if(Qt5::Test IN_LIST linked)
      string(PREPEND kind "test_")
      target_link_libraries(${target} PRIVATE Qt5::Network)
    endif()
    zav_precompiled_owner(${kind} owner)
    target_precompile_headers(${target} REUSE_FROM ${owner})
  endforeach()
endfunction()
