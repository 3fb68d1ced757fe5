#!/usr/bin/env bats
# One database that something keeps from moving: what is said about it, and that the next one moves.

bats_require_minimum_version 1.5.0
load database_migrations

setup_file() {
  database_migrations_up
}

teardown_file() {
  lab_down
}

# USER GENERATION: writes the parameters.
write_database_params() {
  write_params "$1" "$2" "$PARAMS" import_files=off import_databases=on mysql_server=mysql \
    pgsql_server=pgsql
}

move_databases() { # USER GENERATION
  write_database_params "$@"
  run --separate-stderr migrate "$PARAMS"
}

# HOST STATEMENT [ARGUMENT...]: what root is told.
mariadb_on() {
  on "$1" mariadb --batch --skip-column-names --execute "$2" "${@:3}"
}

# USER OBJECT NAME TEXT: the job went on to its end with one problem: that of OBJECT about the
# database NAME, which has TEXT. No dump is left.
assert_one_problem() {
  problems_of "$1"
  [[ $status -eq 0 && -z $stderr ]]
  [[ $(problems_of "$1" | wc -l) -eq 1 ]]
  [[ $(problems_of "$1") == *"\"$2\""*"\"$3\""*"$4"* ]]
  assert_home_empty "$1"
}

assert_home_empty() { # USER
  [[ -z $(on dst find "/var/www/$1" -mindepth 1) ]]
}

# USER [PATTERN]: what does not match PATTERN is alike on both hosts.
assert_others_alike() {
  local host
  for host in src dst; do
    database_facts "$host" "$1" | grep -Ev -e "${2-^\$}" >"$BATS_TEST_TMPDIR/$host"
  done
  diff "$BATS_TEST_TMPDIR/src" "$BATS_TEST_TMPDIR/dst"
}

# --- Dump ----------------------------------------------------------------------------------------

# DATABASE: its dump on the source stops after the first bytes, until it is cut off. A panel looks
# for programs in /usr/sbin first.
hold_dump() {
  on src install -m 0755 /dev/stdin /usr/sbin/mariadb-dump <<END
#!/bin/sh
for database; do :; done
[ "\$database" = "$1" ] || exec /usr/bin/mariadb-dump "\$@"
/usr/bin/mariadb-dump "\$@" | head -c 2000
yes -- "-- a comment" | head -c 4000000
echo \$\$ >/root/held.part && mv /root/held.part /root/held
exec sleep 1000
END
}

cut_off_dump() {
  await on src test -e /root/held
  on src bash -c 'kill -KILL "$(cat /root/held)" && rm /root/held /usr/sbin/mariadb-dump'
}

@test "a dump that is cut off is a problem" {
  local generation user
  for generation in 4 5; do
    user=cut$generation
    account_with_databases "$user" "$generation"
    hold_dump "${user}_shop"
    write_database_params "$user" "$generation"
    migrate "$PARAMS" 2>"$BATS_TEST_TMPDIR/stderr" 3>&- &
    cut_off_dump
    status=0
    wait $! || status=$?
    stderr=$(<"$BATS_TEST_TMPDIR/stderr")
    assert_one_problem "$user" db_dump "${user}_shop" "src.example:150$generation"
    assert_others_alike "$user" "^mysql ${user}_(shop|reader)"
  done
}

@test "a source that cannot dump is a problem, with what it says" {
  local generation user
  for generation in 4 5; do
    user=nodump$generation
    account_with_databases "$user" "$generation"
    on src mv /usr/bin/mariadb-dump /usr/bin/mariadb-dump.away
    move_databases "$user" "$generation"
    on src mv /usr/bin/mariadb-dump.away /usr/bin/mariadb-dump
    problems_of "$user"
    [[ $status -eq 0 && -z $stderr ]]
    [[ $(problems_of "$user" | wc -l) -eq 3 ]]
    [[ $(problems_of "$user" | grep -c '"db_dump".*mariadb-dump') -eq 3 ]]
    assert_home_empty "$user"
    assert_others_alike "$user" ^mysql
  done
}

