# shellcheck shell=bash
# What the scripts share; sourced by them, never run. Moves to the top folder of the project.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

readonly service_folders=(Comm QuorvaneSvr agent doctor prepare tools)  # what the service needs and what ships beside it

# find_sources [FOLDER...]: the C and C++ files there, one a line; without an argument all of the project's.
find_sources() {
    [ $# -gt 0 ] || set -- "${service_folders[@]}" tests bench
    find "$@" -name '*.h' -o -name '*.cpp' -o -name '*.c'
}

say() {
    printf '\n== %s\n' "$*"
}

# die TEXT [HINT...]: what failed, then what to do about it.
die() {
    printf '%s: %s\n' "${0##*/}" "$1" >&2
    shift
    [ $# -eq 0 ] || printf '  %s\n' "$@" >&2
    exit 1
}

cores() {
    getconf _NPROCESSORS_ONLN
}

# expect_test_presets NAME...: each has to be a preset with tests.
expect_test_presets() {
    local known name
    known=$(cmake --list-presets=test | sed -n 's/^ *"\([^"]*\)".*/\1/p' | tr '\n' ' ')
    for name in "$@"; do
        [[ " $known" == *" $name "* ]] || die "there is no preset $name" "choose from: $known"
    done
}

# preset_for NAME: the preset to use; in CI the variant in which every warning is an error.
preset_for() {
    if [ "${CI:-}" != true ]; then
        echo "$1"
        return
    fi
    case "$1" in
        default) echo ci ;;
        asan) echo ci-asan ;;
        tsan) echo ci-tsan ;;
        clang) echo ci-clang ;;
        *) echo "$1" ;;
    esac
}

# build_folder_of PRESET
build_folder_of() {
    case "$1" in
        default) echo build ;;
        *) echo "build-$1" ;;
    esac
}

# configure_preset PRESET [OPTION...]: quiet unless it fails.
configure_preset() {
    local preset=$1 log
    shift
    log=$(mktemp)
    if ! cmake --preset "$preset" "$@" >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        die "CMake could not configure the preset $preset" "see its message above; scripts/deps installs what Debian or Ubuntu lacks"
    fi
    rm -f "$log"
}

# build_preset PRESET [TARGET...]: ninja's own lines show the progress.
build_preset() {
    local preset=$1
    shift
    cmake --build --preset "$preset" --parallel "$(cores)" ${1:+--target "$@"} ||
        die "the preset $preset does not build" "the first error above is the one to look at"
}
