#!/usr/bin/env bats
# What a source says about its database servers and the users of its databases, on real servers.
# shellcheck disable=SC2030,SC2031,SC2154 # each test runs in a shell of its own; run sets stderr

bats_require_minimum_version 1.5.0
load panel
load dbservers

setup_file() {
  make_workplace
  use_database_servers
  start_mariadb
  start_postgres
  # Each with the password "secret". The third may come from anywhere.
  my "CREATE DATABASE shop; CREATE DATABASE wiki;
      CREATE USER full@localhost IDENTIFIED BY 'secret';
      CREATE USER full@'192.0.2.%' IDENTIFIED BY 'secret';
      CREATE USER full@'2001:db8::1' IDENTIFIED BY 'secret';
      GRANT ALL ON shop.* TO full@localhost WITH GRANT OPTION;
      GRANT SELECT ON wiki.* TO full@localhost;
      CREATE USER reader@localhost IDENTIFIED BY 'secret';
      GRANT SELECT, LOCK TABLES ON shop.* TO reader@localhost;
      CREATE USER any@localhost IDENTIFIED BY 'secret';
      CREATE USER any@'%' IDENTIFIED BY 'secret';
      CREATE USER other@localhost IDENTIFIED BY 'secret'"
  pg "SET password_encryption = 'scram-sha-256'; CREATE ROLE owner LOGIN PASSWORD 'secret';
      SET password_encryption = 'md5'; CREATE ROLE old LOGIN PASSWORD 'secret'"
  pg "CREATE DATABASE shop OWNER owner"
}

teardown_file() {
  stop_database_servers
  remove_workplace
}

setup() {
  make_state
  use_database_servers
  "$REFPANEL" db add --state "$STATE" --server mysql shop "$ALICE"
  "$REFPANEL" db add --state "$STATE" --server mysql wiki "$ALICE"
  "$REFPANEL" db add --state "$STATE" --server pgsql shop "$ALICE"
  "$REFPANEL" dbuser add --state "$STATE" --server mysql full "$ALICE"
  "$REFPANEL" dbuser add --state "$STATE" --server mysql reader "$ALICE" --database shop
  "$REFPANEL" dbuser add --state "$STATE" --server mysql any "$ALICE" --database shop
  "$REFPANEL" dbuser add --state "$STATE" --server mysql other "$BOB"
  "$REFPANEL" dbuser add --state "$STATE" --server pgsql owner "$ALICE"
  "$REFPANEL" dbuser add --state "$STATE" --server pgsql old "$ALICE"
}

teardown() {
  end_server
}

# The form of a database user, without the head and the session.
form() { # pair user [more-of-the-query]
  source_query "func=db.users.edit&plid=$1&elid=$2${3:-}&auth=$KEY" | sed 's/^<?xml.*?>//'
}

HASH='*14E65567ABDB5135D0CFD9A70B3032C179A49EE7'

# The elements of all privileges, each name followed by the suffix.
all_privileges() { # suffix
  printf "<%s$1>on</%s$1>" select{,} insert{,} update{,} delete{,} create{,} drop{,} alter{,} \
    index{,} grant{,} references{,} lock{,}
}

@test "generation 4 shows a user with its hash, hosts and privileges" {
  start_source_of_databases 4
  local name='<name>full</name><dbusername>full</dbusername>'
  local access='<dbuserhost>on</dbuserhost><dbuserhostfrom>192.0.2.%
2001:db8::1</dbuserhostfrom>'
  local databases='<dbnames>shop</dbnames><dbnames>wiki</dbnames>'
  [[ $(form 'shop-%3Emysql' full '&needhash=on') == \
    "<doc>$name<dbuserhash>$HASH</dbuserhash>$access$(all_privileges _priv)$databases</doc>" ]]
  # Privileges are those on this one database.
  [[ $(form 'wiki->mysql' full) == \
    "<doc>$name$access<select_priv>on</select_priv>$databases</doc>" ]]
}

@test "generation 4 leaves out what a user has not" {
  start_source_of_databases 4
  local name='<name>reader</name><dbusername>reader</dbusername>'
  local privileges='<select_priv>on</select_priv><lock_priv>on</lock_priv>'
  [[ $(form 'shop->mysql' reader '&needhash=off') == \
    "<doc>$name$privileges<dbnames>shop</dbnames></doc>" ]]
  name='<name>any</name><dbusername>any</dbusername>'
  [[ $(form 'shop->mysql' any) == \
    "<doc>$name<dbuserhost>on</dbuserhost><dbuserhostfrom/><dbnames>shop</dbnames></doc>" ]]
}

@test "generation 5 shows the fields that the local form takes" {
  start_source_of_databases 5
  local name='<name>full</name><plid>shop-&gt;mysql</plid><elid>full</elid><username>full</username>'
  local hash="<hash>on</hash><password>$HASH</password><confirm>$HASH</confirm>"
  local access='<remote_access>on</remote_access><addr_list>192.0.2.% 2001:db8::1</addr_list>'
  [[ $(form 'shop-%3Emysql' full '&needhash=on') == \
    "<doc>$name$hash$access$(all_privileges '')</doc>" ]]
  [[ $(form 'shop-%3Emysql' full) == "<doc>$name$access$(all_privileges '')</doc>" ]]
  assert_has "$(form 'shop->mysql' any)" "<remote_access>on</remote_access><addr_list/></doc>"
  [[ $(form 'shop->mysql' reader) == *"<select>on</select><lock>on</lock></doc>" ]]
}

