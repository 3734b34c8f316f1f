# Small helpers shared by the subsystem folders: warnings, the core and GUI
# library layers, and test registration.

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
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
                         PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen" TIMEOUT 300)
  else()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
  endif()
endfunction()
