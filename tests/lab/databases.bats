#!/usr/bin/env bats
# Databases that move between two real hosts, looked at from outside.

bats_require_minimum_version 1.5.0
load database_migrations
source "${BATS_TEST_DIRNAME}/../../demo/certificates.sh"

setup_file() {
  database_migrations_up
}

setup() {
  allow_capitals on
}

teardown_file() {
  lab_down
}

# USER GENERATION [KEY=VALUE...]
move_databases() {
  run_migration "$1" "$2" import_files=off import_databases=on \
    mysql_server=mysql pgsql_server=pgsql "${@:3}"
}

# USER [FILTER...]: contents, structure, use, rights and old passwords are alike on both hosts, as
# far as the command FILTER lets them through.
assert_facts_alike() {
  local host filter=("${@:2}")
  [[ $# -gt 1 ]] || filter=(cat)
  for host in src dst; do
    database_facts "$host" "$1" >"$BATS_TEST_TMPDIR/$host"
  done
  diff <("${filter[@]}" <"$BATS_TEST_TMPDIR/src") <("${filter[@]}" <"$BATS_TEST_TMPDIR/dst")
}

# USER: both servers let in the same from HOST.
assert_logins_alike() { # USER HOST SOURCE_ADDRESS DESTINATION_ADDRESS
  database_facts "$2" "$1" --logins-at "$3" >"$BATS_TEST_TMPDIR/src"
  database_facts "$2" "$1" --logins-at "$4" >"$BATS_TEST_TMPDIR/dst"
  diff "$BATS_TEST_TMPDIR/src" "$BATS_TEST_TMPDIR/dst"
}

# USER: everything is alike, and whoever is let in by one host's servers from somewhere is by the
# other's.
assert_databases_alike() {
  local host
  assert_facts_alike "$1"
  for host in src dst; do
    assert_logins_alike "$1" "$host" 10.99.0.1 10.99.0.2
    assert_logins_alike "$1" "$host" fd00:99::1 fd00:99::2
  done
}

# USER: nothing that begins with the user's name is on the destination's servers.
assert_no_databases() {
  [[ -z $(mariadb_on dst "SHOW DATABASES LIKE '$1\_%'") ]]
  [[ -z $(postgres_on dst postgres "SELECT datname FROM pg_database WHERE datname LIKE '$1\_%'") ]]
}

# HOST STATEMENT [DATABASE]: what root is told.
mariadb_on() {
  on "$1" mariadb --default-character-set=utf8mb4 --batch --skip-column-names \
    --execute "$2" "${@:3}"
}

# HOST DATABASE STATEMENT
postgres_on() {
  on "$1" psql --no-psqlrc --quiet --tuples-only --no-align -U postgres -d "$2" -c "$3"
}

# USER GENERATION [KEY=VALUE...]: the account arrives whole, and nothing is left of the move.
assert_moves() {
  account_with_databases "$1" "$2"
  assert_no_databases "$1"
  move_databases "$@"
  [[ $status -eq 0 && -z $output && -z $stderr ]]
  assert_databases_alike "$1"
  assert_nothing_left "$1"
  [[ -z $(problems_of "$1") ]]
}

@test "databases of generation 4 arrive whole" {
  assert_moves four 4
}

@test "databases of generation 5 Lite arrive whole" {
  assert_moves lite 5
}

@test "databases of generation 5 Pro arrive whole" {
  assert_moves pro 5 remote_type=vortrel5pro
}

@test "accounts do not see each other's databases" {
  account_with_databases first 5
  account_with_databases second 5
  move_databases first 5
  assert_no_databases second
  move_databases second 5
  assert_databases_alike first
  assert_databases_alike second
  [[ -z $(mariadb_on dst "SELECT user, db FROM mysql.db
    WHERE user LIKE '%first%' AND db NOT LIKE 'first%'
       OR user LIKE '%second%' AND db NOT LIKE 'second%'") ]]
  [[ -z $(postgres_on dst postgres "SELECT rolname, datname FROM pg_roles, pg_database
    WHERE (rolname LIKE '%first%' AND datname NOT LIKE '%first%'
        OR rolname LIKE '%second%' AND datname NOT LIKE '%second%')
      AND datname LIKE '%\_ledger' AND has_database_privilege(rolname, datname, 'CONNECT')") ]]
}

# ROLE PATTERN: gives the role its password anew until the hash is like PATTERN. The statements come
# on standard input so that the password is in no argument list.
salt_password() {
  on src psql --no-psqlrc --quiet -U postgres -d postgres <<END
DO \$\$
BEGIN
  LOOP
    ALTER ROLE "$1" PASSWORD '$(on src sed -n "s/^pgsql $1 //p" "/root/demo-passwords/${1%_*}")';
    EXIT WHEN (SELECT rolpassword ~ '$2' FROM pg_authid WHERE rolname = '$1');
  END LOOP;
END \$\$
END
}

@test "a password arrives whatever its salt is" {
  for salt in + /; do
    user=salty$((++number))
    account_with_databases "$user" 5
    salt_password "${user}_books" "^SCRAM-SHA-256.4096:[$salt]"
    move_databases "$user" 5
    assert_databases_alike "$user"
  done
}

@test "many rows arrive" {
  account_with_databases many 5 20000
  move_databases many 5
  [[ $status -eq 0 && -z $(problems_of many) ]]
  [[ $(mariadb_on dst "SELECT count(*) FROM many_shop.customers") -eq 20002 ]]
  assert_databases_alike many
}

sort_in_lower_case() {
  sed 's/^mysql \([a-z0-9]*\)_Wiki /mysql \1_wiki /' | sort
}

@test "without capital letters in names, databases arrive in lower case" {
  allow_capitals off
  for generation in 4 5; do
    user=lower$generation
    account_with_databases "$user" "$generation"
    move_databases "$user" "$generation"
    [[ $status -eq 0 && -z $(problems_of "$user") ]]
    [[ $(mariadb_on dst "SHOW DATABASES LIKE '$user\_w%'") == "${user}_wiki" ]]
    assert_facts_alike "$user" sort_in_lower_case
  done
}

@test "with databases off, none arrives" {
  account_with_databases none 4
  run_migration none 4 import_files=off import_databases=off
  assert_no_databases none
  assert_nothing_left none
}

# USER: the destination's shop is another than the source's.
change_shop() {
  mariadb_on dst "UPDATE categories SET name = 'changed' WHERE id = 1;
    CREATE TABLE only_here (n INT); DROP VIEW best_customers; DELETE FROM carts" "$1_shop"
  refute assert_facts_alike "$1"
}

@test "with overwrite off, databases that are there are left alone" {
  account_with_databases kept 5
  move_databases kept 5
  change_shop kept
  before=$(database_facts dst kept)
  move_databases kept 5
  [[ $status -eq 0 && -z $(problems_of kept) ]]
  [[ $(database_facts dst kept) == "$before" ]]
}

@test "with overwrite on, databases of generation 5 that are there become the source's" {
  account_with_databases replaced 5
  move_databases replaced 5
  change_shop replaced
  move_databases replaced 5 overwrite=on
  [[ $status -eq 0 && -z $(problems_of replaced) ]]
  assert_databases_alike replaced
}

# The job of generation 4 does not ask which database users there are.
@test "with overwrite on, databases of generation 4 become the source's, users are told about" {
  account_with_databases again 4
  move_databases again 4
  change_shop again
  move_databases again 4 overwrite=on
  [[ $status -eq 0 ]]
  [[ $(problems_of again | grep -c '"db_user_create".*exists already') -ge 1 ]]
  [[ -z $(problems_of again | grep -v '"db_user_create".*exists already') ]]
  assert_databases_alike again
}

@test "a database that belongs to somebody else is not touched" {
  for generation in 4 5; do
    user=robbed$generation
    account_with_databases "$user" "$generation"
    make_local_account "owner$generation"
    mariadb_on dst "CREATE DATABASE ${user}_shop; CREATE TABLE ${user}_shop.precious (n INT)"
    on dst "$BIN/refpanel" db add --state "$PANEL_STATE/local.db" --server mysql "${user}_shop" \
      "owner$generation"
    move_databases "$user" "$generation"
    [[ $(mariadb_on dst "SHOW TABLES" "${user}_shop") == precious ]]
    [[ $(problems_of "$user") == *'"db_alien"'*"\"${user}_shop\""* ]]
    [[ $(problems_of "$user" | wc -l) -eq 1 ]]
    assert_facts_alike "$user" grep -v "^mysql ${user}_shop "
  done
}

@test "a database user who belongs to somebody else keeps password and rights" {
  for generation in 4 5; do
    user=taken$generation
    account_with_databases "$user" "$generation"
    make_local_account "holder$generation"
    mariadb_on dst "CREATE DATABASE holder$generation; CREATE USER ${user}_reader@localhost
      IDENTIFIED BY 'mine'; GRANT ALL ON holder$generation.* TO ${user}_reader@localhost"
    on dst "$BIN/refpanel" db add --state "$PANEL_STATE/local.db" --server mysql \
      "holder$generation" "holder$generation"
    on dst "$BIN/refpanel" dbuser add --state "$PANEL_STATE/local.db" --server mysql \
      "${user}_reader" "holder$generation"
    before=$(mariadb_on dst "SHOW GRANTS FOR ${user}_reader@localhost")
    move_databases "$user" "$generation"
    [[ $(mariadb_on dst "SHOW GRANTS FOR ${user}_reader@localhost") == "$before" ]]
    [[ $(mariadb_on dst "SELECT count(*) FROM mysql.user WHERE user = '${user}_reader'") -eq 1 ]]
    [[ $(problems_of "$user") == *'"db_user_create"'*"${user}_reader"* ]]
    [[ $(problems_of "$user" | wc -l) -eq 1 ]]
    assert_facts_alike "$user" grep -v "${user}_reader"
  done
}

@test "a database on a server that the panel does not have is left out" {
  on src "$BIN/refpanel" dbserver add --state "$PANEL_STATE/source4.db" elsewhere mysql \
    --contype remote --host 10.99.0.9
  account_with_databases away 4
  on src "$BIN/refpanel" db add --state "$PANEL_STATE/source4.db" --server elsewhere away_far away
  forget_log
  move_databases away 4
  [[ $status -eq 0 && -z $(problems_of away) ]]
  job_log | grep -F "Skipping remotely connected database 'away_far' (owner 'away')"
  assert_databases_alike away
}

@test "a database without users of generation 4 is left out" {
  account_with_databases lonely 4
  mariadb_on src "CREATE DATABASE lonely_nobody"
  on src "$BIN/refpanel" db add --state "$PANEL_STATE/source4.db" --server mysql \
    lonely_nobody lonely
  forget_log
  move_databases lonely 4
  [[ $status -eq 0 && -z $(problems_of lonely) ]]
  job_log | grep -F "There is no users imported for database 'lonely_nobody' owner 'lonely'"
  [[ -z $(mariadb_on dst "SHOW DATABASES LIKE 'lonely\_nobody'") ]]
}

# Prints who can log in to the destination's servers without a password.
open_doors() {
  mariadb_on dst "SELECT user, host FROM mysql.global_priv
    WHERE json_value(priv, '$.account_locked') IS NOT TRUE
      AND json_value(priv, '$.plugin') IN ('', 'mysql_native_password')
      AND ifnull(json_value(priv, '$.authentication_string'), '') = ''"
  postgres_on dst postgres "SELECT rolname FROM pg_authid WHERE rolcanlogin
    AND rolpassword IS NULL AND rolname <> 'postgres'"
}

@test "a user whose password cannot be carried is never let in without one" {
  for generation in 4 5; do
    user=odd$generation
    account_with_databases "$user" "$generation"
    mariadb_on src "ALTER USER ${user}_reader@localhost IDENTIFIED VIA unix_socket;
      DROP USER ${user}_reader@'10.99.0.2', ${user}_reader@'fd00:99::2'"
    move_databases "$user" "$generation"
    [[ -z $(open_doors) ]]
    assert_facts_alike "$user" grep -v "${user}_reader"
  done
  [[ $(problems_of odd4) == *'"db_user_create"'*odd4_reader* && $(problems_of odd4 | wc -l) -eq 1 ]]
  # A job of generation 5 gives such a user a new password.
  [[ -z $(problems_of odd5) ]]
  [[ $(mariadb_on dst "SELECT count(*) FROM mysql.user WHERE user = 'odd5_reader'
    AND plugin = 'mysql_native_password' AND length(authentication_string) = 41") -eq 1 ]]
}

@test "a database of generation 4 whose first user has no password to carry is not made" {
  account_with_databases doorless 4
  postgres_on src postgres "ALTER ROLE doorless_audit PASSWORD NULL"
  move_databases doorless 4
  [[ $(problems_of doorless | grep -c '"db_restore".*"doorless_ledger".*doorless_audit') -eq 1 ]]
  [[ -z $(postgres_on dst postgres "SELECT 1 FROM pg_database WHERE datname = 'doorless_ledger'") ]]
  [[ -z $(open_doors) ]]
  assert_facts_alike doorless grep '^mysql'
}

@test "what was restored does not belong to an administrator, and nobody can log in as its owner" {
  account_with_databases owned 5
  move_databases owned 5
  mapfile -t definers < <(mariadb_on dst "SELECT definer FROM information_schema.views
    WHERE table_schema = 'owned_shop' UNION SELECT definer FROM information_schema.triggers
    WHERE trigger_schema = 'owned_shop' UNION SELECT definer FROM information_schema.routines
    WHERE routine_schema = 'owned_shop' UNION SELECT definer FROM information_schema.events
    WHERE event_schema = 'owned_shop'")
  [[ ${#definers[@]} -eq 1 && ${definers[0]} != root@* ]]
  [[ $(mariadb_on dst "SELECT json_value(priv, '$.account_locked') FROM mysql.global_priv
    WHERE concat(user, '@', host) = '${definers[0]}'") == 1 ]]
  [[ $(mariadb_on dst "SELECT count(*) FROM information_schema.user_privileges WHERE
    replace(grantee, '\\'', '') = '${definers[0]}' AND privilege_type <> 'USAGE'") -eq 0 ]]
  [[ $(postgres_on dst owned_ledger "SELECT DISTINCT r.rolsuper OR r.rolcanlogin OR r.rolcreaterole
    FROM pg_class c JOIN pg_roles r ON r.oid = c.relowner
    WHERE c.relnamespace::regnamespace::text IN ('public', 'archive')") == f ]]
}

# HOST: follows every program that the host's panels start, until end_trace.
begin_trace() {
  local host=$1 panels
  panels=$(on "$host" pgrep -d , -x refpanel)
  on "$host" bash -c 'echo $$ >/root/strace.pid
    exec strace -f -s 1000000 -e trace=execve -e signal=none -o /root/trace -p "$1" \
      2>/root/attached' \
    _ "$panels" 3>&- &
  await on "$host" grep -q attached /root/attached
}

# HOST: prints what was seen.
end_trace() {
  on "$1" bash -c 'kill -INT "$(cat /root/strace.pid)"'
  await on "$1" bash -c '! kill -0 "$(cat /root/strace.pid)" 2>/dev/null'
  on "$1" cat /root/trace
}

# USER: prints all that must stay secret about the user's databases.
database_secrets() {
  on src cut -d ' ' -f 3 "/root/demo-passwords/$1"
  mariadb_on src "SELECT authentication_string FROM mysql.user WHERE user LIKE '$1\_%'"
  postgres_on src postgres "SELECT rolpassword FROM pg_authid WHERE rolname LIKE '$1\_%'"
  on dst sed -n 's/^root_auth = //p' "$PARAMS"
}

@test "no password, hash or session key is in an argument list" {
  for generation in 4 5; do
    user=quiet$generation
    account_with_databases "$user" "$generation"
    write_params "$user" "$generation" "$PARAMS"
    database_secrets "$user" >"$BATS_TEST_TMPDIR/secrets"
    [[ $(sort -u "$BATS_TEST_TMPDIR/secrets" | wc -l) -eq 13 ]]
    begin_trace src
    begin_trace dst
    move_databases "$user" "$generation"
    end_trace src >"$BATS_TEST_TMPDIR/trace"
    end_trace dst >>"$BATS_TEST_TMPDIR/trace"
    grep -q 'mariadb-dump' "$BATS_TEST_TMPDIR/trace"
    grep -q 'psql' "$BATS_TEST_TMPDIR/trace"
    refute grep -F -f "$BATS_TEST_TMPDIR/secrets" "$BATS_TEST_TMPDIR/trace"
  done
}

@test "certificates of generation 5 arrive with the files, those from elsewhere stay" {
  make_account certified 5 --files 1 --mailboxes 0
  make_account_certificates certified
  [[ $(certificates_of src certified | wc -l) -eq 2 ]]
  run_migration certified 5
  [[ $status -eq 0 && -z $(problems_of certified) ]]
  diff <(certificates_of src certified) <(certificates_of dst certified)
  refute grep bought <(on dst "$BIN/refpanel" cert list --state "$PANEL_STATE/local.db")
}

@test "without the files no certificate arrives" {
  make_account bare 5 --files 1 --mailboxes 0
  make_account_certificates bare
  run_migration bare 5 import_files=off
  [[ $status -eq 0 && -z $(certificates_of dst bare) ]]
}
