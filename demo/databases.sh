# shellcheck shell=bash
# What the demo and the tests in the lab do about databases. Sourced after hosts.sh.

# Starts MariaDB and PostgreSQL in both hosts, all at the same time.
start_database_servers() {
  local host service started=()
  for host in src dst; do
    for service in mariadb postgres; do
      on "$host" "$DEMO/../lab/services/$service" & started+=($!)
    done
  done
  for service in "${started[@]}"; do wait "$service"; done
}

# on|off: whether databases keep the capital letters of their names on the destination.
allow_capitals() {
  on dst "$BIN/refpanel" option set --state "$PANEL_STATE/local.db" DbAllowUpperCase "$1"
}

# USER GENERATION [--rows N]: gives an account of the source its databases.
make_account_databases() {
  on src env VORTREL_BIN="$BIN" "$DEMO/make-databases" "$@"
}

# HOST USER [ARGUMENT...]: what the host knows about the account's databases, and what the passwords
# open that it has on the source.
database_facts() {
  on src cat "/root/demo-passwords/$2" |
    on "$1" "$DEMO/database-facts" "${@:2}" --passwords /dev/stdin
}
