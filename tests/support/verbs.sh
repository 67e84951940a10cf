# shellcheck shell=bash
# How stories that are scripts wait and judge. Sourced by the verbs of a folder, which bring the folder $work and `fail`.

# within SECONDS WHAT COMMAND...: waits until the command succeeds.
within() {
    local deadline=$((SECONDS + $1)) what=$2
    shift 2
    until "$@" >"$work/last" 2>&1; do
        [ "$SECONDS" -lt "$deadline" ] || fail "$what"
        sleep 0.1
    done
    echo "  $what"
}

# now WHAT COMMAND...: what has to be so already.
now() {
    within 0 "$@"
}
