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

# configure_and_build PRESET [TARGET...]
configure_and_build() {
    local preset=$1
    shift
    local targets=()
    [[ $# -eq 0 ]] || targets=(--target "$@")
    step "Configure ($preset)"
    cmake --preset "$preset" >"build/configure-$preset.log" 2>&1 || {
        cat "build/configure-$preset.log"
        fail "configuration failed; the message above names what is missing. Run scripts/setup, then try again."
    }
    step "Build ($preset)"
    cmake --build --preset "$preset" "${targets[@]}" -- --quiet ||
        fail "the build failed; mend what the compiler says above."
}

mkdir -p build
# A place for compiled objects that survives a clean checkout, and no more of it than a few builds need.
export CCACHE_MAXSIZE=${CCACHE_MAXSIZE:-3G}