@test "a destination that fills up while a dump is fetched is a problem" {
  local generation user
  for generation in 4 5; do
    user=full$generation
    account_with_databases "$user" "$generation"
    mariadb_on src "CREATE TABLE large (t LONGTEXT); INSERT INTO large VALUES
      (repeat('x', 4000000))" "${user}_shop"
    on dst mount -t tmpfs \
      -o "size=1m,mode=711,uid=$(on dst id -u "$user"),gid=$(on dst id -g "$user")" \
      tmpfs "/var/www/$user"
    move_databases "$user" "$generation"
    assert_one_problem "$user" db_dump "${user}_shop" "no space left on device"
    assert_others_alike "$user" "^mysql ${user}_(shop|reader)"
    on dst umount "/var/www/$user"
  done
}

# --- Restore -------------------------------------------------------------------------------------

# A constraint that the rows break holds where they are inserted anew.
@test "a restore that fails in the middle is a problem" {
  local generation user
  for generation in 4 5; do
    user=broken$generation
    account_with_databases "$user" "$generation"
    mariadb_on src "CREATE TABLE middle (n INT CHECK (n > 0)); SET check_constraint_checks = 0;
      INSERT INTO middle VALUES (1), (-1)" "${user}_archive"
    move_databases "$user" "$generation"
    assert_one_problem "$user" db_restore "${user}_archive" CONSTRAINT
    assert_others_alike "$user" "^mysql ${user}_archive"
  done
}

@test "a local database server that is down is a problem for each of its databases" {
  local generation user
  for generation in 4 5; do
    user=down$generation
    account_with_databases "$user" "$generation"
    on dst mariadb-admin shutdown
    move_databases "$user" "$generation"
    on dst "$DEMO/../lab/services/mariadb"
    problems_of "$user"
    [[ $status -eq 0 && -z $stderr ]]
    [[ $(problems_of "$user" | wc -l) -eq 3 ]]
    [[ $(problems_of "$user" | grep -c '"db_restore"') -eq 3 ]]
    assert_home_empty "$user"
    assert_others_alike "$user" ^mysql
  done
}


# --- Names and users -----------------------------------------------------------------------------

# USER GENERATION NAME: a database of a name that the source's panel has from earlier days.
add_old_database() {
  mariadb_on src "CREATE DATABASE \`$3\`; CREATE TABLE \`$3\`.t (n INT)"
  on src /usr/bin/python3 - "$PANEL_STATE/source$2.db" "$1" "$3" <<'END'
import sqlite3, sys
path, user, name = sys.argv[1:]
with sqlite3.connect(path) as state:
    state.execute("INSERT INTO databases(server, name, owner) VALUES ('mysql', ?, ?)", (name, user))
    state.execute("INSERT INTO database_access(server, database, user) VALUES ('mysql', ?, ?)",
                  (name, user + "_owner"))
END
}

@test "a name that the destination refuses is a problem" {
  local generation user
  for generation in 4 5; do
    user=aname$generation
    account_with_databases "$user" "$generation"
    [[ $generation == 4 ]] || mariadb_on src "DROP DATABASE root"
    add_old_database "$user" "$generation" root
    move_databases "$user" "$generation"
    assert_one_problem "$user" db_restore root "reserved for the panel or the server itself"
    assert_others_alike "$user" '^mysql root '
  done
}

@test "a database user that is somebody else's is a problem, the others arrive" {
  local generation user
  for generation in 4 5; do
    user=taken$generation
    account_with_databases "$user" "$generation"
    make_local_account "holder$generation"
    mariadb_on dst "CREATE DATABASE holder$generation;
      CREATE USER ${user}_reader@localhost IDENTIFIED BY 'mine'"
    on dst "$BIN/refpanel" db add --state "$PANEL_STATE/local.db" --server mysql \
      "holder$generation" "holder$generation"
    on dst "$BIN/refpanel" dbuser add --state "$PANEL_STATE/local.db" --server mysql \
      "${user}_reader" "holder$generation"
    move_databases "$user" "$generation"
    assert_one_problem "$user" db_user_create "${user}_shop" "${user}_reader"
    [[ $(problems_of "$user") == *"param_dbusername=\"${user}_reader\""* ]]
    assert_others_alike "$user" "${user}_reader"
  done
}
