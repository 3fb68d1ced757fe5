#!/usr/bin/env bats
# Dumps of real databases by GET, fetched with curl and restored with the servers' own clients.
# shellcheck disable=SC2030,SC2031,SC2154 # each test runs in a shell of its own; run sets stderr

bats_require_minimum_version 1.5.0
load panel
load dbservers

setup_file() {
  make_workplace
  use_database_servers
  start_mariadb
  start_postgres
  my "CREATE DATABASE Shop; CREATE DATABASE \`a b%20c\`; CREATE DATABASE large;
      CREATE DATABASE broken; CREATE DATABASE target;"
  my "CREATE TABLE t (id INT PRIMARY KEY, c TEXT, b BLOB);
      INSERT INTO t VALUES (1, 'Grüße, ''quoted'' \\\\ и ещё', x'0001fffe'), (2, NULL, NULL);
      CREATE VIEW v AS SELECT c FROM t;" Shop
  my "CREATE TABLE t (c LONGTEXT); INSERT INTO t SELECT repeat('x', 1000000) FROM seq_1_to_300" large
  # The dump has gone through the table when it comes to the view.
  my "CREATE TABLE a (c LONGTEXT); INSERT INTO a SELECT repeat('x', 1000000) FROM seq_1_to_3;
      CREATE TABLE gone (c INT); CREATE VIEW z AS SELECT c FROM gone; DROP TABLE gone" broken
  pg "CREATE DATABASE notes"
  pg "CREATE DATABASE target"
  pg "CREATE TABLE t (id int PRIMARY KEY, c text, b bytea);
      INSERT INTO t VALUES (1, 'Grüße \"quoted\" \\ и ещё', '\\x0001fffe'), (2, NULL, NULL)" notes
}

teardown_file() {
  stop_database_servers
  remove_workplace
}

setup() {
  make_state
  use_database_servers
  local name
  for name in Shop 'a b%20c' large broken missing; do
    "$REFPANEL" db add --state "$STATE" --server mysql "$name" "$ALICE"
  done
  "$REFPANEL" db add --state "$STATE" --server mysql bobs "$BOB"
  "$REFPANEL" db add --state "$STATE" --server pgsql notes "$ALICE"
}

teardown() {
  end_server
}

download() { # name [curl-argument...]
  curl -sS --max-time 60 "${@:2}" "${URL}zelcgi/dbdownload?elid=$1&auth=$KEY"
}

dump() { # pair [curl-argument...]
  curl -sS --max-time 60 "${@:2}" "${URL}any/path?func=db.dump&elid=$1&auth=$KEY"
}

calls() { "$REFPANEL" calls --state "$STATE"; }

rows_of_t() { # database
  my 'SELECT id, c, hex(b) FROM t ORDER BY id' "$1"
}

@test "generation 4 gives a dump that restores to the same rows" {
  start_source_of_databases 4
  download Shop -o "$DIR/dump" -D "$DIR/head"
  assert_has "$(<"$DIR/head")" "HTTP/1.1 200 OK"
  assert_has "$(<"$DIR/head")" "Content-Type: application/octet-stream"
  [[ $(tail -n 1 "$DIR/dump") == "-- Dump completed"* ]]
  mariadb --no-defaults --socket="$MYSQL_SOCKET" --default-character-set=utf8mb4 target <"$DIR/dump"
  [[ $(rows_of_t target) == "$(rows_of_t Shop)" && -n $(rows_of_t Shop) ]]
  [[ $(my 'SELECT count(*) FROM v' target) == 2 ]]
  stop_server
  [[ $(calls) == "source dbdownload $ALICE ok" ]]
}

@test "generation 5 gives a dump of a PostgreSQL database" {
  start_source_of_databases 5
  dump 'notes->pgsql' -o "$DIR/dump"
  as_user postgres env PGHOST="$PGSQL_SOCKET" PGPORT="$PGSQL_PORT" psql -Xq -v ON_ERROR_STOP=1 \
    target <"$DIR/dump" >/dev/null
  local rows="SELECT id, c, encode(b, 'hex') FROM public.t ORDER BY id"
  [[ $(pg "$rows" target) == "$(pg "$rows" notes)" && -n $(pg "$rows" notes) ]]
  stop_server
  [[ $(calls) == "source db.dump $ALICE ok" ]]
}

@test "a database is found by its name in any writing" {
  start_source_of_databases 4
  local name
  for name in Shop shop SHOP 'a%20b%2520c'; do
    assert_has "$(download "$name" | tail -n 1)" "-- Dump completed"
  done
  stop_server
  start_source_of_databases 5
  for name in 'Shop->mysql' 'Shop-%3Emysql' 'a%20b%2520c->mysql'; do
    assert_has "$(dump "$name" | tail -n 1)" "-- Dump completed"
  done
  assert_has "$(dump 'shop->mysql')" "<msg>no database 'shop-&gt;mysql'</msg>"
}

