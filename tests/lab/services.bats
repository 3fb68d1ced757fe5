#!/usr/bin/env bats
# The database servers that a host of the lab can start. Needs root.

bats_require_minimum_version 1.5.0
load helpers

setup_file() {
  lab_up
  start_everywhere mariadb postgres
}

teardown_file() {
  lab_down
}

# HOST SERVICE
start() {
  on "$1" "${LAB%/lab}/services/$2"
}

# SERVICE...: starts them in both hosts, all at the same time.
start_everywhere() {
  local host service started=()
  for host in src dst; do
    for service; do
      start "$host" "$service" 3>&- & started+=($!)
    done
  done
  for service in "${started[@]}"; do wait "$service"; done
}

# HOST SQL: what the server says to root of the host.
mariadb_root() {
  on "$1" mariadb --skip-column-names --batch --execute "$2" "${@:3}"
}

postgres_root() {
  on "$1" psql --no-psqlrc --quiet --tuples-only --no-align -U postgres --command "$2" "${@:3}"
}

# HOST PASSWORD CLIENT...: runs the client with that password.
with_password() {
  on "$1" env MYSQL_PWD="$2" PGPASSWORD="$2" "${@:3}"
}

# HOST PASSWORD ADDRESS USER: who the server at ADDRESS takes the client for.
mariadb_login() {
  with_password "$1" "$2" mariadb --skip-column-names --batch --host="$3" --user="$4" \
    --execute "SELECT current_user()"
}

postgres_login() {
  with_password "$1" "$2" psql --no-psqlrc --no-password --tuples-only --no-align --host="$3" \
    --username="$4" --dbname=postgres --command "SELECT current_user"
}

@test "lab up starts no database server" {
  lab_up
  run -1 on src pgrep -x 'mariadbd|postgres'
  run -1 on dst pgrep -x 'mariadbd|postgres'
  [[ -z $(on src find /var/lib/mysql /var/lib/postgresql -mindepth 1) ]]
  lab_down
}

@test "root of a host is MariaDB's administrator, on fresh data" {
  [[ $(mariadb_root src "SELECT current_user()") == root@localhost ]]
  [[ $(mariadb_root src "SHOW DATABASES" | sort | tr '\n' ' ') == \
    "information_schema mysql performance_schema sys " ]]
}

@test "nobody else enters MariaDB without a password" {
  run -1 on src runuser -u nobody -- mariadb --user=root --execute "SELECT 1"
  [[ $output == *"Access denied for user 'root'@'localhost'"* ]]
  run -1 on src mariadb --user=stranger --execute "SELECT 1"
  [[ $output == *"Access denied for user 'stranger'@'localhost'"* ]]
}

@test "MariaDB lets a user in from the address that it knows, over both families" {
  mariadb_root src "CREATE USER visitor@'10.99.0.2' IDENTIFIED BY 'let me in';
    CREATE USER visitor@'fd00:99::2' IDENTIFIED BY 'let me in'"
  [[ $(mariadb_login dst 'let me in' 10.99.0.1 visitor) == visitor@10.99.0.2 ]]
  [[ $(mariadb_login dst 'let me in' fd00:99::1 visitor) == visitor@fd00:99::2 ]]
  run -1 mariadb_login dst 'let me out' 10.99.0.1 visitor
  run -1 mariadb_login src 'let me in' 10.99.0.1 visitor
  [[ $output == *"Host 'src.example' is not allowed to connect"* ]]
}

@test "MariaDB keeps texts in utf8mb4 where nothing else is said" {
  mariadb_root src "CREATE DATABASE texts; CREATE TABLE texts.t (s TEXT);
    INSERT INTO texts.t VALUES ('🛒 Кошик')" --default-character-set=utf8mb4
  [[ $(mariadb_root src "SELECT hex(s), char_length(s) FROM texts.t") == \
    F09F9B9220D09AD0BED188D0B8D0BA$'\t'7 ]]
}

@test "root and postgres of a host are PostgreSQL's administrator, on fresh data" {
  [[ $(postgres_root src "SELECT rolsuper FROM pg_roles WHERE rolname = current_user") == t ]]
  [[ $(on src runuser -u postgres -- psql -Atc "SELECT current_user") == postgres ]]
  [[ $(postgres_root src "SELECT string_agg(datname, ' ' ORDER BY datname) FROM pg_database") == \
    "postgres template0 template1" ]]
}

@test "nobody else is PostgreSQL's administrator" {
  run -2 on src runuser -u nobody -- psql -U postgres -c "SELECT 1"
  [[ $output == *'Peer authentication failed for user "postgres"'* ]]
  run -2 postgres_login dst '' src postgres
}

