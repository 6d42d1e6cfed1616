# shellcheck shell=bash disable=SC2154,SC2034,SC2164 # sourced: variables are shared, and set -e ends a failed cd
# The libraries of the Windows build, cross-compiled to static libraries; sourced by deps/build.sh.
# Everything is configured for the prefix "/quorlen-deps" and staged with DESTDIR, so that no path of the machine that
# built it gets into the product; the pkg-config files then find the real place by themselves.

windows_host=x86_64-w64-mingw32
windows_prefix=/quorlen-deps

windows_compiler_version() {
    "$windows_host-gcc-posix" -dumpfullversion
}

# Sets what configure scripts take from the environment.
windows_environment() {
    export CC="$windows_host-gcc-posix" CXX="$windows_host-g++-posix" AR="$windows_host-gcc-ar-posix"
    export RANLIB="$windows_host-gcc-ranlib-posix" NM="$windows_host-gcc-nm-posix" STRIP="$windows_host-strip"
    export RC="$windows_host-windres" WINDRES="$windows_host-windres"
    windows_flags="-O2 -ffunction-sections -fdata-sections -ffile-prefix-map=$work/="
    export PKG_CONFIG_LIBDIR="$stage$windows_prefix/lib/pkgconfig" PKG_CONFIG_PATH=
}

windows_libffi() {
    cd "$work/libffi"
    ./configure --host="$windows_host" --prefix="$windows_prefix" --disable-shared --enable-static --disable-docs \
        --disable-multi-os-directory CFLAGS="$windows_flags"
    make -j"$(quorlen_jobs)"
    make install DESTDIR="$stage"
}

# windows_cmake SOURCE OPTIONS...: configures, builds and installs a project with CMake.
windows_cmake() {
    local source=$1
    shift
    cmake -G Ninja -S "$source" -B "$source/build-windows" -DCMAKE_SYSTEM_NAME=Windows \
        -DCMAKE_SYSTEM_PROCESSOR=x86_64 -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX" \
        -DCMAKE_RC_COMPILER="$WINDRES" -DCMAKE_FIND_ROOT_PATH="/usr/$windows_host" \
        -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$windows_prefix" -DBUILD_SHARED_LIBS=OFF \
        -DCMAKE_C_FLAGS="$windows_flags" -DCMAKE_CXX_FLAGS="$windows_flags" "$@"
    DESTDIR="$stage" cmake --build "$source/build-windows" --target install
}

windows_pcre2() {
    windows_cmake "$work/pcre2" -DPCRE2_BUILD_TESTS=OFF -DPCRE2_BUILD_PCRE2GREP=OFF -DPCRE2_STATIC_PIC=OFF
}

# GLib insists on a libintl, even without translations.
windows_libintl() {
    cd "$work/gettext/gettext-runtime"
    ./configure --host="$windows_host" --prefix="$windows_prefix" --enable-threads=windows --disable-shared \
        --enable-static --disable-java --disable-csharp --disable-libasprintf --disable-curses \
        --without-libiconv-prefix --without-libintl-prefix CFLAGS="$windows_flags"
    make -C intl -j"$(quorlen_jobs)"
    make -C intl install DESTDIR="$stage"
}

# zlib is there as a binary package; taking a copy makes the prefix complete in itself.
windows_zlib() {
    local to=$stage$windows_prefix
    cp "/usr/$windows_host/include/zlib.h" "/usr/$windows_host/include/zconf.h" "$to/include/"
    cp "/usr/$windows_host/lib/libz.a" "$to/lib/"
    sed -E "s|^prefix=.*|prefix=$windows_prefix|; s|^(exec_prefix)=.*|\1=\${prefix}|; s|^(libdir)=.*|\1=\${prefix}/lib|;
        s|^(sharedlibdir)=.*|\1=\${libdir}|; s|^(includedir)=.*|\1=\${prefix}/include|" \
        "/usr/$windows_host/lib/pkgconfig/zlib.pc" >"$to/lib/pkgconfig/zlib.pc"
}

# The answers that meson would otherwise get by running programs, so that no Wine is needed here. GLib takes the
# compiler's own printf family, which groups digits by thousands; nothing of ours uses positional parameters, which are
# all that it lacks.
windows_meson_cross_file() {
    cat <<CROSS
[binaries]
c = '$CC'
cpp = '$CXX'
ar = '$AR'
strip = '$STRIP'
windres = '$WINDRES'
pkgconfig = 'pkg-config'

[properties]
sys_root = '$stage'
pkg_config_libdir = '$PKG_CONFIG_LIBDIR'
needs_exe_wrapper = true
have_c99_vsnprintf = true
have_c99_snprintf = true
have_unix98_printf = true
va_val_copy = true
growing_stack = false

[built-in options]
c_args = [$(for flag in $windows_flags; do printf "'%s', " "$flag"; done) '-DPCRE2_STATIC', '-I$stage$windows_prefix/include']
c_link_args = ['-L$stage$windows_prefix/lib']
cpp_args = ['-I$stage$windows_prefix/include']
cpp_link_args = ['-L$stage$windows_prefix/lib']

[host_machine]
system = 'windows'
cpu_family = 'x86_64'
cpu = 'x86_64'
endian = 'little'
CROSS
}

