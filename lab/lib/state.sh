# shellcheck shell=bash
# What is known of a lab: its directory, its processes, whether it is up.
#
# The directory holds, for each host, a directory with `pid` (of the host's init), `password` and
# `boot.log`, and for the lab `key`, `key.pub` and, once the lab is up, `ready`.
# The init of each host and all processes outside that serve the lab have VORTREL_LAB=DIRECTORY in
# their initial environment. Unlike a recorded id, this mark is there from the first moment, and it
# is never that of a stranger who was given the id of a process that has ended.

LAB_RUN=/run/vortrel-lab

# MESSAGE
die() {
  printf 'lab: %s\n' "$1" >&2
  exit 1
}

state_dir() {
  printf '%s/%s' "$LAB_RUN" "$name"
}

# Makes the state directory, or ends when there is one already. The lock keeps `down` of another
# lab from removing the common directory in between.
claim_state_dir() {
  local lock
  exec {lock}</run
  flock "$lock"
  [[ ! -e $(state_dir) ]] ||
    die "lab '$name' is up or left over; take it down first: lab down --name $name"
  mkdir -p -m 0700 "$LAB_RUN"
  mkdir -m 0700 "$(state_dir)"
  exec {lock}<&-
}

remove_state_dir() {
  rm -rf "$(state_dir)"
  [[ ! -d $LAB_RUN ]] || flock /run rmdir --ignore-fail-on-non-empty "$LAB_RUN"
}

# Prints the ids of the lab's processes, apart from those inside the hosts.
lab_processes() {
  grep -lzxF "VORTREL_LAB=$(state_dir)" /proc/[0-9]*/environ 2>/dev/null | cut -d / -f 3 || true
}

# HOST: prints the id of the host's init; fails when it is not alive.
host_pid() {
  local pid
  pid=$(cat "$(state_dir)/$1/pid" 2>/dev/null) &&
    grep -qzxF "VORTREL_LAB=$(state_dir)" "/proc/$pid/environ" 2>/dev/null &&
    printf '%s' "$pid"
}

is_up() {
  [[ -e $(state_dir)/ready ]] && host_pid src >/dev/null && host_pid dst >/dev/null
}

lab_status() {
  local host
  if is_up; then
    printf 'lab %s: up\n' "$name"
    for host in src dst; do
      printf '%s  pid %s  %s  %s\n' "$host" "$(host_pid "$host")" \
        "${ADDRESS4[$host]}" "${ADDRESS6[$host]}"
    done
  elif [[ -d $(state_dir) ]]; then
    printf 'lab %s: down, left over; clean up with: lab down --name %s\n' "$name" "$name"
    return 3
  else
    printf 'lab %s: down\n' "$name"
    return 3
  fi
}
