# shellcheck shell=bash
# The network link between the hosts: one veth pair that never touches the machine's network.

# HOST COMMAND...: runs COMMAND in the host's network, but among the machine's files.
in_network() {
  local pid
  pid=$(host_pid "$1") || die "host $1 of lab '$name' is not up"
  nsenter --target "$pid" --net -- "${@:2}"
}

connect_hosts() {
  local host
  # The kernel reports a change of the carrier at once, not up to a second later, only when the
  # two ends have different indices; src's would else be the next free one, 2, like dst's.
  in_network src ip link add eth0 index 3 type veth peer name eth0 netns "$(host_pid dst)"
  for host in src dst; do
    # Without nodad an IPv6 address is of no use for the first second or two.
    in_network "$host" ip -batch - <<END
address add ${ADDRESS4[$host]}/24 dev eth0
address add ${ADDRESS6[$host]}/64 dev eth0 nodad
link set eth0 up
END
  done
}

# down|up
lab_link() {
  in_network src ip link set eth0 "$1"
}
