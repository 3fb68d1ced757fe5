# shellcheck shell=bash
# The accounts that are moved again and again, and the two hosts between their moves. Sourced after
# demo/hosts.sh.

ACCOUNTS=(small medium large)
MYSQL_FRESH=/var/lib/mysql.fresh
LOCAL_STATE=$PANEL_STATE/local.db
STATE_FRESH=$PANEL_STATE/fresh.db
ACCESS_KEY=/root/source_key

# Brings up both hosts, whose panels and databases know nothing yet.
bring_hosts_up() {
  local account
  "$DEMO/../lab/lab" up --owner $$ --size 9g >/dev/null
  on src "$DEMO/../lab/services/mariadb"
  on dst "$DEMO/../lab/services/mariadb"
  start_panels
  on dst install -m 0600 /dev/stdin "$ACCESS_KEY" <"$("$DEMO/../lab/lab" key)"
  on dst install -d /var/lib/vortrel
  on dst bash -c "ssh-keyscan -p $SSH_PORT src.example >/var/lib/vortrel/known_hosts" 2>/dev/null
  for account in "${ACCOUNTS[@]}"; do
    make_source_account "$account" 5
    make_local_account "$account"
  done
  keep_destination
}

# ACCOUNT FILES MEGABYTES: fills the home, 500 files a folder; half of the bytes can be compressed.
fill_home() {
  on src /usr/bin/python3 - "/home/$1" "$2" "$3" <<'END_OF_PYTHON'
import os
import random
import sys

home, count, size = sys.argv[1], int(sys.argv[2]), int(float(sys.argv[3]) * (1 << 20))
chance = random.Random(1)
for i in range(count):
    folder = f'{home}/data/{i // 500}'
    os.makedirs(folder, exist_ok=True)
    half = size // count // 2
    with open(f'{folder}/{i}', 'wb') as file:
        file.write(chance.randbytes(half) + b'text that repeats itself, ' * (half // 26 + 1))
END_OF_PYTHON
  on src chown -R "$1:" "/home/$1"
}

# ACCOUNT DATABASES USERS: makes databases with a table of a hundred rows each, and users of their own.
make_databases() {
  on src bash -s "$@" <<'END_OF_SQL' | on src mariadb
for ((d = 1; d <= $2; d++)); do
  echo "CREATE DATABASE $1_d$d; USE $1_d$d; CREATE TABLE t (n INT PRIMARY KEY, text VARCHAR(80));"
  echo "INSERT INTO t SELECT seq, REPEAT('text ', 10) FROM seq_1_to_100;"
  for ((u = 1; u <= $3; u++)); do
    echo "CREATE USER $1_d${d}u$u@localhost IDENTIFIED BY 'password $d $u';"
    echo "GRANT ALL ON \`$1\\_d$d\`.* TO $1_d${d}u$u@localhost;"
  done
done
END_OF_SQL
  on src bash -s "$@" "$BIN/refpanel" "$PANEL_STATE/source5.db" \
    <<'END_OF_REGISTER'
set -e
for ((d = 1; d <= $2; d++)); do
  "$4" db add --state "$5" --server mysql "$1_d$d" "$1"
  for ((u = 1; u <= $3; u++)); do
    "$4" dbuser add --state "$5" --server mysql "$1_d${d}u$u" "$1" --database="$1_d$d"
  done
done
END_OF_REGISTER
}

# The local panel and its databases as they are now are what each move begins with.
keep_destination() {
  stop_destination
  on dst cp -a /var/lib/mysql "$MYSQL_FRESH"
  on dst cp -a "$LOCAL_STATE" "$STATE_FRESH"
  start_destination
}

# ACCOUNT: takes away what its move has brought.
reset_destination() {
  stop_destination
  on dst bash -c "rm -rf /var/lib/mysql && cp -a '$MYSQL_FRESH' /var/lib/mysql
    rm -f '$LOCAL_STATE'* /var/log/vortrel/tarvin.log
    find '/var/www/$1' -mindepth 1 -delete" 2>/dev/null
  on dst cp -a "$STATE_FRESH" "$LOCAL_STATE"
  on dst chage --expiredate 1 "$1"
  start_destination
}

stop_destination() {
  local panel
  on dst mariadb-admin shutdown
  panel=$(on dst pgrep -f "refpanel serve --state $LOCAL_STATE")
  on dst kill "$panel"
  while on dst kill -0 "$panel" 2>/dev/null; do :; done
}

start_destination() {
  on dst "$DEMO/../lab/services/mariadb"
  on dst "$DEMO/start-panel" local
}
