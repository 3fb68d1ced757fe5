#!/usr/bin/env bats
# Databases and their users on a real MariaDB and a real PostgreSQL.
# shellcheck disable=SC2030,SC2031 # each test runs in a shell of its own

bats_require_minimum_version 1.5.0
load panel
load dbservers

setup_file() {
  [[ $EUID -eq 0 ]] || skip "makes accounts and database servers, which only root can do"
  WORK=$(mktemp -d /tmp/refpanel-db.XXXXXX)
  chmod 755 "$WORK"
  mkdir "$WORK/home"
  local tag
  tag=$(od -An -N4 -tx1 /dev/urandom | tr -d ' \n')
  export WORK ALICE="rpd-$tag" BOB="rpe-$tag"
  make_account "$ALICE"
  make_account "$BOB"
  use_database_servers
  start_mariadb
  start_postgres
}

teardown_file() {
  local name
  stop_database_servers
  while read -r name; do
    userdel --force --remove -- "$name" 2>/dev/null || true
  done <"$WORK/accounts"
  rm -rf "$WORK"
}

# Every test has databases and users of its own on the servers: N ends their names.
setup() {
  [[ $EUID -eq 0 ]] || skip "makes accounts and database servers, which only root can do"
  use_database_servers
  DIR=$WORK/$BATS_TEST_NUMBER
  mkdir "$DIR"
  STATE=$DIR/state.db
  N=$BATS_TEST_NUMBER
  HOME_DIR=$WORK/home/$ALICE
  SERVER=
  "$REFPANEL" user add --state "$STATE" "$ALICE"
  "$REFPANEL" user add --state "$STATE" "$BOB"
}

teardown() {
  end_server
  rm -f "$HOME_DIR"/dump*
}

start_panel() {
  start_local 5 --mysql-socket "$MYSQL_SOCKET" --pgsql-socket "$PGSQL_SOCKET" \
    --pgsql-port "$PGSQL_PORT"
}

# Calls a function with fields NAME=VALUE, whatever is in the values.
call() { # function field...
  local field
  local -a fields=()
  for field in "${@:2}"; do
    fields+=(--data-urlencode "$field")
  done
  local_query "func=$1" "${fields[@]}"
}

# The same for changes in the name of alice, which have to succeed.
change() { # function field...
  local answer
  answer=$(call "$1" sok=ok "su=$ALICE" "${@:2}")
  if [[ $answer != *"<doc><ok/></doc>"* ]]; then
    printf '%s: %s\n' "$1" "$answer" >&2
    return 1
  fi
}

# The message of the error in an answer on standard input.
message() {
  local answer
  answer=$(cat)
  [[ $answer =~ "<msg>"(.*)"</msg>" ]] || return 1
  sed 's/&quot;/"/g; s/&gt;/>/g; s/&lt;/</g; s/&amp;/\&/g' <<<"${BASH_REMATCH[1]}"
}

# The message of the error that a change ends with.
refusal() { # function field...
  call "$1" sok=ok "su=$ALICE" "${@:2}" | message
}

# Runs a function for each type of server, with SRV its name. Not to be tested itself: the shell
# would go on behind what fails in it.
on_both() { # command...
  local SRV=mysql
  "$@"
  SRV=pgsql
  "$@"
}

admin() { if [[ $SRV == mysql ]]; then my "$@"; else pg "$@"; fi; }
login() { if [[ $SRV == mysql ]]; then my_as "$@"; else pg_as "$@"; fi; }
end_of_dump() {
  if [[ $SRV == mysql ]]; then echo '-- Dump completed'; else
    echo '-- PostgreSQL database dump complete'; fi
}

# Makes a dump in alice's home of the statements on standard input. Gives its path.
dump_of_statements() {
  { cat; end_of_dump; } >"$HOME_DIR/dump.$SRV"
  echo "$HOME_DIR/dump.$SRV"
}

native_hash() { my "SELECT PASSWORD('${1//\'/\'\'}')"; }

# A hash of that password on the server SRV, got from a user that is made for it.
hash_of() { # password
  if [[ $SRV == mysql ]]; then
    native_hash "$1"
  else
    pg "CREATE ROLE hashed PASSWORD '${1//\'/\'\'}'"
    pg "SELECT rolpassword FROM pg_authid WHERE rolname = 'hashed'"
    pg 'DROP ROLE hashed'
  fi
}

ALL_PRIVILEGES=(select=on insert=on update=on delete=on create=on drop=on alter=on index=on
  grant=on references=on lock=on)

# --- State and lists

@test "the state knows servers, databases and users, and the lists show them" {
  "$REFPANEL" db add --state "$STATE" --server mysql "shop$N" "$ALICE"
  "$REFPANEL" db add --state "$STATE" --server pgsql "shop$N" "$ALICE"
  "$REFPANEL" db add --state "$STATE" --server mysql "blog$N" "$ALICE"
  "$REFPANEL" db add --state "$STATE" --server mysql "wiki$N" "$BOB"
  "$REFPANEL" dbuser add --state "$STATE" --server mysql all "$ALICE"
  "$REFPANEL" dbuser add --state "$STATE" --server mysql one "$ALICE" --database "blog$N"
  "$REFPANEL" dbserver add --state "$STATE" far mysql --contype remote --host db.example
  run -0 "$REFPANEL" db list --state "$STATE"
  [[ ${lines[0]} == "mysql \"blog$N\" $ALICE \"all\" \"one\"" ]]
  [[ ${lines[1]} == "mysql \"shop$N\" $ALICE \"all\"" ]]
  [[ ${lines[2]} == "pgsql \"shop$N\" $ALICE" ]]
  [[ ${lines[3]} == "mysql \"wiki$N\" $BOB" ]]
  run -0 "$REFPANEL" dbserver list --state "$STATE"
  [[ $output == $'far mysql remote db.example\nmysql mysql local localhost\npgsql pgsql local localhost' ]]
  start_panel
  local elem="<elem><name>blog$N</name><pair>blog$N-&gt;mysql</pair><server>mysql</server><owner>$ALICE</owner></elem>"
  assert_has "$(call db)" "<doc>$elem<elem><name>shop$N</name>"
  assert_has "$(call db)" "<owner>$BOB</owner>"
  [[ $(call db "su=$ALICE") != *"$BOB"* ]]
  assert_has "$(call db.users "elid=blog$N->mysql")" \
    "<doc><elem><name>all</name></elem><elem><name>one</name></elem></doc>"
  assert_has "$(call db.users "elid=shop$N->pgsql")" "<doc/>"
  assert_has "$(call db.server out=xml)" "<elem><name>far</name><type>mysql</type><contype>remote</contype><host>db.example</host></elem>"
  assert_has "$(call db.server out=xml)" "<elem><name>pgsql</name><type>pgsql</type><contype>local</contype><host>localhost</host></elem>"
}

