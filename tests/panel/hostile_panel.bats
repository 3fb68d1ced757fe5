#!/usr/bin/env bats
# The panel that means harm does what its modes say, and is a good panel in all else.
# shellcheck disable=SC2030,SC2031,SC2154 # each test runs in a shell of its own; run sets stderr

bats_require_minimum_version 1.5.0

setup_file() {
  HOSTILE=$(cd "$BATS_TEST_DIRNAME/../lab" && pwd)/hostile-panel
  export HOSTILE
}

teardown() {
  stop_hostile
}

start_hostile() { # generation mode
  exec {HOSTILE_OUT}< <(exec "$HOSTILE" 0 "$1" "$2" 3>&-)
  HOSTILE_PID=$!
  local port
  read -r -t 10 ready port <&"$HOSTILE_OUT"
  [[ $ready == ready ]]
  URL=http://127.0.0.1:$port/
}

stop_hostile() {
  [[ -n ${HOSTILE_PID:-} ]] || return 0
  kill "$HOSTILE_PID"
  cat <&"$HOSTILE_OUT"
  exec {HOSTILE_OUT}<&-
  HOSTILE_PID=
}

query() { # body
  curl -sS --max-time 30 -d "$1" "$URL"
}

# Fetches a dump the way each generation has it.
fetch() {
  curl -sS --max-time 30 "${URL}zelcgi/dbdownload?func=db.dump&elid=shop&auth=k"
}

# Fails unless the text holds all the parts.
assert_has() { # text part...
  local part
  for part in "${@:2}"; do
    [[ $1 == *"$part"* ]] || { printf 'expected: %s\nin: %s\n' "$part" "$1" >&2; return 1; }
  done
}

@test "a good panel of generation 4 has all that a job asks for" {
  start_hostile 4 good
  assert_has "$(query 'func=session.newkey&username=u&key=k&auth=a')" "<doc><ok></ok></doc>"
  assert_has "$(query 'func=auth&username=u&key=k')" "<doc><auth>0123456789abcdef</auth></doc>"
  assert_has "$(query 'func=user.edit&elid=u&auth=a')" "<elid>u</elid>" "<shell>on</shell>"
  assert_has "$(query 'func=user.edit&elid=u&shell=on&sok=ok&auth=a')" "<ok></ok>"
  assert_has "$(query 'func=dbconf&auth=a')" "<elem><name>mysql</name>"
  assert_has "$(query 'func=dbconf.edit&elid=mysql&out=devel&auth=a')" "<type>mysql</type>"
  assert_has "$(query 'func=db&auth=a')" \
    "<name>shop</name><dbkey>shop-&gt;mysql</dbkey><dbtype>mysql</dbtype>"
  assert_has "$(query 'func=db.users&elid=shop-%3Emysql&auth=a')" "<elem><name>shopper</name></elem>"
  assert_has "$(query 'func=db.users.edit&needhash=on&plid=p&elid=shopper&out=devel&auth=a')" \
    "<dbusername>shopper</dbusername>" "<dbuserhash>*14E65567ABDB5135D0CFD9A70B3032C179A49EE7</" \
    "<dbuserhost>on</dbuserhost>" "<dbuserhostfrom>192.0.2.1</" "<lock_priv>on</lock_priv>" \
    "<metadata>" "<messages/>"
  [[ $(query 'func=db.users.edit&plid=p&elid=shopper&auth=a') != *@(hash|metadata)* ]]
  assert_has "$(fetch)" "CREATE TABLE" "-- Dump completed"
  assert_has "$(query 'func=no.such')" "<error "
  assert_has "$(curl -sS "${URL}other?func=db.dump&elid=shop")" "<error "
}

@test "a good panel of generation 5 has all that a job asks for" {
  start_hostile 5 good
  assert_has "$(query 'func=user.edit&elid=u&auth=a')" "<limit_shell>on</limit_shell>"
  assert_has "$(query 'func=db.server&auth=a')" \
    "<name>mysql</name><type>mysql</type><contype>local</contype>"
  assert_has "$(query 'func=db&auth=a')" \
    "<name>shop</name><pair>shop-&gt;mysql</pair><owner>user</owner><server>mysql</server>"
  assert_has "$(query 'func=db.users.edit&needhash=on&plid=p&elid=shopper&out=devel&auth=a')" \
    "<username>shopper</username><remote_access>on</remote_access><hash>on</hash>" \
    "<confirm>*14E65567ABDB5135D0CFD9A70B3032C179A49EE7</confirm>" "<lock>on</lock>"
  [[ $(query 'func=db.users.edit&plid=p&elid=shopper&auth=a') != *password* ]]
  assert_has "$(query 'func=actionlist&out=xml&auth=a')" "<action>sslcert</action>"
  assert_has "$(query 'func=sslcert&auth=a')" "<name>site</name>"
  assert_has "$(fetch)" "-- Dump completed"
  assert_has "$(curl -sS "${URL}zelcgi/dbdownload?elid=shop")" "<error "
}

