# shellcheck shell=bash
# What the measurements have in common. Sourced.

milliseconds() { echo $((${EPOCHREALTIME/./} / 1000)); }

# Numbers come on standard input, one a line.
median() { sort -n | awk '{ value[NR] = $1 } END { print value[int((NR + 1) / 2)] }'; }

# COMMAND...: prints how long it took, in milliseconds.
timed() {
  local begin
  begin=$(milliseconds)
  "$@" >&2
  echo $(($(milliseconds) - begin))
}
