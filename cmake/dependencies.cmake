# GLib (with GIO for its error domain) and SQLite as the targets vel_glib and vel_sqlite3, GoogleTest as vel_gtest.
# They come from VEL_DEPS_PREFIX where one is given, from the system otherwise.
find_package(PkgConfig REQUIRED)

set(vel_pkg_config_static)
if(WIN32)
  # Nothing of the build machine's own libraries may leak into the cross build.
  set(ENV{PKG_CONFIG_LIBDIR} "${VEL_DEPS_PREFIX}/lib/pkgconfig")
  set(vel_pkg_config_static STATIC_)
elseif(VEL_DEPS_PREFIX)
  set(ENV{PKG_CONFIG_PATH} "${VEL_DEPS_PREFIX}/lib/pkgconfig")
  set(vel_pkg_config_static STATIC_)
endif()

function(vel_import_pkg target module)
  pkg_check_modules(${target}_pc REQUIRED ${module})
  add_library(${target} INTERFACE)
  # SYSTEM: warnings inside other people's headers are not ours to fix.
  target_include_directories(${target} SYSTEM INTERFACE ${${target}_pc_${vel_pkg_config_static}INCLUDE_DIRS})
  target_compile_options(${target} INTERFACE ${${target}_pc_${vel_pkg_config_static}CFLAGS_OTHER})
  target_link_directories(${target} INTERFACE ${${target}_pc_${vel_pkg_config_static}LIBRARY_DIRS})
  # Not ..._LDFLAGS: it names the folders once more, unquoted, and falls apart at a blank.
  target_link_libraries(${target} INTERFACE ${${target}_pc_${vel_pkg_config_static}LDFLAGS_OTHER}
    ${${target}_pc_${vel_pkg_config_static}LIBRARIES})
endfunction()

vel_import_pkg(vel_glib gio-2.0)
vel_import_pkg(vel_sqlite3 sqlite3)

add_library(vel_gtest INTERFACE)
if(WIN32)
  target_include_directories(vel_gtest SYSTEM INTERFACE "${VEL_DEPS_PREFIX}/include")
  target_link_libraries(vel_gtest INTERFACE "${VEL_DEPS_PREFIX}/lib/libgtest.a")
else()
  find_package(GTest REQUIRED)
  target_link_libraries(vel_gtest INTERFACE GTest::gtest)
endif()
