# shellcheck shell=bash
# The command line: options, words and what is said when they are wrong.

# Prints the comment at the head of lab/lab.
usage() {
  sed -n '2,/^$/s/^# \{0,1\}//p' "$LAB_DIR/lab"
}

# MESSAGE: ends with the message and the usage.
misuse() {
  printf 'lab: %s\n\n' "$1" >&2
  usage >&2
  exit 2
}

# KNOWN COMMAND [ARGUMENT...]: sets name, owner, size, patience and the array words from the
# arguments and the environment; KNOWN is getopt's list of long options.
read_options() {
  local known=$1 command=$2 parsed
  shift 2
  name=${LAB_NAME:-default} owner='' size=4g patience=${LAB_PATIENCE:-20}
  # The + keeps the options of a command that is to be entered out of it.
  parsed=$(getopt --name "$command" --options + --longoptions "$known" -- "$@" 2>&1) ||
    misuse "${parsed%%$'\n'*}"
  eval "set -- $parsed"
  while [[ $1 != -- ]]; do
    printf -v "${1#--}" %s "$2"
    shift 2
  done
  shift
  words=("$@")
  check_options
}

check_options() {
  [[ $name =~ ^[A-Za-z0-9][A-Za-z0-9._-]{0,63}$ ]] || misuse "bad name '$name'"
  [[ $owner =~ ^([1-9][0-9]*)?$ ]] || misuse "bad process id '$owner'"
  [[ $size =~ ^[1-9][0-9]*[kmgKMG]?$ ]] || misuse "bad size '$size'"
  [[ $patience =~ ^[1-9][0-9]*$ ]] || misuse "bad LAB_PATIENCE '$patience'"
}

# [PATTERN...]: one word for each pattern of alternatives, and no more.
expect_words() {
  local i
  [[ ${#words[@]} -eq $# ]] || misuse "expected ${*:-no words}, got '${words[*]}'"
  for ((i = 0; i < $#; i++)); do
    expect_one_of "${words[i]}" "${@:i+1:1}"
  done
}

expect_host_first() {
  [[ ${#words[@]} -gt 0 ]] || misuse "expected src or dst"
  expect_one_of "${words[0]}" 'src|dst'
}

# WORD PATTERN
expect_one_of() {
  [[ $1 =~ ^($2)$ ]] || misuse "unknown word '$1', expected $2"
}