@test "a source of generation 4 lists databases with the fields of that generation" {
  "$REFPANEL" db add --state "$STATE" --server mysql "shop$N" "$ALICE"
  local session
  session=$("$REFPANEL" session --state "$STATE" "$ALICE")
  start_source 4
  assert_has "$(source_query "func=db&auth=$session")" \
    "<elem><name>shop$N</name><dbkey>shop$N-&gt;mysql</dbkey><dbtype>mysql</dbtype><owner>$ALICE</owner></elem>"
}

@test "what cannot be registered is an error that names it" {
  fails() { # message argument...
    run -1 --separate-stderr "$REFPANEL" "${@:2}"
    # shellcheck disable=SC2154 # set by run
    [[ $stderr == "refpanel: $1" ]] || { echo "$stderr" >&2; return 1; }
  }
  "$REFPANEL" db add --state "$STATE" --server mysql "shop$N" "$ALICE"
  fails "database 'shop$N->mysql' exists already" \
    db add --state "$STATE" --server mysql "shop$N" "$BOB"
  fails "no database server 'x'" db add --state "$STATE" --server x "shop$N" "$BOB"
  fails "no user 'nobody'" db add --state "$STATE" --server mysql other nobody
  fails "bad value 'mysql' of field NAME: reserved for the panel or the server itself" \
    db add --state "$STATE" --server mysql mysql "$ALICE"
  "$REFPANEL" dbuser add --state "$STATE" --server mysql one "$ALICE"
  fails "database user 'one->mysql' exists already" \
    dbuser add --state "$STATE" --server mysql one "$BOB"
  fails "no database of user $BOB 'shop$N->mysql'" \
    dbuser add --state "$STATE" --server mysql two "$BOB" --database "shop$N"
  fails "database server 'mysql' exists already" \
    dbserver add --state "$STATE" mysql mysql --contype local
  fails "bad value 'a b' of field NAME: letters, digits and _.- without a dash in front" \
    dbserver add --state "$STATE" "a b" mysql --contype remote
  fails "no option 'Other'" option set --state "$STATE" Other on
  run -0 "$REFPANEL" db list --state "$STATE"
  [[ $output == "mysql \"shop$N\" $ALICE \"one\"" ]]
}

@test "options are read, listed and set by the administrator alone" {
  start_panel
  assert_has "$(call optionlist.edit elid=DbAllowUpperCase)" "<value>off</value>"
  "$REFPANEL" option set --state "$STATE" DbAllowUpperCase on
  assert_has "$(call optionlist.edit elid=DbAllowUpperCase)" "<value>on</value>"
  [[ $(call optionlist.edit elid=DbAllowUpperCase sok=ok value=off | kind) == ok ]]
  assert_has "$(call optionlist)" \
    "<doc><elem><name>DbAllowUpperCase</name><value>off</value></elem></doc>"
  [[ $(call optionlist.edit elid=DbAllowUpperCase sok=ok value=maybe | kind) == value ]]
  [[ $(call optionlist.edit elid=DbAllowUpperCase sok=ok | kind) == value ]]
  assert_has "$(call optionlist.edit elid=Other)" "no option 'Other'"
  local func
  for func in optionlist "optionlist.edit elid=DbAllowUpperCase" db.server; do
    # shellcheck disable=SC2086 # words on purpose
    [[ $(call $func "su=$ALICE" | kind) == access ]]
  done
}

# --- Databases and users

can_log_in_with_the_old_password() {
  local hash
  hash=$(hash_of "old 'päss\"")
  change db.edit "server=$SRV" "name=shop$N" 'user=*' "username=own$N" hash=on \
    "password=$hash" "confirm=$hash"
  [[ $(login "own$N" "old 'päss\"" "SELECT 1" "shop$N") == 1 ]]
  login "own$N" "old 'päss\"" "CREATE TABLE t (a int); INSERT INTO t VALUES (5); DROP TABLE t" \
    "shop$N"
  run ! login "own$N" "wrong" "SELECT 1" "shop$N"
  change db.users.edit tarvin_import=on "plid=shop$N->$SRV" 'name=*' "username=two$N" hash=on \
    "password=$hash" "confirm=$hash" select=on
  [[ $(login "two$N" "old 'päss\"" "SELECT 1" "shop$N") == 1 ]]
  assert_has "$(call db.users "elid=shop$N->$SRV")" \
    "<doc><elem><name>own$N</name></elem><elem><name>two$N</name></elem></doc>"
}

@test "a user made by its hash logs in with the old password" {
  start_panel
  on_both can_log_in_with_the_old_password
  # The older kind of PostgreSQL, which holds the user's name.
  local md5
  md5=md5$(printf 'md5 pwold%s' "$N" | md5sum | cut -d' ' -f1)
  change db.users.edit "plid=shop$N->pgsql" 'name=*' "username=old$N" hash=on "password=$md5" \
    "confirm=$md5"
  [[ $(pg_as "old$N" "md5 pw" "SELECT 1" "shop$N") == 1 ]]
}