@test "who may not have a dump gets an error of the panel" {
  start_source_of_databases 4
  assert_has "$(download bobs)" "<msg>no database 'bobs'</msg>"
  assert_has "$(download '')" "<msg>field elid is missing or empty</msg>"
  KEY=0000
  run -0 --separate-stderr download Shop -w ' %{http_code}'
  [[ $output == *"<msg>unknown session key</msg></error></doc> 200" ]]
  KEY=
  assert_has "$(download Shop)" "<msg>no session key given</msg>"
  KEY=$("$REFPANEL" session --state "$STATE")
  assert_has "$(download Shop | tail -n 1)" "-- Dump completed"
  assert_has "$(KEY="$KEY&su=$BOB" download Shop)" "<msg>no database 'Shop'</msg>"
  KEY=$("$REFPANEL" session --state "$STATE" "$BOB")
  assert_has "$(KEY="$KEY&su=$ALICE" download Shop)" "<msg>Permission denied</msg>"
}

@test "a dump that fails at once is an error in its place" {
  start_source_of_databases 4
  run -0 --separate-stderr download missing -D "$DIR/head" -w ' %{http_code}'
  [[ $output == '<?xml '*"<msg>"*missing*"</msg></error></doc> 200" ]]
  assert_has "$(<"$DIR/head")" "Content-Type: text/xml"
  [[ $(calls) == "source dbdownload $ALICE system" ]]
}

@test "a dump that fails half-way is cut off" {
  start_source_of_databases 4
  run -18 --separate-stderr download broken -o "$DIR/dump"
  (($(stat -c %s "$DIR/dump") > 2900000))
  [[ $(tail -n 1 "$DIR/dump") != "-- Dump completed"* ]]
  stop_server
  [[ $(calls) == "source dbdownload $ALICE system" ]]
  assert_one_line "$(<"$DIR/server.err")" "refpanel: dump of broken->mysql: "
}

# Fails unless there is a dumping program among the children of the server.
dump_runs() { # program
  pgrep -P "$SERVER" -x "$1"
}

@test "a receiver that goes away ends the dump" {
  start_source_of_databases 4
  run -0 bash -c "curl -sS '${URL}zelcgi/dbdownload?elid=large&auth=$KEY' 2>/dev/null |
    head -c 100000 | wc -c"
  [[ $output == 100000 ]]
  while dump_runs mariadb-dump; do
    kill -0 "$SERVER"
  done
  stop_server
  [[ $(calls) == "source dbdownload $ALICE gone" ]]
}

@test "a server that ends does not wait for a dump" {
  start_source_of_databases 4
  download large --limit-rate 1M -o "$DIR/dump" 2>"$DIR/curl.err" 3>&- &
  local client=$!
  until [[ -s $DIR/dump ]]; do
    kill -0 "$client"
  done
  SECONDS=0
  stop_server
  ((SECONDS < 20))
  local status=0
  wait "$client" || status=$?
  [[ $status -eq 18 ]]
}

@test "a large dump takes little memory and no disk" {
  # A build with sanitizers would hold back what is freed.
  export ASAN_OPTIONS=quarantine_size_mb=1
  start_source_of_databases 4
  download Shop >/dev/null
  local before after
  before=$(awk '/VmHWM/ { print $2 }' "/proc/$SERVER/status")
  [[ $(download large | wc -c) -gt 300000000 ]]
  after=$(awk '/VmHWM/ { print $2 }' "/proc/$SERVER/status")
  ((after - before < 4096))
  # Neither has anything been written beside the state.
  [[ $(awk '/^write_bytes/ { print $2 }' "/proc/$SERVER/io") -lt 10000000 ]]
}

@test "several dumps go out at once" {
  start_source_of_databases 4
  local i clients=()
  for i in 1 2 3; do
    download large 3>&- | wc -c >"$DIR/size.$i" &
    clients+=("$!")
  done
  wait "${clients[@]}"
  (($(<"$DIR/size.1") > 300000000))
  [[ $(sort -u "$DIR"/size.* | wc -l) -eq 1 ]]
  stop_server
  [[ $(calls | grep -c "dbdownload $ALICE ok") -eq 3 ]]
}

@test "only a GET of a dump is answered, and as a whole" {
  start_source_of_databases 4
  assert_has "$(curl -sSi "${URL}?func=db.dump&elid=Shop&auth=$KEY")" "HTTP/1.1 405 "
  assert_has "$(curl -sSI "${URL}zelcgi/dbdownload?elid=Shop&auth=$KEY")" "HTTP/1.1 405 "
  assert_has "$(download Shop -i -r 10-20)" "HTTP/1.1 416 "
  [[ -z $(calls) ]]
  assert_has "$(source_query "func=db.dump&elid=Shop&auth=$KEY")" "no function 'db.dump'"
}

@test "no secret is in the log, in errors or among the arguments of a process" {
  start_source_of_databases 4
  download large --limit-rate 1M -o "$DIR/dump" 3>&- &
  local client=$!
  until [[ -s $DIR/dump ]]; do
    kill -0 "$client"
  done
  dump_runs mariadb-dump
  run -1 grep -a -e "$KEY" "/proc/$(dump_runs mariadb-dump)/cmdline" \
    "/proc/$(dump_runs mariadb-dump)/environ" "/proc/$SERVER/cmdline"
  kill "$client"
  wait "$client" || true
  download missing
  stop_server
  run -1 grep -a -e "$KEY" "$STATE" "$DIR/server.err"
}
