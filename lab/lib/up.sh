# shellcheck shell=bash
# Bringing a lab up.

lab_up() {
  # `down` finds the processes of an `up` that was killed by their mark, so `up` needs it too.
  [[ ${VORTREL_LAB-} == "$(state_dir)" ]] ||
    VORTREL_LAB=$(state_dir) exec "$LAB_DIR/lab" up --name "$name" --size "$size" \
      ${owner:+--owner "$owner"}
  [[ -z $owner || -e /proc/$owner ]] || die "there is no process $owner to own the lab"
  leave_surroundings
  claim_state_dir
  trap undo_up EXIT
  trap 'exit 129' HUP
  trap 'exit 130' INT
  trap 'exit 143' TERM
  [[ -z $owner ]] || watch_owner
  start_hosts
  connect_hosts
  furnish_hosts
  touch "$(state_dir)/ready"
  trap - EXIT
  lab_status
}

# What lives on after `up` must not hold the caller's files, directory or terminal.
leave_surroundings() {
  local fd
  for fd in /proc/$$/fd/*; do
    fd=${fd##*/}
    # The script itself is read from 255, which its children do not inherit.
    [[ $fd -le 2 || $fd -eq 255 ]] || exec {fd}>&-
  done
  cd /
  umask 077
}

# Becomes another process, because `down` ends all that bear the mark.
undo_up() {
  local status=$?
  # shellcheck disable=SC2016  # The inner shell expands its arguments.
  exec env -u VORTREL_LAB bash -c '"$1" down --name "$2"; exit "$3"' _ \
    "$LAB_DIR/lab" "$name" "$status"
}

watch_owner() {
  setsid "$LAB_DIR/lib/watch-owner" "$owner" "$LAB_DIR/lab" down --name "$name" \
    </dev/null &>"$(state_dir)/watch-owner.log" &
}

furnish_hosts() {
  local src dst
  furnish src & src=$!
  furnish dst & dst=$!
  install_key
  wait "$src" && wait "$dst"
}

# HOST
furnish() {
  set_password "$1"
  in_host "$1" env LAB_PATIENCE="$patience" "$LAB_DIR/services/sshd" || die "host $1 has no sshd"
}