takes_a_plain_password() {
  change db.edit "server=$SRV" "name=shop$N" 'user=*' "username=own$N" "password=plain pw" \
    "confirm=plain pw"
  [[ $(login "own$N" "plain pw" "SELECT 1" "shop$N") == 1 ]]
  change db.users.edit "plid=shop$N->$SRV" "name=own$N" "elid=own$N" password=next confirm=next \
    "${ALL_PRIVILEGES[@]}"
  [[ $(login "own$N" next "SELECT 1" "shop$N") == 1 ]]
  assert_has "$(refusal db.users.edit "plid=shop$N->$SRV" 'name=*' "username=x$N" hash=off \
    password=a confirm=b)" "database user 'x$N': password and confirm differ"
  assert_has "$(refusal db.users.edit "plid=shop$N->$SRV" 'name=*' "username=x$N" hash=off)" \
    "database user 'x$N': the password is empty"
}

@test "a user is made and changed by a password in plain text" {
  start_panel
  on_both takes_a_plain_password
}

refuses_bad_hashes() {
  local hash
  change db.edit "server=$SRV" "name=shop$N" 'user=*' "username=own$N" password=p confirm=p
  # shellcheck disable=SC2016 # dollars of hashes
  for hash in '' plain '*123' 'md5zzz' 'SCRAM-SHA-256$4096:x$y:z' '$A$005$abc' 0123456789abcdef \
    "*$(printf 'A%.0s' {1..39})'" "md5$(printf 'a%.0s' {1..31});"; do
    run refusal db.users.edit "plid=shop$N->$SRV" 'name=*' "username=bad$N" hash=on \
      "password=$hash" "confirm=$hash"
    assert_has "$output" "database user 'bad$N': "
    [[ -z $hash || $output != *"$hash"* ]]
  done
  [[ $(admin "SELECT count(*) FROM $([[ $SRV == mysql ]] && echo mysql.user WHERE user= ||
    echo pg_roles WHERE rolname=)'bad$N'") == 0 ]]
  [[ $("$REFPANEL" db list --state "$STATE") != *"bad$N"* ]]
}

@test "a hash that lets nobody in is refused and makes no user" {
  start_panel
  on_both refuses_bad_hashes
}

@test "MariaDB users hold exactly the privileges of the form on exactly that database" {
  start_panel
  change db.edit server=mysql "name=my_shop$N" 'user=*' "username=own$N" password=p confirm=p
  my "CREATE DATABASE myXshop$N; CREATE TABLE myXshop$N.t (a int); CREATE TABLE my_shop$N.t (a int)"
  change db.users.edit "plid=my_shop$N->mysql" "name=own$N" select=on grant=on index=on
  local grants
  grants=$(my "SHOW GRANTS FOR own$N@localhost")
  assert_has "$grants" "GRANT SELECT, INDEX ON \`my\\\\_shop$N\`.* TO \`own$N\`@\`localhost\` WITH GRANT OPTION"
  [[ $(my_as "own$N" p "SELECT count(*) FROM t" "my_shop$N") == 0 ]]
  run -1 my_as "own$N" p "INSERT INTO t VALUES (1)" "my_shop$N"
  run -1 my_as "own$N" p "SELECT * FROM t" "myXshop$N"
  change db.users.edit "plid=my_shop$N->mysql" "name=own$N"
  [[ $(my "SELECT count(*) FROM mysql.db WHERE user = 'own$N'") == 0 ]]
  change db.users.edit "plid=my_shop$N->mysql" "name=own$N" "${ALL_PRIVILEGES[@]}"
  assert_has "$(my "SHOW GRANTS FOR own$N@localhost")" "GRANT ALL PRIVILEGES ON \`my\\\\_shop$N\`.* "
  assert_has "$(my "SHOW GRANTS FOR own$N@localhost")" "WITH GRANT OPTION"
}

@test "PostgreSQL users hold the privileges of the form, also on what is made later" {
  start_panel
  change db.edit server=pgsql "name=shop$N" 'user=*' "username=own$N" password=p confirm=p
  change db.users.edit "plid=shop$N->pgsql" 'name=*' "username=ro$N" password=p confirm=p select=on
  pg "SET ROLE panel_shop$N; CREATE TABLE t (a serial); INSERT INTO t VALUES (7)" "shop$N"
  [[ $(pg_as "ro$N" p "SELECT a FROM t" "shop$N") == 7 ]]
  run ! pg_as "ro$N" p "INSERT INTO t VALUES (1)" "shop$N"
  run ! pg_as "ro$N" p "CREATE TABLE u (a int)" "shop$N"
  run ! pg_as "ro$N" p "DROP TABLE t" "shop$N"
  change db.users.edit "plid=shop$N->pgsql" "name=ro$N" select=on insert=on create=on grant=on
  pg_as "ro$N" p "INSERT INTO t DEFAULT VALUES; CREATE TABLE u (a int);
    GRANT SELECT ON t TO own$N" "shop$N"
  run ! pg_as "ro$N" p "DELETE FROM t" "shop$N"
  run ! pg_as "ro$N" p "ALTER TABLE t ADD b int" "shop$N"
  pg_as "own$N" p "ALTER TABLE t ADD b int; CREATE INDEX i ON t (b); DROP TABLE t" "shop$N"
  change db.users.edit "plid=shop$N->pgsql" "name=ro$N"
  run ! pg_as "own$N" wrong "SELECT 1" "shop$N"
  pg "SET ROLE panel_shop$N; CREATE TABLE w (a int)" "shop$N"
  run ! pg_as "ro$N" p "SELECT * FROM w" "shop$N"
  # Nobody else gets in.
  change db.edit server=pgsql "name=other$N" 'user=*' "username=else$N" password=p confirm=p
  run ! pg_as "else$N" p "SELECT 1" "shop$N"
  assert_has "$output" "permission denied for database"
}

@test "ownership of a superuser's database is not given away" {
  pg "CREATE DATABASE roots$N"
  "$REFPANEL" db add --state "$STATE" --server pgsql "roots$N" "$ALICE"
  start_panel
  assert_has "$(refusal db.users.edit "plid=roots$N->pgsql" 'name=*' "username=u$N" password=p \
    confirm=p drop=on)" "the database belongs to a superuser of PostgreSQL"
  [[ $(pg "SELECT count(*) FROM pg_roles WHERE rolname = 'u$N'") == 0 ]]
  change db.users.edit "plid=roots$N->pgsql" 'name=*' "username=u$N" password=p confirm=p select=on
  [[ $(pg_as "u$N" p "SELECT 1" "roots$N") == 1 ]]
}

@test "remote access is an account for each host on MariaDB, with hash and privileges" {
  start_panel
  hosts() { my "SELECT host, authentication_string FROM mysql.user WHERE user = 'u$N' ORDER BY host"; }
  local hash
  hash=$(native_hash p)
  change db.edit server=mysql "name=one$N" 'user=*' "username=u$N" password=p confirm=p
  change db.edit server=mysql "name=two$N" "user=u$N"
  [[ $(hosts) == "localhost"$'\t'"$hash" ]]
  change db.users.edit "plid=one$N->mysql" "name=u$N" select=on remote_access=on \
    $'addr_list=10.0.0.%, fd00::1\n192.0.2.0/255.255.255.0'
  [[ $(hosts) == $(printf '%s\t'"$hash"'\n' 10.0.0.% 192.0.2.0/255.255.255.0 fd00::1 localhost) ]]
  assert_has "$(my "SHOW GRANTS FOR \`u$N\`@\`10.0.0.%\`")" "GRANT SELECT ON \`one$N\`.* "
  assert_has "$(my "SHOW GRANTS FOR \`u$N\`@\`fd00::1\`")" "GRANT ALL PRIVILEGES ON \`two$N\`.* "
  change db.users.edit "plid=one$N->mysql" "name=u$N" remote_access=on addr_list=
  [[ $(hosts) == $(printf '%s\t'"$hash"'\n' % localhost) ]]
  change db.users.edit "plid=one$N->mysql" "name=u$N" addr_list=10.0.0.1
  [[ $(hosts) == "localhost"$'\t'"$hash" ]]
  assert_has "$(refusal db.users.edit "plid=one$N->mysql" "name=u$N" remote_access=on \
    "addr_list=10.0.0.1 a'b")" "bad value 'a'b' of field addr_list"
  change db.edit server=pgsql "name=one$N" 'user=*' "username=u$N" password=p confirm=p
  change db.users.edit "plid=one$N->pgsql" "name=u$N" remote_access=on addr_list=10.0.0.2
  grep -aq "${ALICE}10.0.0.2" "$STATE" "$STATE-wal"
}

refuses_users_that_are_not_ones_own() {
  change db.edit "server=$SRV" "name=shop$N" 'user=*' "username=own$N" password=p confirm=p
  call db.edit sok=ok "su=$BOB" "server=$SRV" "name=wiki$N" 'user=*' "username=bob$N" password=p \
    confirm=p
  local hash plid="plid=shop$N->$SRV"
  assert_has "$(refusal db.users.edit "$plid" name=nobody)" "no database user 'nobody'"
  assert_has "$(refusal db.users.edit "$plid" "name=bob$N" password=q confirm=q)" \
    "database user 'bob$N' on server '$SRV' belongs to another user"
  assert_has "$(refusal db.users.edit "$plid" 'name=*' "username=bob$N" password=q confirm=q)" \
    "database user 'bob$N' on server '$SRV' belongs to another user"
  assert_has "$(refusal db.users.edit "$plid" 'name=*' "username=own$N" password=q confirm=q)" \
    "database user 'own$N' exists already"
  assert_has "$(refusal db.users.edit "$plid" "name=own$N" elid=other)" "field elid"
  assert_has "$(refusal db.users.edit "$plid" "name=own$N" select=maybe)" "field select"
  assert_has "$(refusal db.edit "server=$SRV" "name=new$N" "user=bob$N")" "belongs to another user"
  assert_has "$(refusal db.edit "server=$SRV" "name=new$N" user=nobody)" "no database user 'nobody'"
  assert_has "$(refusal db.edit "server=$SRV" "name=new$N" 'user=*' "username=own$N" password=q \
    confirm=q)" "exists already"
  # Users of the server that are not the panel's.
  if [[ $SRV == mysql ]]; then my "CREATE USER wild$N@'%'"; else pg "CREATE ROLE wild$N"; fi
  assert_has "$(refusal db.edit "server=$SRV" "name=new$N" 'user=*' "username=wild$N" password=q \
    confirm=q)" "database user 'wild$N' exists already"
  # The administrator mixes no users of two owners either.
  assert_has "$(call db.users.edit sok=ok "$plid" "name=bob$N")" "a user of the database's owner"
  [[ $(login "bob$N" p "SELECT 1" "wiki$N") == 1 ]]
  run ! login "bob$N" p "SELECT 1" "shop$N"
  run ! login "bob$N" q "SELECT 1" "wiki$N"
}

@test "users of others, unknown ones and those that exist are refused" {
  start_panel
  on_both refuses_users_that_are_not_ones_own
}

refuses_databases_of_others() {
  call db.edit sok=ok "su=$BOB" "server=$SRV" "name=wiki$N" 'user=*' "username=bob$N" password=p \
    confirm=p
  local path message="database 'wiki$N' on server '$SRV' belongs to another user"
  path=$(dump_of_statements <<<'CREATE TABLE t (a int);')
  [[ $(refusal db.restore "server=$SRV" "name=wiki$N" type=db "path=$path") == "$message" ]]
  [[ $(refusal db.edit "server=$SRV" "name=wiki$N" 'user=*' username=x password=p \
    confirm=p) == "$message" ]]
  [[ $(refusal db.users.edit "plid=wiki$N->$SRV" 'name=*' username=x password=p \
    confirm=p) == "$message" ]]
  [[ $(call db.users "su=$ALICE" "elid=wiki$N->$SRV" | message) == "$message" ]]
  [[ $(call db.users "su=$ALICE" "elid=none$N->$SRV" | message) == "no database 'none$N->$SRV'" ]]
  assert_has "$(call db.users "su=$ALICE" elid=none | message)" \
    "the key of a database, NAME->SERVER"
  # A database of the server that is not the panel's.
  admin "CREATE DATABASE wild$N"
  assert_has "$(refusal db.restore "server=$SRV" "name=wild$N" type=db "path=$path")" \
    "database 'wild$N->$SRV' exists already"
  [[ $(call db.restore sok=ok "server=$SRV" "name=mine$N" type=db "path=$path" | kind) == value ]]
  [[ $(call db.restore "su=$ALICE" "server=$SRV" "name=mine$N" type=db "path=$path" |
    kind) == value ]]
  [[ $(call db.users.edit "plid=wiki$N->$SRV" "name=bob$N" | kind) == value ]]
}

@test "databases of others are refused" {
  start_panel
  on_both refuses_databases_of_others
}

@test "only servers of this host are worked on" {
  "$REFPANEL" dbserver add --state "$STATE" far mysql --contype remote --host db.example
  start_panel
  assert_has "$(refusal db.edit server=far "name=x$N" 'user=*' username=x password=p confirm=p)" \
    "bad value 'far' of field server: a database server of this host"
  assert_has "$(refusal db.edit server=none "name=x$N" 'user=*' username=x password=p confirm=p)" \
    "no database server 'none'"
}

@test "a server that does not answer is an error with its socket's name" {
  start_local 5 --mysql-socket "$DIR/none.sock" --pgsql-socket "$DIR"
  assert_has "$(refusal db.edit server=mysql "name=x$N" user=x)" "$DIR/none.sock"
  assert_has "$(refusal db.edit server=pgsql "name=x$N" user=x)" "$DIR/.s.PGSQL.5432"
}

@test "capital letters in names are an option of the panel" {
  start_panel
  local -a fields=(server=mysql "name=Shop$N" 'user=*' "username=U$N" password=p confirm=p)
  assert_has "$(refusal db.edit "${fields[@]}")" \
    "bad value 'Shop$N' of field name: no capital letters (option DbAllowUpperCase)"
  "$REFPANEL" option set --state "$STATE" DbAllowUpperCase on
  change db.edit "${fields[@]}"
  [[ $(my "SHOW DATABASES LIKE 'Shop$N'") == "Shop$N" ]]
}

quotes_hostile_names() {
  local name user
  for name in "a'b$N" "a\`b$N" "a\"b$N" "a%b_c$N" "a; drop$N" "x' or '1'='1$N" "host=a b=c$N" \
    "склад$N"; do
    user="u$name"
    change db.edit "server=$SRV" "name=$name" 'user=*' "username=$user" password=p confirm=p
    [[ $(login "$user" p "SELECT 1" "$name") == 1 ]]
    change db.restore "server=$SRV" "name=$name" type=db \
      "path=$(dump_of_statements <<<'CREATE TABLE t (a int); INSERT INTO t VALUES (3);')"
    [[ $(login "$user" p "SELECT a FROM t" "$name") == 3 ]]
    assert_has "$(call db.users --data-urlencode "elid=$name->$SRV")" "<elem><name>"
  done
}

@test "names with quotes and wildcards are quoted" {
  start_panel
  on_both quotes_hostile_names
}

refuses_hostile_names() {
  local name long
  long=$(printf 'a%.0s' {1..10000})
  for name in $'a\nb' $'a\tb' "a/b" "../b" 'a\b' "-x" " a" "a " "a->b" "panel_x" "$long" $'\xff'; do
    [[ $(call db.edit sok=ok "su=$ALICE" "server=$SRV" "name=$name" 'user=*' "username=u$N" \
      password=p confirm=p | kind) == value ]]
    [[ $(call db.restore sok=ok "su=$ALICE" "server=$SRV" "name=$name" type=db \
      "path=$HOME_DIR/x" | kind) == value ]]
    [[ $(call db.edit sok=ok "su=$ALICE" "server=$SRV" "name=shop$N" 'user=*' "username=$name" \
      password=p confirm=p | kind) == value ]]
  done
  [[ $("$REFPANEL" db list --state "$STATE") == "" ]]
}

@test "names that cannot be names are refused" {
  start_panel
  local before
  before=$(my "SHOW DATABASES; SELECT user, host FROM mysql.user"; pg "SELECT datname FROM pg_database; SELECT rolname FROM pg_roles")
  on_both refuses_hostile_names
  [[ $(my "SHOW DATABASES; SELECT user, host FROM mysql.user"; pg "SELECT datname FROM pg_database; SELECT rolname FROM pg_roles") == "$before" ]]
}

# --- Restores

@test "MariaDB views, triggers, routines and events of a foreign definer work after a restore" {
  local foreign="DEFINER=\`gone\`@\`elsewhere\`"
  my "CREATE DATABASE src$N; CREATE USER gone@elsewhere; GRANT ALL ON src$N.* TO gone@elsewhere"
  my "CREATE TABLE t (id int PRIMARY KEY AUTO_INCREMENT, d text, b blob);
    INSERT INTO t (d, b) VALUES ('CREATE $foreign VIEW', x'00ff5c27'), ('ü€😀', NULL);
    CREATE $foreign VIEW v AS SELECT d FROM t;
    CREATE $foreign TRIGGER tr BEFORE INSERT ON t FOR EACH ROW SET NEW.d = CONCAT(NEW.d, '!');
    CREATE $foreign PROCEDURE p() SELECT count(*) FROM t;
    CREATE $foreign FUNCTION f() RETURNS int DETERMINISTIC RETURN 42;
    CREATE $foreign EVENT e ON SCHEDULE EVERY 1 YEAR DO DELETE FROM t" "src$N"
  mariadb-dump --no-defaults --socket="$MYSQL_SOCKET" --default-character-set=utf8mb4 \
    --routines --triggers --events --hex-blob "src$N" >"$HOME_DIR/dump"
  my "DROP USER gone@elsewhere; DROP DATABASE src$N"
  chmod 700 "$HOME_DIR/dump"
  start_panel
  change db.restore server=mysql "name=shop$N" type=db "path=$HOME_DIR/dump"
  change db.users.edit "plid=shop$N->mysql" 'name=*' "username=u$N" password=p confirm=p \
    "${ALL_PRIVILEGES[@]}"
  [[ $(my_as "u$N" p "SELECT d FROM v ORDER BY d LIMIT 1" "shop$N") == "CREATE $foreign VIEW" ]]
  my_as "u$N" p "INSERT INTO t (d) VALUES ('new')" "shop$N"
  [[ $(my_as "u$N" p "SELECT d FROM t WHERE id = 3" "shop$N") == 'new!' ]]
  [[ $(my_as "u$N" p "CALL p(); SELECT f()" "shop$N") == $'3\n42' ]]
  [[ $(my "SELECT hex(b) FROM t WHERE id = 1" "shop$N") == 00FF5C27 ]]
  [[ $(my "SELECT d FROM t WHERE id = 2" "shop$N") == 'ü€😀' ]]
  [[ $(my "SELECT definer FROM information_schema.events WHERE event_schema = 'shop$N'") == \
    "panel_shop$N@localhost" ]]
  assert_has "$(my_as "panel_shop$N" "" "SELECT 1" 2>&1)" "Access denied"
  [[ $(my "SELECT json_value(priv, '$.account_locked') FROM mysql.global_priv
    WHERE user = 'panel_shop$N'") == 1 ]]
}

@test "PostgreSQL objects work after a restore, whoever owned them" {
  pg "CREATE ROLE gone$N LOGIN PASSWORD 'x'; CREATE ROLE friend$N"
  pg "CREATE DATABASE src$N OWNER gone$N"
  pg "SET ROLE gone$N; CREATE SCHEMA s; CREATE TABLE s.t (id serial PRIMARY KEY, d text);
    INSERT INTO s.t (d) VALUES (E'\\restrict x'), (E'\\\\unrestrict'), ('ü€😀');
    CREATE VIEW v AS SELECT d FROM s.t;
    CREATE FUNCTION s.shout() RETURNS trigger LANGUAGE plpgsql SECURITY DEFINER AS
      \$\$BEGIN NEW.d := NEW.d || '!'; RETURN NEW; END\$\$;
    CREATE TRIGGER tr BEFORE INSERT ON s.t FOR EACH ROW EXECUTE FUNCTION s.shout();
    CREATE EXTENSION pgcrypto; GRANT SELECT ON v TO friend$N" "src$N"
  as_user postgres env PGHOST="$PGSQL_SOCKET" PGPORT="$PGSQL_PORT" pg_dump --no-owner --no-acl \
    "src$N" >"$HOME_DIR/dump"
  pg "DROP DATABASE src$N" && pg "DROP ROLE gone$N"
  start_panel
  change db.restore server=pgsql "name=shop$N" type=db "path=$HOME_DIR/dump"
  change db.users.edit "plid=shop$N->pgsql" 'name=*' "username=u$N" password=p confirm=p \
    "${ALL_PRIVILEGES[@]}"
  pg_as "u$N" p "INSERT INTO s.t (d) VALUES ('new')" "shop$N"
  [[ $(pg_as "u$N" p "SELECT d FROM v" "shop$N") == $'\restrict x\n\\unrestrict\nü€😀\nnew!' ]]
  pg_as "u$N" p "ALTER TABLE s.t ADD c int; DROP TABLE s.t CASCADE" "shop$N"
  [[ $(pg "SELECT rolcanlogin, rolsuper, rolpassword IS NULL FROM pg_authid
    WHERE rolname = 'panel_shop$N'") == $'f\tf\tt' ]]
}

restores_in_place_of_what_is_there() {
  change db.edit "server=$SRV" "name=shop$N" 'user=*' "username=own$N" password=p confirm=p
  change db.users.edit "plid=shop$N->$SRV" 'name=*' "username=ro$N" password=p confirm=p select=on
  local path
  path=$(dump_of_statements <<<'CREATE TABLE t (a int); INSERT INTO t VALUES (1);')
  change db.restore "server=$SRV" "name=shop$N" type=db "path=$path"
  login "own$N" p "CREATE TABLE made_since (a int)" "shop$N"
  change db.restore "server=$SRV" "name=shop$N" type=db "path=$path"
  [[ $(login "ro$N" p "SELECT a FROM t" "shop$N") == 1 ]]
  run ! login "ro$N" p "INSERT INTO t VALUES (2)" "shop$N"
  run ! login "own$N" p "SELECT * FROM made_since" "shop$N"
  # A dump that is no good costs nothing of what is there.
  login "own$N" p "INSERT INTO t VALUES (2)" "shop$N"
  path=$(dump_of_statements <<<'CREATE TABLE t (a int); nonsense;')
  assert_has "$(refusal db.restore "server=$SRV" "name=shop$N" type=db "path=$path")" "syntax"
  [[ $(login "ro$N" p "SELECT a FROM t" "shop$N") == $'1\n2' ]]
  # The owner can be given anew, as when an account is moved once more.
  change db.edit "server=$SRV" "name=shop$N" 'user=*' "username=own$N" password=q confirm=q
  [[ $(login "own$N" q "SELECT a FROM t" "shop$N") == $'1\n2' ]]
}

@test "a restore replaces what is there, and keeps it when the dump is no good" {
  start_panel
  on_both restores_in_place_of_what_is_there
  [[ $(my "SHOW DATABASES LIKE 'panel%'; SELECT user FROM mysql.user WHERE user LIKE 'panel_panel%'") == "" ]]
  [[ $(pg "SELECT datname FROM pg_database WHERE datname LIKE 'panel%'") == "" ]]
  [[ $(pg "SELECT rolname FROM pg_roles WHERE rolname LIKE 'panel_panel%'") == "" ]]
}

tells_the_clients_words() {
  local path message
  path=$(dump_of_statements <<<$'CREATE TABLE t (a int);\nINSERT INTO "none" VALUES (1);')
  message=$(refusal db.restore "server=$SRV" "name=bad$N" type=db "path=$path")
  assert_has "$message" "database 'bad$N->$SRV': restore: "
  if [[ $SRV == mysql ]]; then
    assert_has "$message" 'mariadb ended with status 1: '
    assert_has "$message" 'ERROR 1064 (42000) at line 2: You have an error in your SQL syntax'
  else
    assert_has "$message" 'psql ended with status 3: '
    assert_has "$message" 'ERROR:  relation "none" does not exist'
  fi
  # What was made for it is gone.
  [[ $(call db) != *"bad$N-&gt;$SRV"* ]]
  change db.restore "server=$SRV" "name=bad$N" type=db \
    "path=$(dump_of_statements <<<'CREATE TABLE t (a int);')"
}

@test "the client's own words tell why a restore failed" {
  start_panel
  on_both tells_the_clients_words
}

@test "the error of a statement of many megabytes is still told" {
  start_panel
  local SRV=mysql path
  path=$({ printf "CREATE TABLE t (a int);\nINSERT INTO t VALUES ('"
    head -c 8000000 /dev/zero | tr '\0' x
    printf "');\n"; } | dump_of_statements)
  assert_has "$(refusal db.restore server=mysql "name=bad$N" type=db "path=$path")" \
    'ERROR 1366 (22007) at line 2: Incorrect integer value'
}

# What is refused below is not refused for a reason that would meet every dump.
restores_a_plain_dump() {
  change db.restore "server=$SRV" "name=fine$N" type=db \
    "path=$(dump_of_statements <<<'CREATE TABLE t (a text);')"
}

runs_no_commands() {
  local line
  restores_a_plain_dump
  for line in "\\! touch $DIR/pwned" "system touch $DIR/pwned;" "\\system touch $DIR/pwned" \
    "SELECT 1 \\! touch $DIR/pwned" "tee $DIR/pwned" "\\T $DIR/pwned" "source /etc/passwd" \
    "\\copy (SELECT 1) TO PROGRAM 'touch $DIR/pwned'" "\\o | touch $DIR/pwned" \
    "COPY (SELECT 1) TO PROGRAM 'touch $DIR/pwned';" "\\setenv x y" \
    "SELECT 1 INTO OUTFILE '$DIR/pwned';" "SELECT \`touch $DIR/pwned\`;" \
    "\\set x \`touch $DIR/pwned\`"; do
    [[ $(refusal db.restore "server=$SRV" "name=bad$N" type=db \
      "path=$(dump_of_statements <<<"$line")") ]] || { echo "taken: $line" >&2; return 1; }
    [[ ! -e $DIR/pwned ]] || { echo "ran: $line" >&2; return 1; }
  done
}

@test "commands of the client in a dump do not run" {
  start_panel
  chmod 777 "$DIR"
  on_both runs_no_commands
}

reaches_nothing_else() {
  local line
  restores_a_plain_dump
  change db.edit "server=$SRV" "name=other$N" 'user=*' "username=own$N" password=p confirm=p
  login "own$N" p "CREATE TABLE kept (a int); INSERT INTO kept VALUES (1)" "other$N"
  local -a lines=("CREATE DATABASE more$N;" "DROP DATABASE other$N;")
  if [[ $SRV == mysql ]]; then
    lines+=("USE other$N;" "DROP TABLE other$N.kept;" "SELECT * FROM other$N.kept;"
      "GRANT ALL ON *.* TO own$N@localhost;" "GRANT SELECT ON other$N.* TO own$N@localhost;"
      "CREATE USER x$N;" "SET PASSWORD FOR root@localhost = PASSWORD('x');"
      "SET GLOBAL max_connections = 1;" "SELECT * FROM mysql.user;"
      "LOAD DATA LOCAL INFILE '/etc/passwd' INTO TABLE t;"
      "LOAD DATA INFILE '/etc/passwd' INTO TABLE t;" "CREATE TABLE n (a text NOT NULL); INSERT INTO n VALUES (LOAD_FILE('/etc/passwd'));"
      "CREATE DEFINER=root@localhost VIEW v AS SELECT * FROM mysql.user;"
      "PREPARE s FROM 'CREATE DEFINER=root@localhost VIEW v AS SELECT 1'; EXECUTE s;")
  else
    lines+=("RESET SESSION AUTHORIZATION; CREATE ROLE x$N;" "SET ROLE postgres;"
      "SET SESSION AUTHORIZATION postgres;" "\\connect other$N" "\\c postgres"
      "GRANT own$N TO panel_bad$N;" "GRANT pg_read_all_data TO panel_bad$N;" "CREATE ROLE x$N;"
      "ALTER ROLE postgres PASSWORD 'x';" "SELECT pg_read_file('/etc/passwd');"
      "COPY t FROM '/etc/passwd';" "SELECT * FROM pg_authid;" "ALTER SYSTEM SET fsync = on;"
      "CREATE FUNCTION f() RETURNS int LANGUAGE c AS 'x', 'y';" "CREATE EXTENSION dblink;")
  fi
  for line in "${lines[@]}"; do
    [[ $(refusal db.restore "server=$SRV" "name=bad$N" type=db \
      "path=$(dump_of_statements <<<"CREATE TABLE t (a text);"$'\n'"$line")") ]] ||
      { echo "taken: $line" >&2; return 1; }
  done
  [[ $(login "own$N" p "SELECT a FROM kept" "other$N") == 1 ]]
}

@test "a dump reaches nothing but its database" {
  start_panel
  on_both reaches_nothing_else
}

@test "the client of a restore has the user's rights, and a second restore is refused" {
  start_panel
  local SRV=mysql path job client answer holder to_holder
  coproc HOLDER { exec mariadb --no-defaults --socket="$MYSQL_SOCKET" -NBn 3>&-; }
  holder=$HOLDER_PID
  to_holder=${HOLDER[1]}
  echo "SELECT GET_LOCK('hold$N', 0);" >&"$to_holder"
  read -r answer <&"${HOLDER[0]}"
  [[ $answer == 1 ]]
  path=$(dump_of_statements <<<"CREATE TABLE t (a int); DO GET_LOCK('hold$N', 300);")
  change db.restore server=mysql "name=shop$N" type=db "path=$path" 3>&- &
  job=$!
  until [[ $(my "SELECT count(*) FROM information_schema.processlist
    WHERE user = 'panel_shop$N' AND state = 'User lock'") == 1 ]]; do
    kill -0 "$job"
  done
  client=$(ps --no-headers -o pid --ppid "$SERVER" | tr -d ' ')
  [[ $(ps --no-headers -o user:32,group:32 "$client") =~ ^"$ALICE"\ +"$ALICE"\ *$ ]]
  grep -q 'NoNewPrivs:.1' "/proc/$client/status"
  [[ $(find "/proc/$client/fd" -type l | wc -l) -le 4 ]]
  [[ $(tr '\0' ' ' <"/proc/$client/cmdline") == "mariadb --no-defaults --sandbox --binary-mode \
--local-infile=0 --loose-skip-print-query-on-error --default-character-set=utf8mb4 --max-allowed-packet=1G \
--socket=$MYSQL_SOCKET --user=panel_shop$N --database=shop$N " ]]
  assert_has "$(refusal db.restore server=mysql "name=shop$N" type=db "path=$path")" \
    "database 'shop$N->mysql' is being restored already"
  echo "SELECT RELEASE_LOCK('hold$N');" >&"$to_holder"
  wait "$job"
  exec {to_holder}>&-
  wait "$holder"
}

notices_a_cut() {
  local whole path=$HOME_DIR/dump.$SRV size
  change db.edit "server=$SRV" "name=src$N" 'user=*' "username=own$N" password=p confirm=p
  login "own$N" p "CREATE TABLE t (a int); INSERT INTO t VALUES (1)" "src$N"
  if [[ $SRV == mysql ]]; then
    mariadb-dump --no-defaults --socket="$MYSQL_SOCKET" "src$N" >"$DIR/whole"
  else
    as_user postgres env PGHOST="$PGSQL_SOCKET" PGPORT="$PGSQL_PORT" pg_dump -O -x "src$N" \
      >"$DIR/whole"
  fi
  whole=$(stat -c %s "$DIR/whole")
  for size in 0 1 $((whole / 2)) $((whole - 150)); do
    head -c "$size" "$DIR/whole" >"$path"
    assert_has "$(refusal db.restore "server=$SRV" "name=shop$N" type=db "path=$path")" \
      "the dump is not whole: it does not end with '$(end_of_dump)'"
  done
  { cat "$DIR/whole"; echo "SELECT 1;"; } >"$path"
  assert_has "$(refusal db.restore "server=$SRV" "name=shop$N" type=db "path=$path")" \
    "the dump is not whole"
  [[ $(call db) != *"shop$N-&gt;$SRV"* ]]
  cp "$DIR/whole" "$path"
  change db.restore "server=$SRV" "name=shop$N" type=db "path=$path"
}

@test "a dump that was cut is noticed before anything is restored" {
  start_panel
  on_both notices_a_cut
}

@test "only a plain file of the user's own home is restored" {
  start_panel
  local SRV=mysql path
  path=$(dump_of_statements <<<'CREATE TABLE t (a int);')
  cp "$path" "$DIR/outside"
  mkdir "$HOME_DIR/dumps"
  ln -s "$path" "$HOME_DIR/dump.link"
  ln -s "$DIR" "$HOME_DIR/dump.dir"
  cp "$path" "$HOME_DIR/dump.twin"
  ln "$HOME_DIR/dump.twin" "$HOME_DIR/dump.twin2"
  mkfifo "$HOME_DIR/dump.fifo"
  cp "$path" "$HOME_DIR/dump.bob"
  chown "$BOB" "$HOME_DIR/dump.bob"
  restore() { refusal db.restore server=mysql "name=bad$N" type=db "path=$1"; }
  assert_has "$(restore "$HOME_DIR/dump.link")" "Too many levels of symbolic links"
  assert_has "$(restore "$HOME_DIR/dump.dir/outside")" "Too many levels of symbolic links"
  assert_has "$(restore "$HOME_DIR/dump.none")" "'$HOME_DIR/dump.none': No such file"
  local bad
  for bad in "$DIR/outside" "$HOME_DIR/../x" "$HOME_DIR" "$HOME_DIR/" dump.mysql \
    "$HOME_DIR-other/dump"; do
    assert_has "$(restore "$bad")" "a file in the user's home $HOME_DIR"
  done
  for bad in dump.twin dump.fifo dump.bob dumps; do
    assert_has "$(restore "$HOME_DIR/$bad")" "a regular file of the user or of root"
  done
  rmdir "$HOME_DIR/dumps"
  assert_has "$(refusal db.restore server=mysql "name=bad$N" type=file "path=$path")" "field type"
  assert_has "$(refusal db.restore server=mysql "name=bad$N" type=db)" "field path is missing"
  [[ $(call db) != *"bad$N"* ]]
}

@test "no password and no hash reaches the state, the log of calls or standard error" {
  start_panel
  local SRV hash
  for SRV in mysql pgsql; do
    hash=$(hash_of "secret$N")
    {
      call db.edit sok=ok "su=$ALICE" "server=$SRV" "name=shop$N" 'user=*' "username=u$N" hash=on \
        "password=$hash" "confirm=$hash"
      call db.edit sok=ok "su=$ALICE" "server=$SRV" "name=new$N" 'user=*' "username=u$N" \
        "password=secret$N" "confirm=secret$N"
      call db.users.edit sok=ok "su=$ALICE" "plid=shop$N->$SRV" 'name=*' "username=v$N" hash=on \
        "password=x$hash" "confirm=x$hash"
      call db.users.edit sok=ok "su=$ALICE" "plid=shop$N->$SRV" 'name=*' "username=v$N" hash=on \
        "password=$hash" "confirm=x$hash"
    } >>"$DIR/answers"
    run -1 grep -a -e "${hash:6}" -e "secret$N" "$STATE" "$STATE"-* "$DIR/answers" "$DIR/server.err"
  done
}
