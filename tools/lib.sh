# shellcheck shell=bash
# Shared by the scripts of this repository; sourced, never run. Wants bash with `set -euo pipefail`.

# The checkout's folder, wherever the sourcing script was started from.
quorlen_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Tells the user what happens now. Everything that takes longer than a few seconds is announced.
quorlen_say() {
    printf '[%s] %s\n' "$(date +%H:%M:%S)" "$*" >&2
}

quorlen_fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# Reports every 20 seconds that something still runs, until its standard input is closed.
quorlen_heartbeat() {
    local start=$SECONDS status=0
    trap '' INT
    while :; do
        read -r -t 20 _ || status=$?
        ((status > 128)) || return 0
        status=0
        quorlen_say "$1: still at it after $((SECONDS - start)) s"
    done
}

# quorlen_step LOG TEXT COMMAND...: runs a command with its output in LOG and tells how long it took.
# The log's end is shown only when the command fails; its status is passed on.
quorlen_step() {
    local log=$1 text=$2 start=$SECONDS status=0 beat beat_pid
    shift 2
    mkdir -p "$(dirname "$log")"
    quorlen_say "$text ..."
    exec {beat}> >(quorlen_heartbeat "$text")
    beat_pid=$!
    # A subshell of its own with -e, because -e is off inside a function whose status is tested.
    set +e
    (set -e; exec {beat}>&-; "$@") >>"$log" 2>&1 </dev/null
    status=$?
    set -e
    exec {beat}>&-
    wait "$beat_pid" || true
    if ((status != 0)); then
        quorlen_say "$text: FAILED with status $status after $((SECONDS - start)) s. The end of $log:"
        tail -n 40 "$log" >&2
        return "$status"
    fi
    quorlen_say "$text: done in $((SECONDS - start)) s"
}

# The folder for what is built once for all checkouts.
quorlen_cache_dir() {
    printf '%s\n' "${XDG_CACHE_HOME:-$HOME/.cache}/quorlen"
}

# Has everything that is started from here on put its temporary files into the checkout.
quorlen_keep_temporary_files() {
    export TMPDIR=$quorlen_root/build/tmp
    mkdir -p "$TMPDIR"
}

quorlen_jobs() {
    nproc
}

# Points Wine and what it uses (fonts, menus, user folders) into one folder, by default inside the checkout, so that
# nothing of the user's own is read or written.
quorlen_wine_environment() {
    export QUORLEN_WINE_DIR=${QUORLEN_WINE_DIR:-$quorlen_root/build/wine}
    export WINEPREFIX=$QUORLEN_WINE_DIR/prefix HOME=$QUORLEN_WINE_DIR/home
    # Debian's Wine keeps its server's socket in TMPDIR, where there is no /run/user.
    export TMPDIR=$QUORLEN_WINE_DIR/tmp
    export XDG_CACHE_HOME=$HOME/.cache XDG_CONFIG_HOME=$HOME/.config XDG_DATA_HOME=$HOME/.local/share
    export WINEDEBUG=${WINEDEBUG:--all} WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe='
}

# Ends every Windows program of the project's prefix and Wine's server, and takes away what the server leaves outside.
# In a subshell, because the environment of the rest stays as it is.
quorlen_wine_stop() (
    quorlen_wine_environment
    [[ -d $WINEPREFIX ]] || exit 0
    wineserver -k 2>/dev/null || true
    wineserver -w 2>/dev/null || true
    local sockets
    sockets=/run/user/$(id -u)/wine
    rm -rf "$sockets/server-$(printf '%x-%x' "$(stat -c %d "$WINEPREFIX")" "$(stat -c %i "$WINEPREFIX")")"
    rmdir "$sockets" 2>/dev/null || true
)

# The path that a Windows program under Wine knows a file by; a path that is a Windows one already stays as it is.
quorlen_windows_path() {
    if [[ $1 == [A-Za-z]:[\\/]* || -z $1 ]]; then
        printf '%s\n' "$1"
    else
        local path
        path=$(realpath -m -s -- "$1")
        printf 'Z:%s\n' "${path//\//\\}"
    fi
}

# quorlen_configure LOG PRESET: configures build/PRESET unless that is done already; ninja sees to the rest.
# A checkout that was moved or copied cannot use the build folder it brought along.
quorlen_configure() {
    local log=$1 preset=$2 folder=$quorlen_root/build/$2
    if ! grep -qsxF "CMAKE_HOME_DIRECTORY:INTERNAL=$quorlen_root" "$folder/CMakeCache.txt"; then
        rm -rf "$folder"
    elif [[ $folder/build.ninja -nt $quorlen_root/CMakePresets.json ]]; then
        return 0
    fi
    quorlen_step "$log" "Configuring '$preset'" cmake -S "$quorlen_root" --preset "$preset"
}