@test "PostgreSQL lets roles in by md5 and by scram-sha-256, from anywhere" {
  postgres_root src "SET password_encryption = 'md5'; CREATE ROLE old LOGIN PASSWORD 'pw of old';
    SET password_encryption = 'scram-sha-256'; CREATE ROLE new LOGIN PASSWORD 'pw of new'"
  [[ $(postgres_root src "SELECT string_agg(left(rolpassword, 5), ' ' ORDER BY rolname)
    FROM pg_authid WHERE rolname IN ('old', 'new')") =~ ^SCRAM\ md5[0-9a-f]{2}$ ]]
  for role in old new; do
    for address in 10.99.0.1 fd00:99::1; do
      [[ $(postgres_login dst "pw of $role" "$address" "$role") == "$role" ]]
    done
    [[ $(postgres_login src "pw of $role" /run/postgresql "$role") == "$role" ]]
    run -2 postgres_login dst "no pw of $role" 10.99.0.1 "$role"
    [[ $output == *"password authentication failed for user \"$role\""* ]]
  done
}

@test "PostgreSQL keeps texts in UTF-8" {
  [[ $(postgres_root src "SELECT octet_length('🛒 Кошик'), char_length('🛒 Кошик')") == '15|7' ]]
}

@test "the hosts' servers have nothing in common" {
  mariadb_root src "CREATE DATABASE only_src"
  postgres_root src "CREATE DATABASE only_src"
  [[ -z $(mariadb_root dst "SHOW DATABASES LIKE 'only_src'") ]]
  [[ -z $(postgres_root dst "SELECT 1 FROM pg_database WHERE datname = 'only_src'") ]]
}

@test "labs side by side have their own data, which is gone after down" {
  local first=$LAB_NAME
  mariadb_root src "CREATE DATABASE left_behind"
  postgres_root src "CREATE DATABASE left_behind"
  lab_up
  start_everywhere mariadb postgres
  [[ -z $(mariadb_root src "SHOW DATABASES LIKE 'left_behind'") ]]
  [[ -z $(postgres_root src "SELECT 1 FROM pg_database WHERE datname = 'left_behind'") ]]
  mariadb_root src "CREATE DATABASE left_behind_too"
  postgres_root src "CREATE DATABASE left_behind_too"
  lab_down
  "$LAB" up --owner $$ >/dev/null
  start_everywhere mariadb postgres
  [[ -z $(mariadb_root src "SHOW DATABASES LIKE 'left_behind%'") ]]
  [[ -z $(postgres_root src "SELECT 1 FROM pg_database WHERE datname LIKE 'left_behind%'") ]]
  lab_down
  LAB_NAME=$first
  [[ $(mariadb_root src "SHOW DATABASES LIKE 'left_behind%'") == left_behind ]]
  [[ $(postgres_root src "SELECT datname FROM pg_database WHERE datname LIKE 'left_behind%'") == \
    left_behind ]]
}

@test "a server that runs is not started again" {
  run -1 start dst mariadb
  [[ $output == "MariaDB is running already" ]]
  run -1 start dst postgres
  [[ $output == "PostgreSQL is running already" ]]
}

# HOST
no_server_runs() {
  [[ $(on "$1" pgrep -c -x 'mariadbd|postgres') -eq 0 ]]
}

@test "a server that was killed starts again with its data" {
  mariadb_root dst "CREATE DATABASE kept"
  postgres_root dst "CREATE DATABASE kept"
  on dst bash -c 'kill -KILL $(cat /run/mysqld/mysqld.pid) \
    $(head -n 1 /var/lib/postgresql/15/main/postmaster.pid)'
  await no_server_runs dst
  start dst mariadb
  start dst postgres
  [[ $(mariadb_root dst "SHOW DATABASES LIKE 'kept'") == kept ]]
  [[ $(postgres_root dst "SELECT datname FROM pg_database WHERE datname = 'kept'") == kept ]]
}

@test "a host without the packages says which are missing" {
  lab_up
  on src rm /usr/sbin/mariadbd /usr/lib/postgresql/15/bin/postgres
  run -1 start src mariadb
  [[ $output == "mariadbd is missing: install the package mariadb-server" ]]
  run -1 start src postgres
  [[ $output == "postgres is missing: install the package postgresql" ]]
  on dst rm /usr/bin/mariadb-admin /usr/bin/psql
  run -1 start dst mariadb
  [[ $output == "mariadb-admin is missing: install the package mariadb-client" ]]
  run -1 start dst postgres
  [[ $output == "psql is missing: install the package postgresql-client" ]]
  lab_down
}

# HOST PORT: something else listens there.
occupy() {
  on "$1" socat "TCP6-LISTEN:$2,fork" SYSTEM:true </dev/null &>/dev/null 3>&- &
  await on "$1" bash -c ": </dev/tcp/127.0.0.1/$2" 2>/dev/null
}

@test "a server that does not start says why" {
  lab_up
  occupy src 3306
  run -1 start src mariadb
  [[ $output == *"Do you already have another server running on port: 3306"* ]]
  [[ ${lines[0]} == "MariaDB does not start" ]]
  occupy src 5432
  run -1 start src postgres
  [[ $output == *'could not bind IPv4 address "0.0.0.0": Address already in use'* ]]
  [[ ${lines[0]} == "PostgreSQL does not start" ]]
  lab_down
}

@test "data that cannot be made says why" {
  lab_up --size 24m
  run -1 start src mariadb
  [[ $output == *"Probably out of disk space"* ]]
  [[ ${lines[0]} == "MariaDB's data cannot be made" && -z $(on src ls -A /var/lib/mysql) ]]
  run -1 start src postgres
  [[ $output == *"No space left on device"* ]]
  [[ ${lines[0]} == "PostgreSQL's data cannot be made" ]]
  lab_down
}
