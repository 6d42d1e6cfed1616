# What is tested is built as it ships; optimising the tests themselves takes most of a build's time and gains nothing.
set(vel_test_options -O0)

# The entry of every test program, and the headers that most tests begin with, compiled once. Not in the native build,
# which sees that every test includes what it needs.
add_library(vel_test_main OBJECT "${CMAKE_SOURCE_DIR}/velcommon/test/vel_test_main.cpp")
target_link_libraries(vel_test_main PRIVATE vel_glib vel_gtest vel_strict)
target_compile_options(vel_test_main PRIVATE ${vel_test_options})
if(VEL_PRECOMPILE_TESTS)
  target_precompile_headers(vel_test_main PRIVATE <gtest/gtest.h> <gio/gio.h> <glib/gstdio.h> <algorithm> <cstring>
    <functional> <random> <string> <vector>)
endif()

# What every test program for Windows has beside its tests: the heaps are looked through after each test, and the
# handles are counted after each suite by those that link vel_test_handles.
if(WIN32)
  add_library(vel_test_heap_check OBJECT "${CMAKE_SOURCE_DIR}/velcommon/test/vel_test_heap_check.cpp")
  target_link_libraries(vel_test_heap_check PRIVATE vel_gtest vel_strict)
  add_library(vel_test_handles OBJECT "${CMAKE_SOURCE_DIR}/velgui/test/vel_test_handles.cpp")
  target_include_directories(vel_test_handles PUBLIC "${CMAKE_SOURCE_DIR}/velgui/test"
    PRIVATE "${CMAKE_SOURCE_DIR}/velcommon/test")
  target_link_libraries(vel_test_handles PRIVATE vel_gtest vel_strict PUBLIC gdi32 user32)
endif()

# vel_check_heap(TEST): runs a test with a heap that marks what is behind a block and what was freed, and with GLib's own
# allocator out of the way. The system's complaint about a block fails the test; that it has no room (allocate_...) is none.
function(vel_check_heap name)
  set_property(TEST ${name} APPEND PROPERTY ENVIRONMENT "WINEDEBUG=-all,warn+heap" "G_SLICE=always-malloc")
  set_property(TEST ${name} APPEND PROPERTY FAIL_REGULAR_EXPRESSION "(err|warn):heap:[b-z]")
endfunction()

# vel_add_test(NAME name [WINDOW] [STARTS_PROGRAMS] [ONE_THREAD] SOURCES ... LIBRARIES ...)
# One GoogleTest program, one CTest test. WINDOW: it opens real windows, so it wants the common controls manifest and the
# virtual display to itself. STARTS_PROGRAMS: they would inherit the marking heap, with which Wine is too slow for a program
# that reads gigabytes, and now and then fails to start one; its own heaps are looked through all the same.
# ONE_THREAD: it is long, and the thread sanitizer has nothing to look for in it.
function(vel_add_test)
  cmake_parse_arguments(arg "WINDOW;STARTS_PROGRAMS;ONE_THREAD" "NAME" "SOURCES;LIBRARIES" ${ARGN})
  if(arg_ONE_THREAD AND VEL_SANITIZE STREQUAL "thread")
    return()
  endif()
  add_executable(${arg_NAME} ${arg_SOURCES})
  target_include_directories(${arg_NAME} PRIVATE "${CMAKE_SOURCE_DIR}/velcommon/test")
  target_link_libraries(${arg_NAME} PRIVATE ${arg_LIBRARIES} vel_test_main vel_glib vel_gtest vel_strict)
  target_compile_options(${arg_NAME} PRIVATE ${vel_test_options})
  if(VEL_PRECOMPILE_TESTS)
    target_precompile_headers(${arg_NAME} REUSE_FROM vel_test_main)
  endif()
  # Relative, because a Windows program takes an absolute path without a drive for a relative one.
  file(RELATIVE_PATH results "${CMAKE_CURRENT_BINARY_DIR}" "${CMAKE_BINARY_DIR}/test-results")
  add_test(NAME ${arg_NAME} COMMAND ${arg_NAME} "--gtest_output=xml:${results}/${arg_NAME}.xml")
  set_tests_properties(${arg_NAME} PROPERTIES TIMEOUT 300)
  if(WIN32)
    target_link_libraries(${arg_NAME} PRIVATE vel_test_heap_check)
    if(NOT arg_STARTS_PROGRAMS)
      vel_check_heap(${arg_NAME})
    endif()
  endif()
  if(arg_WINDOW)
    target_sources(${arg_NAME} PRIVATE "${CMAKE_SOURCE_DIR}/velgui/test/window_test.rc")
    set_tests_properties(${arg_NAME} PROPERTIES RESOURCE_LOCK display LABELS window)
  endif()
endfunction()
