#!/usr/bin/env bats
# Migrations of databases from a source panel that means harm, and into a home whose user does.

bats_require_minimum_version 1.5.0
load migrations

setup_file() {
  lab_up
  on dst "$DEMO/../lab/services/mariadb"
  start_panels
}

teardown_file() {
  lab_down
}

# GENERATION MODE: starts a hostile panel on the source; its port is in $port.
start_hostile_panel() {
  local log
  log=$(mktemp "$BATS_TEST_TMPDIR/panel.XXXXXX")
  on src setsid "$BATS_TEST_DIRNAME/hostile-panel" 0 "$1" "$2" </dev/null >"$log" 2>&1 3>&- &
  await grep -q '^ready' "$log"
  port=$(sed -n 's/^ready //p' "$log")
}

# USER GENERATION MODE: moves databases from a hostile panel to where none is; sets what `run` sets, and the peak of
# the job's resident memory, in MB, to $peak.
move_from_hostile() {
  forget_databases
  start_hostile_panel "$2" "$3"
  write_params "$1" "$2" "$PARAMS" import_files=off import_databases=on mysql_server=mysql \
    pgsql_server=pgsql "url=http://src.example:$port/"
  run --separate-stderr on dst /usr/bin/python3 -c '
import os, sys
pid = os.posix_spawn(sys.argv[1], [sys.argv[1], "tarvin", sys.argv[2]], os.environ)
_, status, usage = os.wait4(pid, 0)
with open("/run/peak", "w") as file:
    print(usage.ru_maxrss // 1024, file=file)
code = os.waitstatus_to_exitcode(status)
sys.exit(code if code >= 0 else 128 - code)' "$BIN/vorlaunch" "$PARAMS"
  peak=$(on dst cat /run/peak)
  echo "$2 $3: status $status, $peak MB; $stderr"
}

# USER: what the destination holds outside of the user's home: modes, owners, and of files the size,
# the last change of any kind and where a link leads. Logs, the panel's state, the database server's
# data and the parameters come and go, and the repository is not a host's own. That the user is
# resumed changes one line of shadow.
outside_home() {
  on dst grep -v "^$1:" /etc/shadow
  on dst find /etc /root /usr/local /var /tmp /run/vortrel \
    \( -path /var/log -o -path "$PANEL_STATE" -o -path /var/lib/mysql -o -path "/var/www/$1" \
    -o -path "$PARAMS" -o -path /etc/shadow -o -path /etc/shadow- -o -path "${LAB%/lab/lab}" \) \
    -prune -o \
    -type d \( -path /etc -o -path /root -o -path /tmp \) -printf '%p %m %U:%G\n' -o \
    -type d -printf '%p %m %U:%G %C@\n' -o -printf '%p %m %U:%G %s %C@ %l\n' | LC_ALL=C sort
}

# The destination's server and its panel know no database and no database user any more.
forget_databases() {
  on dst /usr/bin/python3 - "$PANEL_STATE/local.db" <<'END' | on dst mariadb
import sqlite3, sys

def quoted(name):
    return "`" + name.replace("`", "``") + "`"

with sqlite3.connect(sys.argv[1]) as state:
    for name, in state.execute("SELECT name FROM databases"):
        print(f"DROP DATABASE IF EXISTS {quoted(name)};")
    for name, in state.execute("SELECT name FROM database_users"):
        print(f"DROP USER IF EXISTS {quoted(name)}@localhost, {quoted(name)}@192.0.2.1;")
    for table in "database_access", "database_users", "databases":
        state.execute(f"DELETE FROM {table}")
END
}

# GENERATION: no name of a database leads out of the home, whose user has made the ways there.
assert_names_stay_inside() {
  local user=named$1 name
  make_local_account "$user"
  on dst runuser -u "$user" -- ln -s / "/var/www/$user/tarvin_dump."
  on dst runuser -u "$user" -- mkdir "/var/www/$user/tarvin_dump..."
  outside_home "$user" >"$BATS_TEST_TMPDIR/before"
  for name in climbing root slash dotdot quotes linefeed return blanks encoded-nul nul query option \
    bytes empty long; do
    move_from_hostile "$user" "$1" "name-$name"
    [[ $status -eq 0 || $status -eq 1 ]]
    [[ -z $(on dst find "/var/www/$user" -mindepth 1 ! -name tarvin_dump. ! -name tarvin_dump...) ]]
    on dst rm -f "$PARAMS"
  done
  outside_home "$user" >"$BATS_TEST_TMPDIR/after"
  diff "$BATS_TEST_TMPDIR/before" "$BATS_TEST_TMPDIR/after"
}

@test "names of databases of generation 4 do not lead out of the home" {
  assert_names_stay_inside 4
}

@test "names of databases of generation 5 do not lead out of the home" {
  assert_names_stay_inside 5
}

@test "links in place of a dump do not lead to what they point at" {
  local generation user target
  for generation in 4 5; do
    user=linker$generation
    make_local_account "$user"
    make_local_account "victim$generation"
    on dst install -o "victim$generation" -m 0640 /dev/stdin "/var/www/victim$generation/precious" \
      <<<"another's"
    on dst install -m 0600 /dev/stdin "/etc/precious$generation" <<<"root's"
    outside_home "$user" >"$BATS_TEST_TMPDIR/before"
    for target in "/etc/precious$generation" "/var/www/victim$generation/precious" \
      "/etc/not-there$generation" /etc; do
      on dst runuser -u "$user" -- ln -s "$target" "/var/www/$user/tarvin_dump.shop"
      move_from_hostile "$user" "$generation" good
      problems_of "$user"
      [[ $status -eq 0 && -z $(problems_of "$user") ]]
      [[ -z $(on dst find "/var/www/$user" -mindepth 1) ]]
    done
    outside_home "$user" >"$BATS_TEST_TMPDIR/after"
    diff "$BATS_TEST_TMPDIR/before" "$BATS_TEST_TMPDIR/after"
  done
}

@test "a link in place of a dump's directory is not followed" {
  local generation user
  for generation in 4 5; do
    user=evil$generation
    make_local_account "$user"
    outside_home "$user" >"$BATS_TEST_TMPDIR/before"
    on dst runuser -u "$user" -- ln -s /etc "/var/www/$user/tarvin_dump.shop"
    move_from_hostile "$user" "$generation" name-slash
    [[ $status -eq 1 && $(problems_of "$user") == *tarvin_critical* ]]
    outside_home "$user" >"$BATS_TEST_TMPDIR/after"
    diff "$BATS_TEST_TMPDIR/before" "$BATS_TEST_TMPDIR/after"
    [[ $(on dst readlink "/var/www/$user/tarvin_dump.shop") == /etc ]]
  done
}

# GENERATION MODE MEGABYTES: the job ends and its memory stays below the bound.
assert_bounded() {
  local user=$2$1
  make_local_account "$user"
  move_from_hostile "$user" "$1" "$2"
  [[ $status -eq 0 || $status -eq 1 ]]
  [[ $peak -lt $3 ]]
  echo "# peak of generation $1, $2: $peak MB" >&3
  on dst rm -f "$PARAMS"
}

@test "a hundred thousand databases in one list are gone through" {
  local generation
  for generation in 4 5; do
    forget_log
    assert_bounded "$generation" many 400
    [[ $status -eq 0 ]]
    [[ $(job_log | grep -c "Skipping remotely connected database") -eq 100000 ]]
  done
}

@test "entities of a list are not expanded" {
  local generation
  for generation in 4 5; do
    assert_bounded "$generation" entities 100
    refute grep -F 'root:x:0' <(job_log)
  done
}

@test "a list that is nested a million times is survived" {
  local generation
  for generation in 4 5; do
    assert_bounded "$generation" deep 400
  done
}

@test "a list of 200 MiB is survived" {
  local generation
  for generation in 4 5; do
    assert_bounded "$generation" huge 2500
  done
}

@test "a dump that does not end fills the disk, is a problem and is removed" {
  local generation user
  for generation in 4 5; do
    user=endless$generation
    make_local_account "$user"
    on dst mount -t tmpfs \
      -o "size=8m,mode=711,uid=$(on dst id -u "$user"),gid=$(on dst id -g "$user")" \
      tmpfs "/var/www/$user"
    move_from_hostile "$user" "$generation" dump-endless
    [[ $status -eq 0 ]]
    [[ $(problems_of "$user" | wc -l) -eq 1 ]]
    problems_of "$user"
    [[ $(problems_of "$user") == *'"db_dump"'*'"shop"'*"no space left on device"* ]]
    [[ -z $(on dst find "/var/www/$user" -mindepth 1) ]]
    on dst umount "/var/www/$user"
  done
}

@test "commands in a dump are not run for anybody" {
  local generation
  for generation in 4 5; do
    make_local_account "command$generation"
    move_from_hostile "command$generation" "$generation" dump-commands
    [[ $status -eq 0 ]]
    [[ $(problems_of "command$generation") == *'"db_restore"'*'"shop"'* ]]
    on dst test ! -e /tmp/hostile-panel-was-here
    [[ $(on dst mariadb -BNe "SELECT count(*) FROM mysql.user WHERE user = 'hostile'") -eq 0 ]]
  done
}