@test "roles of PostgreSQL are shown with their hashes" {
  local hash
  hash=$(pg "SELECT rolpassword FROM pg_authid WHERE rolname = 'owner'")
  [[ $hash == SCRAM-SHA-256* ]]
  start_source_of_databases 4
  assert_has "$(form 'shop->pgsql' owner '&needhash=on')" "<dbuserhash>$hash</dbuserhash>"
  assert_has "$(form 'shop->pgsql' owner)" "$(all_privileges _priv)"
  [[ $(form 'shop->pgsql' owner) != *dbuserhash* ]]
  stop_server
  start_source_of_databases 5
  assert_has "$(form 'shop->pgsql' owner '&needhash=on')" "<password>$hash</password>"
  hash=md5$(printf secretold | md5sum)
  assert_has "$(form 'shop->pgsql' old '&needhash=on')" "<password>${hash%% *}</password>"
}

@test "a user without a hash that can be carried has none in the form" {
  my "CREATE OR REPLACE USER socket@localhost IDENTIFIED VIA unix_socket"
  "$REFPANEL" dbuser add --state "$STATE" --server mysql socket "$ALICE" --database shop
  start_source_of_databases 5
  [[ $(form 'shop->mysql' socket '&needhash=on') == *"<username>socket</username></doc>" ]]
  stop_server
  start_source_of_databases 4
  [[ $(form 'shop->mysql' socket '&needhash=on') != *dbuserhash* ]]
}

@test "forms are described to programs that ask for it" {
  start_source_of_databases 4
  local answer
  answer=$(form 'shop->mysql' full '&out=devel&needhash=on')
  assert_has "$answer" '<slist name="dbnames"><val>shop</val><val>wiki</val></slist>'
  assert_has "$answer" '<tparams><func>db.users.edit</func><elid>full</elid>'
  assert_has "$answer" '<metadata name="db.users.edit"><form><page>'
  assert_has "$answer" '<select name="dbnames" type="multiple"/>'
  assert_has "$answer" '<input name="select_priv" type="checkbox"/>'
  assert_has "$answer" '<messages name="db.users.edit"/></doc>'
  [[ $answer != *"$KEY"* ]]
  stop_server
  start_source_of_databases 5
  answer=$(form 'shop->mysql' full '&out=devel')
  assert_has "$answer" '<input name="addr_list" type="text"/>'
  [[ $answer != *'<slist'* ]]
}

@test "users that do not work with a database of one's own are refused" {
  start_source_of_databases 5
  assert_has "$(form 'shop->mysql' other)" "no user of database shop-&gt;mysql 'other'"
  assert_has "$(form 'wiki->mysql' reader)" "no user of database wiki-&gt;mysql 'reader'"
  [[ $(form 'none->mysql' full | kind) != ok ]]
  assert_has "$(form 'shop' full)" "of field plid: the key of a database, NAME-&gt;SERVER"
  assert_has "$(form 'shop->mysql' '')" "field elid is missing or empty"
  assert_has "$(form 'shop->mysql' full '&needhash=yes')" "bad value 'yes' of field needhash"
  KEY=$("$REFPANEL" session --state "$STATE" "$BOB")
  assert_has "$(form 'shop->mysql' full)" "belongs to another user"
  KEY=$("$REFPANEL" session --state "$STATE")
  assert_has "$(form 'shop->mysql' full)" "<name>full</name>"
}

@test "a user that the server has lost is an error" {
  "$REFPANEL" dbuser add --state "$STATE" --server mysql lost "$ALICE" --database shop
  start_source_of_databases 4
  assert_has "$(form 'shop->mysql' lost)" '<error type="missing" object="database user">'
}

@test "generation 4 lists its database servers and shows their forms" {
  "$REFPANEL" dbserver add --state "$STATE" far mysql --contype remote --host db.example
  start_source_of_databases 4
  local list
  list=$(source_query "func=dbconf&auth=$KEY")
  assert_has "$list" "<elem><name>far</name><type>mysql</type><host>db.example</host></elem>"
  assert_has "$list" "<elem><name>pgsql</name><type>pgsql</type><host>localhost</host></elem>"
  local answer
  answer=$(source_query "func=dbconf.edit&elid=far&auth=$KEY" | sed 's/^<?xml.*?>//')
  local type='<type>mysql</type><contype>remote</contype>'
  [[ $answer == "<doc><elid>far</elid><name>far</name>$type<host>db.example</host></doc>" ]]
  answer=$(source_query "func=dbconf.edit&elid=mysql&out=devel&auth=$KEY")
  assert_has "$answer" '<slist name="type"><val>mysql</val><val>pgsql</val></slist>'
  assert_has "$answer" '<select name="contype"/>'
  assert_has "$answer" '<messages name="dbconf.edit"/></doc>'
  assert_has "$(source_query "func=dbconf.edit&elid=none&auth=$KEY")" "no database server 'none'"
  assert_has "$(source_query "func=dbconf.edit&elid=mysql&sok=ok&auth=$KEY")" "Permission denied"
  stop_server
  start_source_of_databases 5
  assert_has "$(source_query "func=dbconf&auth=$KEY")" "no function 'dbconf'"
  assert_has "$(source_query "func=dbconf.edit&elid=mysql&auth=$KEY")" "no function 'dbconf.edit'"
}
