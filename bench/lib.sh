# shellcheck shell=bash
# What the sections have in common. Sourced.

# WORD...: tells how far a measurement is; standard output is for records alone.
say() {
  printf '%(%H:%M:%S)T %s\n' -1 "$*" >&2
}
