# shellcheck shell=bash
# Hosts as processes: starting one, running commands in it.

# HOST: becomes the keeper of fresh namespaces, in which lab/host/boot makes the host and then
# prints the id of its init. The keeper reaps that init and ends with it.
keep_host() {
  local dir
  dir=$(state_dir)/$1
  exec setsid env -i PATH="$PATH" VORTREL_LAB="$(state_dir)" \
    unshare --mount --uts --ipc --net --pid --fork --kill-child \
    "$LAB_DIR/host/boot" "$1" "$dir" "$size" "$(dirname "$LAB_DIR")" \
    </dev/null 2>"$dir/boot.log"
}

# Starts both hosts at the same time and waits until they have booted.
start_hosts() {
  local src dst
  mkdir "$(state_dir)"/{src,dst}
  exec {src}< <(keep_host src) {dst}< <(keep_host dst)
  await_host src "$src"
  await_host dst "$dst"
}

# HOST DESCRIPTOR
await_host() {
  local pid dir
  dir=$(state_dir)/$1
  if ! read -r -t "$patience" -u "$2" pid; then
    cat "$dir/boot.log" >&2
    die "host $1 did not boot"
  fi
  printf '%s' "$pid" >"$dir/pid"
}

# HOST COMMAND...: becomes COMMAND, run as root in the host, with nothing of the caller's
# surroundings but the standard streams and the kind of terminal.
become_in_host() {
  local pid
  pid=$(host_pid "$1") || die "host $1 of lab '$name' is not up"
  umask 022
  exec env VORTREL_LAB="$(state_dir)" \
    nsenter --target "$pid" --mount --uts --ipc --net --pid --wdns=/root -- \
    env -i PATH="$PATH" HOME=/root USER=root LOGNAME=root SHELL=/bin/bash LANG=C.UTF-8 \
    TERM="${TERM:-dumb}" "${@:2}"
}

# HOST COMMAND...: the same in a child.
in_host() {
  (become_in_host "$@")
}

lab_enter() {
  local host=$1
  shift
  [[ $# -gt 0 ]] || set -- /bin/bash --login
  become_in_host "$host" "$@"
}
