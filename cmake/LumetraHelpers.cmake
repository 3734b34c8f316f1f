# Small helpers shared by the subsystem folders: warnings, the core and GUI
# library layers, test registration and precompiled headers.

# Precompiled headers: the standard headers most sources include, GoogleTest
# for the tests and the Qt headers the windows use. Only for targets with
# several sources: the header costs about as much to precompile as it saves in
# two of them. On by default with clang, which reads only the parts of a
# precompiled header a source uses (the sanitizer and fuzz trees). GCC loads
# all of it for every source, which saves little beyond the Qt windows, and
# GCC 12 then reports false -Warray-bounds and -Wstringop-overflow from inside
# libstdc++. -DLUMETRA_PCH=OFF builds without,
# which also shows a missing include.
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  set(_pch_default ON)
else()
  set(_pch_default OFF)
endif()
option(LUMETRA_PCH "Precompile the common standard, GoogleTest and Qt headers" ${_pch_default})
set(LUMETRA_PCH_STD <algorithm> <array> <cmath> <cstdint> <cstdio> <cstring> <filesystem>
    <functional> <limits> <memory> <optional> <string> <string_view> <vector>)
set(LUMETRA_PCH_QT_GUI <QColor> <QImage> <QPainter> <QString>)
set(LUMETRA_PCH_QT_WIDGETS ${LUMETRA_PCH_QT_GUI} <QAction> <QApplication> <QCheckBox>
    <QFileDialog> <QFileInfo> <QKeyEvent> <QLabel> <QLineEdit> <QMainWindow> <QMenu> <QMenuBar>
    <QMessageBox> <QMouseEvent> <QPushButton> <QSlider> <QStatusBar> <QTimer> <QVBoxLayout>
    <QWidget>)

# Precompiles the standard headers and the given ones for target when it has
# at least three translation units (AUTOMOC adds one).
function(lumetra_precompile target)
  if(NOT LUMETRA_PCH)
    return()
  endif()
  get_target_property(sources ${target} SOURCES)
  list(FILTER sources INCLUDE REGEX "\\.cpp$")
  list(LENGTH sources units)
  get_target_property(automoc ${target} AUTOMOC)
  if(automoc)
    math(EXPR units "${units} + 1")
  endif()
  if(units LESS 3)
    return()
  endif()
  target_precompile_headers(${target} PRIVATE ${LUMETRA_PCH_STD} ${ARGN})
endfunction()

function(lumetra_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
  # GCC 12 reports a false -Wrestrict inside std::string concatenation at -O2
  # (GCC bug 105651); later compilers do not.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
  if(LUMETRA_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=address,undefined -fno-omit-frame-pointer
                                             -fno-sanitize-recover=undefined)
    target_link_options(${target} PRIVATE -fsanitize=address,undefined)
  endif()
endfunction()

# A core library: standard C++ only. It never links Qt, so a Qt include fails
# to compile here.
function(lumetra_core_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ARG_LINKS} Threads::Threads)
  lumetra_set_warnings(${name})
  lumetra_precompile(${name})
  set_property(GLOBAL APPEND PROPERTY LUMETRA_CORE_LIBS ${name})
endfunction()

# A Qt piece of a subsystem (its window, or QtGui drawing). Built only with LUMETRA_GUI.
function(lumetra_gui_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  set_target_properties(${name} PROPERTIES AUTOMOC ON)
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ARG_LINKS})
  lumetra_set_warnings(${name})
  if("Qt6::Widgets" IN_LIST ARG_LINKS)
    lumetra_precompile(${name} ${LUMETRA_PCH_QT_WIDGETS})
  else()
    lumetra_precompile(${name} ${LUMETRA_PCH_QT_GUI})
  endif()
  set_property(GLOBAL APPEND PROPERTY LUMETRA_GUI_LIBS ${name})
endfunction()

# One GoogleTest executable per subsystem, registered with CTest. GUI tests
# run on Qt's offscreen platform and are skipped in a build without Qt.
function(lumetra_add_test name)
  cmake_parse_arguments(ARG "GUI" "" "SOURCES;LINKS" ${ARGN})
  # Window tests need Qt; the sanitizer build leaves the Qt pieces out.
  if(ARG_GUI AND NOT LUMETRA_GUI)
    return()
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LINKS} GTest::gtest GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  lumetra_set_warnings(${name})
  if(ARG_GUI)
    set_target_properties(${name} PROPERTIES AUTOMOC ON)
    lumetra_precompile(${name} <gtest/gtest.h> ${LUMETRA_PCH_QT_WIDGETS})
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
                         PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen" TIMEOUT 300)
  else()
    lumetra_precompile(${name} <gtest/gtest.h>)
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
  endif()
endfunction()
