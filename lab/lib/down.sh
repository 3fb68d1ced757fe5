# shellcheck shell=bash
# Taking a lab down.
#
# All mounts and links of a lab are in its hosts' namespaces and vanish with the last process. What
# runs in a host ends with the host's init.

# Returns when nothing of the lab is left.
lab_down() {
  local deadline=$((SECONDS + patience)) left
  hold_state_dir || return 0
  while left=$(lab_processes) && [[ -n $left ]]; do
    [[ $SECONDS -lt $deadline ]] || die "lab '$name': these processes do not end: ${left//$'\n'/ }"
    end_processes "$left"
    sleep 0.01
  done
  remove_state_dir
}

# Waits for another `down` of the same lab, which would else end the processes of the next lab of
# that name. Fails when that `down` has done the work.
hold_state_dir() {
  local held
  { exec {held}<"$(state_dir)"; } 2>/dev/null || return 0
  flock "$held"
  [[ /proc/$$/fd/$held -ef $(state_dir) ]]
}

# PIDS: kills the processes. A keeper ends by itself, once all that ran in its host is gone.
end_processes() {
  local pid
  for pid in $1; do
    [[ $(cat "/proc/$pid/comm" 2>/dev/null) == unshare ]] || kill -KILL "$pid" 2>/dev/null || true
  done
}
