# What the scripts share; sourced by them, from the top of the checkout.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

readonly program_name=${0##*/}

# Announces what comes next, with the time since the script began.
step() {
    printf '\n==> [%3d s] %s\n' "$SECONDS" "$*"
}

# Ends the script with a sentence that says what to do.
fail() {
    printf '\n%s: %s\n' "$program_name" "$*" >&2
    exit 1
}

usage_error() {
    printf '%s: %s\nTry: scripts/%s --help\n' "$program_name" "$*" "$program_name" >&2
    exit 2
}

# configure PRESET [-DOPTION=VALUE...]: the options stay until they are set anew.
configure() {
    local preset=$1
    step "Configure ($preset)"
    cmake --preset "$@" >"build/configure-$preset.log" 2>&1 || {
        cat "build/configure-$preset.log"
        fail "configuration failed; the message above names what is missing. Run scripts/setup, then try again."
    }
}

# configure_and_build PRESET [-DOPTION=VALUE...] [TARGET...]
configure_and_build() {
    local preset=$1 options=() targets=()
    shift
    while [[ ${1-} == -D* ]]; do
        options+=("$1")
        shift
    done
    [[ $# -eq 0 ]] || targets=(--target "$@")
    configure "$preset" "${options[@]}"
    step "Build ($preset)"
    cmake --build --preset "$preset" "${targets[@]}" -- --quiet ||
        fail "the build failed; mend what the compiler says above."
}

# ---- For the scripts that show the program; each sets the directory of its logs. -----------------------------

run_dir=build

# wait_for SECONDS WHAT COMMAND...: until COMMAND succeeds.
wait_for() {
    local deadline=$((SECONDS + $1)) what=$2
    shift 2
    until "$@"; do
        [[ $SECONDS -lt $deadline ]] || fail "$what did not happen in time; see the logs in ${run_dir#"$PWD/"}."
        sleep 0.1
    done
}

# What follows sends broadcasts.
require_private_network() {
    if [[ ${NEMBRA_PRIVATE_NETWORK-} != 1 ]] || ! ip link show nembra0 >/dev/null 2>&1; then
        fail "this part runs in a private network only; call the script without --in-private-network."
    fi
}

fleet_is_ready() { grep -qs '^ready:' "$run_dir/simulator.log"; }
display_has_a_number() { [[ -s $run_dir/display ]]; }
window_manager_runs() { xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id'; }

# start_fleet SCENARIO: with its requests in $run_dir/journal.jsonl.
start_fleet() {
    # It may have been another fleet that was ready.
    : >"$run_dir/simulator.log"
    build/release/bin/nembra-simulator --scenario "$1" --journal "$run_dir/journal.jsonl" \
        >"$run_dir/simulator.log" 2>&1 &
    wait_for 60 "the start of the simulated fleet" fleet_is_ready
}

# start_display SIZE DPI: a virtual one with a window manager. Its number is that of the script: displays in other private
# networks don't see which numbers are taken, but their sockets lie in the same directory.
start_display() {
    rm -f "$run_dir/display"
    Xvfb ":$$" -displayfd 3 -screen 0 "$1x24" -noreset -nolisten tcp 3>"$run_dir/display" \
        >"$run_dir/display.log" 2>&1 &
    display_process=$!
    wait_for 30 "the start of the virtual display" display_has_a_number
    DISPLAY=:$(<"$run_dir/display")
    export DISPLAY
    # As desktops say it. The display's own figure is that of whole millimetres, so scales would not be exact.
    xprop -root -f RESOURCE_MANAGER 8s -set RESOURCE_MANAGER "Xft.dpi:"$'\t'"$2" ||
        fail "the resolution of the virtual display could not be set."
    openbox >"$run_dir/window-manager.log" 2>&1 &
    wait_for 30 "the start of the window manager" window_manager_runs
}

# end_process PROCESS: one that the script started.
end_process() {
    kill "$1"
    wait "$1" || true
}

# The window manager ends with it.
stop_display() { end_process "$display_process"; }

mkdir -p build
# A place for compiled objects that survives a clean checkout, and no more of it than a few builds need.
export CCACHE_MAXSIZE=${CCACHE_MAXSIZE:-3G}
# Without it nothing is kept of what is compiled with precompiled headers.
export CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
