# shellcheck shell=bash
# A quorlen.exe that runs, looked at through vel_probe; sourced after lib.sh, never run. One program at a time.

# The process of the program, or rather of Wine's loader that runs it.
program=''

# A program that cannot even be looked into must not keep whoever looks.
# shellcheck disable=SC2154 # from lib.sh
probe() {
    timeout --kill-after=5 60 "$quorlen_root/tools/wine-run" "$quorlen_root/build/windows/e2e/vel_probe.exe" "$@"
}

# Whatever went wrong, the program does not outlive this script.
# shellcheck disable=SC2317 # called by the trap
screenshot_clean_up() {
    kill -TERM "$program" 2>/dev/null || true
    wait "$program" 2>/dev/null || true
}

# screenshot_start PROGRAM FILE: starts the program, which does not outlive the script.
screenshot_start() {
    quorlen_say "Starting quorlen.exe with $2"
    "$quorlen_root/tools/wine-run" "$@" &
    program=$!
    trap screenshot_clean_up EXIT
    trap 'exit 143' INT TERM HUP
}

screenshot_is_running() {
    kill -0 "$program" 2>/dev/null
}

# Tells what is known about a program that ended by itself; never returns.
screenshot_program_ended() {
    local status=0
    wait "$program" || status=$?
    quorlen_fail "quorlen.exe ended by itself with exit status $status"
}

# Looks in steps of five seconds, so that a program which died is noticed and a long count shows its progress.
screenshot_wait_counted() {
    local status silent=0
    while :; do
        status=0
        probe wait-counted 5 || status=$?
        case $status in
            0) return 0 ;;
            1) ((++silent < 24)) || [[ -n $(probe status) ]] || quorlen_fail "the window shows no record count" ;;
            2) quorlen_fail "quorlen.exe shows an error: $(probe error)" ;;
            3) ((++silent < 24)) || quorlen_fail "quorlen.exe opened no window" ;;
            *) quorlen_fail "the probe failed with status $status" ;;
        esac
        screenshot_is_running || screenshot_program_ended
        quorlen_say "Waiting for the count: $(probe status || true)"
    done
}

# screenshot_save PNG: saves what the screen shows in the main window's rectangle.
screenshot_save() {
    local png=$1 x y width height
    # What a key or the last tick has changed may not be painted yet.
    sleep 0.5
    read -r x y width height < <(probe rect)
    mkdir -p "$(dirname "$png")"
    import -silent -window root -crop "${width}x$height+$x+$y" +repage -strip "$png.new.png"
    mv "$png.new.png" "$png"
}

screenshot_end_program() {
    local status=0
    probe close 20 || quorlen_fail "quorlen.exe did not close"
    wait "$program" || status=$?
    program=''
    ((status == 0)) || quorlen_fail "quorlen.exe ended with exit status $status"
}
