# shellcheck shell=bash
# What the stories in this folder are told with; sourced, inside scripts/sandbox. The service runs here, what it talks
# to on the other side of the link.
set -euo pipefail
# shellcheck source=tests/support/verbs.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/verbs.sh"

readonly binaries=$PWD/build/bin modules=$PWD/build/modules portal_address=192.0.2.1 odd_address=192.0.2.1:8000
readonly account=13800000001 password=secret
readonly beyond_link=(nsenter --net="$QUORVANE_SANDBOX_PEER")  # in front of a command
declare -A process=()  # by name: what was started
work=$(mktemp -d "${TMPDIR:-/tmp}/quorvane-others.XXXXXX")

end_all() {
    exec 2>/dev/null  # bash has a line for each that is killed
    [ ${#process[@]} -eq 0 ] || kill -KILL "${process[@]}" || true
    wait
    rm -rf "$work"
}
trap end_all EXIT

fail() {
    printf 'not so: %s\n' "$1" >&2
    tail -n 15 "$work"/{last,*.out} >&2 || true
    exit 1
}

# start NAME COMMAND...: a program, not a function, or what it runs would outlive it. Its words go to $work/NAME.out.
start() {
    "${@:2}" </dev/null >"$work/$1.out" 2>&1 &
    process[$1]=$!
}

stop() {
    kill "${process[$1]}"
    wait "${process[$1]}" || true
    unset "process[$1]"
}

# start_portal LINE...: with these lines of a scenario, at $portal_address.
start_portal() {
    printf '%s\n' "account $account $password" "pulse-seconds 1" "$@" >"$work/scenario"
    start portal "${beyond_link[@]}" "$binaries/portal-sim" --listen "$portal_address:80" --scenario "$work/scenario"
    within 10 "the portal is there" grep -q '^probe address: ' "$work/portal.out"
}

# start_service PROBE-ADDRESS [MODULE]
start_service() {
    mkdir -p "$work/service/conf"
    printf '<conf><version>1.0.0</version><redirect>%s</redirect></conf>\n' "$1" >"$work/service/conf/conf.xml"
    cp "${2:-$modules/sample-1.zxm}" "$work/service/zxmAlogic.zxm"
    start service env --chdir="$work/service" "$binaries/QuorvaneSvr"
}

# front_end COMMAND...: of pipe-client, whose reports go to $work/front-end.out.
front_end() {
    "$binaries/pipe-client" --dir "$work/service" --timeout 20 "$@" >"$work/front-end.out" 2>&1
}

# finds WORDS: whether that is how the look at the network ends.
finds() {
    front_end start check || true
    grep --fixed-strings "$1" "$work/front-end.out"
}

# requested PATH [TIMES]: whether the portal has answered it so often.
requested() {
    [ "$(grep -c " $1  ok" "$work/portal.out")" -ge "${2:-1}" ]
}

# log_in_and_out: with statistics, or there is no log-out. One within a second of the login would be lost, so pulses
# come first.
log_in_and_out() {
    now "a login" front_end start check login $account $password
    within 20 "pulses" requested /keep 3
    now "a log-out" front_end start logout 1
    now "the portal sees nothing wrong" no_complaint
}

no_complaint() {
    ! grep COMPLAINT "$work/portal.out"
}

# start_odd_server: Python's, at $odd_address, with the portal behind it and $work/pages for its folder.
start_odd_server() {
    mkdir "$work/pages"
    start odd "${beyond_link[@]}" python3 tests/others/odd-server.py "${odd_address#*:}" "$work/pages" "$portal_address:80"
    within 10 "Python's server is there" curl --silent --output /dev/null "$odd_address/files/"
}

# bytes_of FILE: as numbers.
bytes_of() {
    od --address-radix=n --output-duplicates --format=u1 "$1"
}

# write_bytes NUMBER...
write_bytes() {
    local escapes
    printf -v escapes '\\x%02x' "$@"
    printf '%b' "$escapes"
}

# from_hex FILE: what its hexadecimal digits stand for.
from_hex() {
    printf '%b' "$(sed 's/../\\x&/g' "$1")"
}

to_hex() {
    od --address-radix=n --output-duplicates --format=x1 | tr -d ' \n'
}
