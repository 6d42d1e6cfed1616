#!/usr/bin/env bash
# Builds the libraries that Debian has no package for, once for all checkouts:
#   deps/build.sh windows       GLib, SQLite, GoogleTest and what they need, as static libraries for 64-bit Windows
#   deps/build.sh native-tsan   GLib with the thread sanitizer, for this machine
# The result lies in ${XDG_CACHE_HOME:-~/.cache}/quorlen/<target>-<hash of what builds it>; the link build/deps/<target>
# in the checkout points there. With nothing to do it takes no time.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
. "$root/tools/lib.sh"
. "$root/deps/sources.sh"

target=${1:-}
case $target in
    windows | native-tsan) . "$root/deps/$target.sh" ;;
    *) quorlen_fail "usage: deps/build.sh windows|native-tsan" ;;
esac
recipe=${target//-/_}

# What the result depends on: the recipes and the compiler.
prefix_hash() {
    {
        cat "$root/deps/build.sh" "$root/deps/sources.sh" "$root/deps/$target.sh"
        "${recipe}_compiler_version"
    } | sha256sum | cut -c1-16
}

# Fetches the sources and builds them into the folder $work; leaves the finished prefix in $built.
build_prefix() {
    local package name version option
    export LC_ALL=C.UTF-8 SOURCE_DATE_EPOCH=1700000000
    unset CFLAGS CXXFLAGS CPPFLAGS LDFLAGS DESTDIR
    stage=$work/stage
    mkdir -p "$stage" "$work/apt"
    quorlen_step "$log" "Source packages: reading the lists of this machine's Debian mirrors" sources_update "$work/apt"
    local -n packages=${recipe}_sources
    for package in "${packages[@]}"; do
        read -r name version option <<<"$package"
        quorlen_step "$log" "Source package $name $version" \
            sources_get "$work/apt" "$name" "$version" "$work/$name" ${option:+"$option"}
    done
    "${recipe}_build"
}

# Configure scripts cannot bear blanks in the name of the folder that they build in.
build_folder() {
    if [[ $cache == *[[:space:]]* ]]; then
        mktemp -d /tmp/quorlen-deps.XXXXXX
    else
        mktemp -d "$cache/build.XXXXXX"
    fi
}

# Builds in a temporary folder and moves the result to its place in one step, so that nobody ever sees half a build.
build_into_cache() {
    log=$cache/$target-build.log
    : >"$log"
    quorlen_say "Building the libraries for '$target' once (log: $log)"
    work=$(build_folder)
    trap 'rm -rf "$work" "$prefix.new"' EXIT
    trap 'exit 130' INT TERM HUP
    build_prefix
    rm -rf "$prefix.new"
    # shellcheck disable=SC2154 # set by the recipe
    cp -R "$built" "$prefix.new"
    mv -T "$prefix.new" "$prefix"
    quorlen_say "The libraries for '$target' are in $prefix"
}

cache=$(quorlen_cache_dir)
prefix=$cache/$target-$(prefix_hash)
if [[ ! -d $prefix ]]; then
    mkdir -p "$cache"
    exec 9>"$cache/$target.lock"
    flock --nonblock 9 || { quorlen_say "Waiting for another build of '$target'"; flock 9; }
    [[ -d $prefix ]] || build_into_cache
    exec 9>&-
fi
mkdir -p "$root/build/deps"
[[ $(readlink "$root/build/deps/$target" || true) == "$prefix" ]] || ln -sfnT "$prefix" "$root/build/deps/$target"
