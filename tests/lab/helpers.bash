# A lab for a bats file. Load it, then call lab_up in setup_file and lab_down in teardown_file, or
# both within one test.

LAB=$(realpath "${BASH_SOURCE[0]%/*}/../../lab/lab")

# Names the lab of the functions below after the bats file and the calling process.
lab_name() {
  LAB_NAME=$(basename "$BATS_TEST_FILENAME" .bats)-$$
  export LAB_NAME
}

# [OPTION...]: brings up a lab of a name of its own. It goes down with the process that calls, also
# when that is killed.
lab_up() {
  [[ $EUID -eq 0 ]] || skip "the lab needs root"
  lab_name
  "$LAB" up --owner $$ "$@" >/dev/null
}

lab_down() {
  "$LAB" down
}

# src|dst COMMAND...: runs COMMAND as root in the host, with the caller's standard streams.
on() {
  "$LAB" enter "$@"
}

# COMMAND...: repeats COMMAND until it succeeds; fails when it has not within 20 seconds.
await() {
  local deadline=$((SECONDS + 20))
  until "$@"; do
    [[ $SECONDS -lt $deadline ]] || return 1
  done
}
