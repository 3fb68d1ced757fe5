# shellcheck shell=bash
# What the services have in common. Sourced, after LOG is set to the service's own log file.

# MESSAGE: ends with the message.
refuse() {
  echo "$1" >&2
  exit 1
}

# MESSAGE: ends with the message, and what the service itself has said.
give_up() {
  echo "$1" >&2
  cat "$LOG" >&2
  exit 1
}

# COMMAND PACKAGE: ends when the host has no such command.
need() {
  command -v "$1" >/dev/null || refuse "${1##*/} is missing: install the package $2"
}

# MESSAGE COMMAND...: repeats COMMAND until it succeeds, and gives up with MESSAGE in the end, or
# as soon as the process $service, if there is one, has ended.
await() {
  local message=$1 deadline=$((SECONDS + ${LAB_PATIENCE:-20}))
  shift
  until "$@"; do
    [[ -z ${service-} ]] || kill -0 "$service" 2>/dev/null || give_up "$message"
    [[ $SECONDS -lt $deadline ]] || give_up "$message"
    sleep 0.01
  done
}
