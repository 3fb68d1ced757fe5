# shellcheck shell=bash
# What the demo and the tests in the lab do about certificates. Sourced after hosts.sh.

# USER: gives a generation 5 account of the source the certificates that a migration carries, issued
# and not to be renewed, and one that it does not.
make_account_certificates() {
  add_certificate "$1" main "$1.example" --alias "www.$1.example" --alias "mail.$1.example"
  add_certificate "$1" old "old.$1.example" --kind norenew
  add_certificate "$1" bought "shop.$1.example" --kind plain
}

# USER NAME DOMAIN [OPTION...]
add_certificate() {
  on src "$BIN/refpanel" cert add --state "$PANEL_STATE/source5.db" "$@"
}

# HOST USER: the user's letsencrypt certificates that the host's panel knows, a line for each.
certificates_of() {
  local state=local
  [[ $1 == dst ]] || state=source5
  on "$1" "$BIN/refpanel" cert list --state "$PANEL_STATE/$state.db" |
    sed -n "/^$2 plain /d; /^$2 /p"
}
