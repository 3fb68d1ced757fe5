# shellcheck shell=bash
# What the demo and the tests in the lab do on the two hosts. Sourced; the lab is up, and LAB_NAME
# names it.

DEMO=$(realpath "${BASH_SOURCE[0]%/*}")
BIN=${VORTREL_BIN:-$DEMO/../build/release/bin}   # the programs; another build's where that is set
SSH_PORT=2222
PANEL_STATE=/var/lib/refpanel

# src|dst COMMAND...: runs COMMAND as root in the host.
on() {
  "$DEMO/../lab/lab" enter "$@"
}

# Starts the source's panels of both generations, on the ports 1504 and 1505, and the local one.
# The destination trusts their certificate, and its ssh is set up as the README tells.
start_panels() {
  on src env VORTREL_BIN="$BIN" "$DEMO/start-panel" source 4 1504
  on src env VORTREL_BIN="$BIN" "$DEMO/start-panel" source 5 1505
  on dst env VORTREL_BIN="$BIN" "$DEMO/start-panel" local
  on dst install -d /etc/vortrel
  on src cat "$PANEL_STATE/cert.pem" | on dst tee /etc/vortrel/src.pem >/dev/null
  on dst tee /etc/vortrel/trel.toml >/dev/null <<<$'[tls]\nca_file = "/etc/vortrel/src.pem"'
  on dst cp "$DEMO/../share/ssh_config.d/vortrel.conf" /etc/ssh/ssh_config.d/
}

# USER GENERATION: an account on both hosts. On the source its home is filled and its shell off; on
# the destination it is suspended, as it is before a migration, and its home is empty.
make_account() {
  make_source_account "$1" "$2"
  on src "$DEMO/make-home" "$1" "/home/$1" "${@:3}"
  make_local_account "$1"
}

make_source_account() {
  on src useradd --create-home --user-group --shell /usr/sbin/nologin "$1"
  on src "$BIN/refpanel" user add --state "$PANEL_STATE/source$2.db" "$1"
}

make_local_account() {
  on dst useradd --no-create-home --home-dir "/var/www/$1" --user-group --shell /usr/sbin/nologin "$1"
  on dst install -d -m 0755 /var/www
  on dst install -d -o "$1" -g "$1" -m 0711 "/var/www/$1"
  on dst "$BIN/refpanel" user add --state "$PANEL_STATE/local.db" "$1"
  on dst usermod --expiredate 1 "$1"
}

# GENERATION: a new session key of the source panel's administrator.
root_session() {
  on src "$BIN/refpanel" session --state "$PANEL_STATE/source$1.db"
}

# USER GENERATION FILE [KEY=VALUE...]: writes a parameters file on the destination.
write_params() {
  local user=$1 generation=$2 file=$3 type=vortrel4 given
  [[ $generation == 4 ]] || type=vortrel5lite
  local -A params=(
    [lang]=en [remote_type]=$type [username]=$user
    [url]=https://src.example:150$generation/ [servername]=src.example
    [root_auth]=$(root_session "$generation")
    [login]=root [password]=$("$DEMO/../lab/lab" password src | tr -d '\n' | base64 -w 0)
    [ssh_port]=$SSH_PORT [import_files]=on [import_databases]=off
    [userhomedir]=/var/www/$user [remotehomedir]=/home/$user
  )
  for given in "${@:4}"; do params[${given%%=*}]=${given#*=}; done
  for given in "${!params[@]}"; do printf '%s = %s\n' "$given" "${params[$given]}"; done |
    on dst install -m 0600 /dev/stdin "$file"
}

# FILE: runs the migration that the parameters file describes.
migrate() {
  on dst "$BIN/vorlaunch" tarvin "$1"
}

# Prints the problems that the local panel knows.
problems() {
  on dst "$BIN/refpanel" problems --state "$PANEL_STATE/local.db"
}
