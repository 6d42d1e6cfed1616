# The painting of the table control, for Windows only: include it from where the other benchmarks are built.
if(WIN32)
  add_executable(vel_bench_paint
    "${CMAKE_SOURCE_DIR}/benchmarks/vel_bench_paint.cpp"
    "${CMAKE_SOURCE_DIR}/velgui/test/window_test.rc")
  target_link_libraries(vel_bench_paint PRIVATE velgui velgui_arithmetic vel_strict gdi32 user32 comctl32 ole32)
  add_test(NAME vel_bench_paint COMMAND vel_bench_paint --tiny)
  set_tests_properties(vel_bench_paint PROPERTIES RESOURCE_LOCK display LABELS window TIMEOUT 300)
endif()