windows_glib() {
    windows_meson_cross_file >"$work/cross.ini"
    cd "$work/glib2.0"
    meson setup build-windows --cross-file "$work/cross.ini" --prefix="$windows_prefix" --libdir=lib \
        --wrap-mode=nodownload --buildtype release -Ddefault_library=static -Dtests=false -Dnls=disabled
    # The command line tools are of no use here; the libraries and headers are.
    DESTDIR="$stage" meson install -C build-windows
}

windows_sqlite3() {
    local to=$stage$windows_prefix
    cd "$work/sqlite3"
    # The amalgamation is made by tools of the building machine.
    env -u CC -u CXX -u AR -u RANLIB -u NM -u STRIP ./configure --disable-tcl
    env -u CC -u CXX -u AR -u RANLIB -u NM -u STRIP make sqlite3.c sqlite3.h
    # shellcheck disable=SC2086 # several flags
    "$CC" $windows_flags -DSQLITE_THREADSAFE=1 -DSQLITE_OMIT_LOAD_EXTENSION -c sqlite3.c -o sqlite3.o
    "$AR" rcs "$to/lib/libsqlite3.a" sqlite3.o
    cp sqlite3.h "$to/include/"
    cat >"$to/lib/pkgconfig/sqlite3.pc" <<PC
prefix=$windows_prefix
libdir=\${prefix}/lib
includedir=\${prefix}/include

Name: SQLite
Description: SQL database engine
Version: $(cat VERSION)
Libs: -L\${libdir} -lsqlite3
Cflags: -I\${includedir}
PC
}

windows_googletest() {
    cp -R /usr/src/googletest "$work/googletest"
    windows_cmake "$work/googletest" -DBUILD_GMOCK=OFF -Dgtest_disable_pthreads=OFF
}

# The pkg-config files find the prefix from their own place, and static linking is what everyone gets.
# Of the programs and manuals nothing is needed.
windows_finish() {
    local pc
    for pc in "$stage$windows_prefix"/lib/pkgconfig/*.pc; do
        sed -i -E "s|^prefix=.*|prefix=\${pcfiledir}/../..|; s|$windows_prefix|\${prefix}|g; s|$stage||g" "$pc"
    done
    cd "$stage$windows_prefix"
    rm -rf bin cmake man share lib/cmake lib/*.la lib/*posix* lib/*main* lib/pkgconfig/*posix* lib/pkgconfig/*main*
    sed -i '1i prefix=${pcfiledir}/../..' lib/pkgconfig/gtest.pc
    find lib -name '*.a' -exec "$STRIP" --strip-debug {} +
}

# The libraries of each package, with the package in front.
windows_libraries() {
    cat <<'LIST'
libffi libffi.a
pcre2 libpcre2-8.a
gettext libintl.a
sqlite3 libsqlite3.a
glib2.0 libgio-2.0.a libglib-2.0.a libgmodule-2.0.a libgobject-2.0.a libgthread-2.0.a
LIST
}

# Whoever passes on a program with the libraries inside has to tell whose they are: share/quorlen/libraries has a line
# per library, with its source package and that package's version, share/quorlen/copyright the packages' own words.
windows_origins() {
    local to=$stage$windows_prefix/share/quorlen package version libraries zlib=libz-mingw-w64-dev
    mkdir -p "$to/copyright"
    while read -r package libraries; do
        version=$(dpkg-parsechangelog -l "$work/$package/debian/changelog" -S Version)
        # shellcheck disable=SC2086 # several names
        printf "%s $package $version\\n" $libraries
        cp "$work/$package/debian/copyright" "$to/copyright/$package"
    done < <(windows_libraries) >"$to/libraries"
    package=$(dpkg-query -W -f='${source:Package}' "$zlib")
    printf 'libz.a %s %s\n' "$package" "$(dpkg-query -W -f='${source:Version}' "$zlib")" >>"$to/libraries"
    cp "/usr/share/doc/$zlib/copyright" "$to/copyright/$package"
}

windows_build() {
    windows_environment
    quorlen_step "$log" "libffi for Windows" windows_libffi
    quorlen_step "$log" "PCRE2 for Windows" windows_pcre2
    quorlen_step "$log" "libintl for Windows" windows_libintl
    quorlen_step "$log" "zlib for Windows" windows_zlib
    quorlen_step "$log" "SQLite for Windows" windows_sqlite3
    quorlen_step "$log" "GoogleTest for Windows" windows_googletest
    quorlen_step "$log" "GLib for Windows (about two minutes)" windows_glib
    quorlen_step "$log" "pkg-config files and clean-up" windows_finish
    quorlen_step "$log" "Origins of the libraries" windows_origins
    built=$stage$windows_prefix
}
# Debian's patches to gettext touch what its configure script is made from; without them nothing is made again.
windows_sources=("libffi 3.4.4" "pcre2 10.42" "gettext 0.21 --skip-patches" "sqlite3 3.40.1" "glib2.0 2.74.6")
