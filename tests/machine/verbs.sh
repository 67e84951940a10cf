# shellcheck shell=bash
# What the stories in this folder are told with; sourced, in the namespaces that tests/machine/run has made. This
# network is the campus: a bridge with the machines' links, and the simulated portal.
set -euo pipefail
# shellcheck source=tests/support/verbs.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/verbs.sh"

readonly base=$1 packages=$2 work=$3 account=13800000001 password=secret gateway=192.0.2.1
readonly tools=$work/package/usr  # what the packages hold, for use in here
declare -A nspawn                 # by machine: the process that runs it

fail() {
    printf 'not so: %s\n' "$1" >&2
    tail -n 20 "$work/last" "$work"/portal* "$work"/*/console >&2 || true
    for name in "${!nspawn[@]}"; do
        in_machine "$name" journalctl --no-pager --lines=40 --unit='quorvane*' >&2 || true
    done
    exit 1
}

not() {
    ! "$@"
}

# start_portal NAME ADDRESS [LINE...]: with these lines of a scenario.
start_portal() {
    ip address replace "$2/32" dev lo
    printf '%s\n' "account $account $password" "${@:3}" >"$work/scenario-$1"
    "$tools/bin/portal-sim" --listen "$2:80" --scenario "$work/scenario-$1" >"$work/portal-$1" 2>&1 &
    within 10 "the portal $1 is there" grep -q . "$work/portal-$1"
}

make_campus() {
    ip link set lo up
    ip link add campus type bridge
    ip address add "$gateway/24" dev campus
    ip link set campus up
    dpkg-deb --extract "$packages"/quorvane_*.deb "$work/package"
    dpkg-deb --extract "$packages"/quorvane-tools_*.deb "$work/package"
}

# make_link NAME ADDRESS: a network with a link to the campus; $work/NAME/net names it.
make_link() {
    local net=$work/$1/net
    mkdir "$work/$1"
    touch "$net"
    unshare --net="$net" true
    ip link add "port-$1" master campus type veth peer name campus0 netns "$net"
    ip link set "port-$1" up
    nsenter --net="$net" sh -c "ip link set lo up && ip address add $2/24 dev campus0 && ip link set campus0 up &&
        ip route add default via $gateway"
}

# make_machine NAME ADDRESS [FOLDER]: a clean one, or one of which the folder holds the changes.
make_machine() {
    local root=$work/$1/root
    make_link "$1" "$2"
    mkdir "$work/$1"/{root,changes,scratch}
    mount -t overlay -o "lowerdir=${3:+$3:}$base,upperdir=$work/$1/changes,workdir=$work/$1/scratch" machine "$root"
    echo "$1" >"$root/etc/hostname"
    install -m 644 <(echo "nameserver $gateway") "$root/etc/resolv.conf"
    : >"$root/etc/machine-id"  # a new one at the first boot
}

boot() {
    systemd-nspawn --quiet --directory="$work/$1/root" --machine="$1" --boot --network-namespace-path="$work/$1/net" \
        --register=no --keep-unit --link-journal=no --resolv-conf=off --console=pipe </dev/null >>"$work/$1/console" 2>&1 &
    nspawn[$1]=$!
    within 60 "$1 is booted" in_machine "$1" systemctl is-active multi-user.target
}

# leave NAME poweroff|reboot: what runs a machine ends with both.
leave() {
    in_machine "$1" systemctl "$2" >/dev/null 2>&1 || true
    wait "${nspawn[$1]}" || true
    unset "nspawn[$1]"
}

in_machine() {
    nsenter --target "$(pgrep --parent "${nspawn[$1]}")" --mount --uts --ipc --net --pid --cgroup -- "${@:2}"
}

is_online() {
    in_machine "$1" quorvane-ctl status
}
