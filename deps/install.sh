#!/usr/bin/env bash
# deps/install.sh [package|run|test|fuzz|coverage|bench|bench-native]: installs the Debian packages that are missing, for
# packaging the program (./package), for running it (./run), for all tests (./test), for fuzzing (./fuzz), for measuring
# what the tests run (./coverage) or how fast the program is (./bench). Says what and why first; uses sudo when not root;
# does nothing when all are there.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
. "$root/tools/lib.sh"

# Each line: what for, a colon, the packages.
install_packages_to_package() {
    cat <<'LIST'
the compiler for 64-bit Windows: g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 libz-mingw-w64-dev
the build: cmake ninja-build pkgconf make
building GLib, SQLite and GoogleTest for Windows: dpkg-dev gcc libc6-dev meson python3 tcl googletest
LIST
}

install_packages_to_run() {
    install_packages_to_package
    cat <<'LIST'
running Windows programs: wine wine64 fonts-wine libxcomposite1 libxcursor1 libxi6 libxrandr2 libxrender1
the virtual display and screenshots: xvfb x11-xkb-utils imagemagick
LIST
}

install_packages_to_test() {
    install_packages_to_run
    cat <<'LIST'
the native build: g++ libglib2.0-dev libsqlite3-dev libgtest-dev
GLib with the thread sanitizer: libffi-dev libpcre2-dev zlib1g-dev
the check of the source format: clang-format
LIST
}

# Nothing but the native build, which the next two have, too.
install_packages_to_bench-native() {
    cat <<'LIST'
the build: cmake ninja-build pkgconf
the native libraries: g++ libglib2.0-dev libsqlite3-dev libgtest-dev
LIST
}

install_packages_to_fuzz() {
    install_packages_to_bench-native
    cat <<'LIST'
the fuzzer and its sanitizers: clang-14 libclang-rt-14-dev llvm-14
LIST
}

install_packages_to_coverage() {
    install_packages_to_bench-native
    cat <<'LIST'
the compiler that counts and what reads its counters: clang-14 libclang-rt-14-dev llvm-14
the report: python3
LIST
}

install_packages_to_bench() {
    install_packages_to_run
    install_packages_to_bench-native
}

install_is_there() {
    [[ $(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

# Fills the array `missing` and tells what each package is for.
install_find_missing() {
    local purpose packages package
    missing=()
    while IFS=: read -r purpose packages; do
        for package in $packages; do
            if ! install_is_there "$package"; then
                missing+=("$package")
                quorlen_say "Missing: $package, for $purpose"
            fi
        done
    done < <("install_packages_to_$purpose_wanted")
}

install_as_root() {
    if (($(id -u) == 0)); then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        quorlen_fail "needs root or sudo for: $*"
    fi
}

install_missing() {
    install_as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
}

# The package lists may be absent or too old; they are fetched only when it does not work without.
install_all() {
    quorlen_say "Installing ${#missing[@]} packages with apt-get"
    if apt-get install -s -qq --no-install-recommends "${missing[@]}" >/dev/null 2>&1 && install_missing; then
        return 0
    fi
    quorlen_say "Fetching new package lists first"
    install_as_root apt-get update -q || quorlen_say "Some package lists cannot be had; trying with those that are there"
    install_missing
}

purpose_wanted=${1:-test}
[[ $purpose_wanted == @(package|run|test|fuzz|coverage|bench|bench-native) ]] ||
    quorlen_fail "usage: deps/install.sh [package|run|test|fuzz|coverage|bench|bench-native]"
install_find_missing
((${#missing[@]} == 0)) || install_all
