# A MariaDB and a PostgreSQL of a test file's own: fresh, fast, not durable, reached through private
# sockets. WORK is a directory that everybody can enter.

# Names what the functions below use. Called in each shell.
use_database_servers() {
  PG_BIN=$(pg_config --bindir)
  MYSQL_SOCKET=$WORK/mysql/sock
  PGSQL_SOCKET=$WORK/pgsql/run
}

# Runs the command until it succeeds, for as long as the process lives.
await() { # pid command...
  until "${@:2}" >/dev/null 2>&1; do
    kill -0 "$1" || return 1
  done
}

start_mariadb() {
  local options=(--no-defaults --user=mysql --datadir="$WORK/mysql/data" --socket="$MYSQL_SOCKET"
    --skip-networking --pid-file="$WORK/mysql/pid" --skip-log-bin --performance-schema=0
    --innodb-log-file-size=8M --innodb-buffer-pool-size=32M --innodb-doublewrite=0
    --innodb-flush-log-at-trx-commit=0 --innodb-flush-method=nosync --innodb-use-native-aio=0
    --aria-pagecache-buffer-size=4M --key-buffer-size=1M --character-set-server=utf8mb4)
  install -d -o mysql -g mysql "$WORK/mysql" "$WORK/mysql/data"
  mariadb-install-db "${options[@]}" --auth-root-authentication-method=socket --skip-test-db \
    >"$WORK/mysql/install.log" 2>&1
  mariadbd "${options[@]}" </dev/null >"$WORK/mysql/log" 2>&1 3>&- &
  await $! mariadb-admin --no-defaults --socket="$MYSQL_SOCKET" ping || { cat "$WORK/mysql/log" >&2; return 1; }
}

# The first of some ports that nobody uses.
start_postgres() {
  install -d -o postgres -g postgres "$WORK/pgsql" "$PGSQL_SOCKET"
  as_user postgres "$PG_BIN/initdb" --pgdata="$WORK/pgsql/data" --encoding=UTF8 --locale=C.UTF-8 \
    --no-sync --no-instructions --wal-segsize=1 --auth-local=peer --auth-host=md5 \
    >"$WORK/pgsql/initdb.log"
  cat >>"$WORK/pgsql/data/postgresql.conf" <<END
listen_addresses = '127.0.0.1'
unix_socket_directories = '$PGSQL_SOCKET'
password_encryption = scram-sha-256
fsync = off
synchronous_commit = off
full_page_writes = off
shared_buffers = 16MB
END
  local attempt
  for attempt in {1..10}; do
    export PGSQL_PORT=$((20000 + RANDOM % 10000))
    as_user postgres "$PG_BIN/postgres" -D "$WORK/pgsql/data" -p "$PGSQL_PORT" \
      </dev/null >"$WORK/pgsql/log$attempt" 2>&1 3>&- &
    if await $! pg 'select 1'; then
      return
    fi
  done
  cat "$WORK/pgsql"/log* >&2
  return 1
}

# Starts a source with both servers; KEY is a session of ALICE.
start_source_of_databases() { # generation
  start_source "$1" --mysql-socket "$MYSQL_SOCKET" --pgsql-socket "$PGSQL_SOCKET" \
    --pgsql-port "$PGSQL_PORT"
  KEY=$("$REFPANEL" session --state "$STATE" "$ALICE")
}

# Statements as the administrator of the servers; rows come in lines, columns split by tabs.
my() { # sql [database]
  mariadb --no-defaults --socket="$MYSQL_SOCKET" --default-character-set=utf8mb4 -NBe "$1" ${2:+"--database=$2"}
}

pg() { # sql [database]
  as_user postgres env PGHOST="$PGSQL_SOCKET" PGPORT="$PGSQL_PORT" PGDATABASE="${2:-postgres}" \
    psql -XqAtF $'\t' -v ON_ERROR_STOP=1 -c "$1"
}

# The same as a database user, with that password.
my_as() { # user password sql [database]
  MYSQL_PWD=$2 mariadb --no-defaults --socket="$MYSQL_SOCKET" --user="$1" \
    --default-character-set=utf8mb4 -NBe "$3" ${4:+"--database=$4"}
}

pg_as() { # user password sql database
  PGHOST=127.0.0.1 PGPORT=$PGSQL_PORT PGUSER=$1 PGPASSWORD=$2 PGDATABASE=$4 \
    psql -XqAtF $'\t' -v ON_ERROR_STOP=1 -c "$3"
}

# Ends them and waits until they are gone; they are no children of this shell. Their data is not
# kept, so nothing has to be written first.
stop_database_servers() {
  kill -KILL "$(<"$WORK/mysql/pid")"
  tail --pid="$(<"$WORK/mysql/pid")" -f /dev/null
  as_user postgres "$PG_BIN/pg_ctl" stop --silent --mode=immediate -D "$WORK/pgsql/data"
}
