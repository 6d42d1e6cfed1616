# vel_add_test(NAME name [WINDOW] SOURCES ... LIBRARIES ...)
# One GoogleTest program, one CTest test. WINDOW: it opens real windows, so it wants the common controls manifest and the
# virtual display to itself.
function(vel_add_test)
  cmake_parse_arguments(arg "WINDOW" "NAME" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${arg_NAME} ${arg_SOURCES} "${CMAKE_SOURCE_DIR}/velcommon/test/vel_test_main.cpp")
  target_include_directories(${arg_NAME} PRIVATE "${CMAKE_SOURCE_DIR}/velcommon/test")
  target_link_libraries(${arg_NAME} PRIVATE ${arg_LIBRARIES} vel_gtest vel_strict)
  # What is tested is built as it ships; optimising the tests themselves takes most of a build's time and gains nothing.
  target_compile_options(${arg_NAME} PRIVATE -O0)
  # Relative, because a Windows program takes an absolute path without a drive for a relative one.
  file(RELATIVE_PATH results "${CMAKE_CURRENT_BINARY_DIR}" "${CMAKE_BINARY_DIR}/test-results")
  add_test(NAME ${arg_NAME} COMMAND ${arg_NAME} "--gtest_output=xml:${results}/${arg_NAME}.xml")
  set_tests_properties(${arg_NAME} PROPERTIES TIMEOUT 300)
  if(arg_WINDOW)
    target_sources(${arg_NAME} PRIVATE "${CMAKE_SOURCE_DIR}/velgui/test/window_test.rc")
    set_tests_properties(${arg_NAME} PROPERTIES RESOURCE_LOCK display LABELS window)
  endif()
endfunction()
