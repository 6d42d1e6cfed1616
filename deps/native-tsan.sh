# shellcheck shell=bash disable=SC2154,SC2034,SC2164 # sourced: variables are shared, and set -e ends a failed cd
# GLib for this machine, built with the thread sanitizer; sourced by deps/build.sh. GLib's mutexes are futexes of its own
# making: unless GLib is instrumented too, the sanitizer sees no order between threads and reports races that are none.

native_tsan_sources=("glib2.0 2.74.6")

native_tsan_compiler_version() {
    c++ -dumpfullversion
    c++ -dumpmachine
}

native_tsan_glib() {
    cd "$work/glib2.0"
    # What the common library never uses stays out, and with it the need for more development packages.
    CC=cc CXX=c++ meson setup build-tsan --prefix="$native_tsan_prefix" --libdir=lib --wrap-mode=nodownload \
        --buildtype release -Ddefault_library=static -Dtests=false -Dnls=disabled -Dlibelf=disabled -Dxattr=false \
        -Dselinux=disabled -Dlibmount=disabled -Dman=false -Db_sanitize=thread -Db_lundef=false \
        -Dc_args="-g1 -fno-omit-frame-pointer -ffile-prefix-map=$work/="
    DESTDIR="$stage" meson install -C build-tsan
}

native_tsan_finish() {
    local pc
    for pc in "$stage$native_tsan_prefix"/lib/pkgconfig/*.pc; do
        sed -i -E "s|^prefix=.*|prefix=\${pcfiledir}/../..|; s|$native_tsan_prefix|\${prefix}|g" "$pc"
    done
    cd "$stage$native_tsan_prefix"
    rm -rf bin libexec share lib/gio
}

native_tsan_build() {
    native_tsan_prefix=/quorlen-deps
    quorlen_step "$log" "GLib with the thread sanitizer (about two minutes)" native_tsan_glib
    quorlen_step "$log" "pkg-config files and clean-up" native_tsan_finish
    built=$stage$native_tsan_prefix
}
