# shellcheck shell=bash
# The hosts' addresses.

# shellcheck disable=SC2034  # Used by those who source this.
declare -A ADDRESS4=([src]=10.99.0.1 [dst]=10.99.0.2)
# shellcheck disable=SC2034
declare -A ADDRESS6=([src]=fd00:99::1 [dst]=fd00:99::2)
