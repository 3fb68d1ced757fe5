# A lab for a bats file. Load this, then
#   setup_file() { lab_possible || return 0; lab_up; }
#   teardown_file() { lab_down; }
# or call lab_up and lab_down within one test. A file with a setup of its own calls need_lab there.

LAB=$(realpath "${BASH_SOURCE[0]%/*}/../../lab/lab")

lab_possible() {
  [[ $EUID -eq 0 ]]
}

need_lab() {
  lab_possible || skip "the lab needs root"
}

setup() {
  need_lab
}

# Names the lab of the functions below after the bats file and the calling process.
lab_name() {
  LAB_NAME=$(basename "$BATS_TEST_FILENAME" .bats)-$$
  export LAB_NAME
}

# [OPTION...]: brings up a lab of a name of its own. It goes down with the process that calls, also
# when that is killed.
lab_up() {
  lab_name
  "$LAB" up --owner $$ "$@" >/dev/null
}

# There is nothing to take down where there was no lab_up.
lab_down() {
  [[ -z ${LAB_NAME-} ]] || "$LAB" down
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