@test "names of databases are as bad as they can be" {
  start_hostile 4 names
  local list
  list=$(query func=db)
  assert_has "$list" "<name>../../../../../../etc/cron.d/shop</name>" "<name>/etc/cron.d/shop</name>" \
    "<name>..</name>" "<name>shop&apos;&quot;\`;&lt;</name>" "<name>shop&#10;shop</name>" \
    "<name>shop%00shop</name>" "<name>shop&#0;shop</name>" $'<name>shop\xe9</name>' \
    "<name></name><dbkey>-&gt;mysql</dbkey>" "<name>$(head -c 10000 /dev/zero | tr '\0' s)</name>"
  stop_hostile
  start_hostile 5 name-dotdot
  [[ $(query func=db) == *"<doc><elem><name>..</name><pair>..-&gt;mysql</pair>"* ]]
}

@test "lists are long, large, deep and not what they seem" {
  start_hostile 5 many
  [[ $(query func=db | grep -o '<server>elsewhere</server>' | wc -l) -eq 100000 ]]
  stop_hostile
  start_hostile 5 huge
  (($(query func=db | wc -c) > 200 << 20))
  stop_hostile
  start_hostile 4 deep
  [[ $(query func=db | grep -o '<elem>' | wc -l) -eq 1000000 ]]
  stop_hostile
  start_hostile 4 entities
  assert_has "$(query func=db)" '<!ENTITY e9 "&e8;&e8;' 'SYSTEM "file:///etc/passwd"' "<name>&file;<"
}

@test "dumps end too early, with an error, or never" {
  start_hostile 4 dump-cut
  run -18 --separate-stderr fetch
  assert_has "$output" "CREATE TABLE"
  stop_hostile
  start_hostile 5 dump-short
  run -18 --separate-stderr fetch
  stop_hostile
  start_hostile 5 dump-unfinished
  run -0 --separate-stderr fetch
  [[ $output == *"CREATE TABLE"* && $output != *completed* ]]
  stop_hostile
  start_hostile 5 dump-empty
  run -0 --separate-stderr fetch
  [[ -z $output ]]
  stop_hostile
  start_hostile 4 dump-error
  run -0 --separate-stderr fetch
  assert_has "$output" "<doc><error " "<msg>the dump failed</msg>"
  stop_hostile
  start_hostile 4 dump-commands
  run -0 --separate-stderr fetch
  assert_has "$output" $'\n\\! touch /tmp/' $'\nDROP DATABASE mysql;' "-- Dump completed"
  stop_hostile
  start_hostile 5 dump-endless
  local size
  size=$(fetch 2>/dev/null | head -c 50000000 | wc -c)
  [[ $size -eq 50000000 ]]
  assert_has "$(query func=db)" "<name>shop</name>"
}

@test "database users have bad names, hashes and addresses" {
  local form='func=db.users.edit&needhash=on&plid=p&elid=u&out=devel'
  start_hostile 5 hash-none
  assert_has "$(query "$form")" "<password></password>"
  stop_hostile
  start_hostile 4 hash-text
  assert_has "$(query "$form")" "<dbuserhash>secret</dbuserhash>"
  stop_hostile
  start_hostile 5 user-root
  assert_has "$(query func=db.users)" "<name>root</name>"
  stop_hostile
  start_hostile 5 hosts-repeated
  assert_has "$(query "$form")" \
    "<addr_list>192.0.2.1</addr_list><addr_list>192.0.2.2</addr_list>" \
    '<metadata><form><page><select name="addr_list" type="multiple"/></page></form></metadata>'
}

@test "every mode answers, and a wrong call is a usage error" {
  local mode count=0
  while read -r mode _; do
    start_hostile 4 "$mode"
    assert_has "$(query func=dbconf)" "<name>mysql</name>"
    stop_hostile
    count=$((count + 1))
  done < <("$HOSTILE")
  ((count > 30))
  run -2 --separate-stderr "$HOSTILE" 0 6 good
  [[ $stderr == usage:* ]]
  run -2 --separate-stderr "$HOSTILE" 0 4 bad
  [[ $stderr == usage:* ]]
}
