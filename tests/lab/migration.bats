#!/usr/bin/env bats
# Whole migrations between two real hosts, looked at from outside.

bats_require_minimum_version 1.5.0
load migrations

setup_file() {
  migrations_up
}

teardown_file() {
  lab_down
}

@test "a home of generation 4 arrives whole" {
  make_account whole 4 --files 300
  before=$(keys_of whole)
  run_migration whole 4
  [[ $status -eq 0 && -z $output && -z $stderr ]]
  assert_homes_alike whole
  [[ $(keys_of whole) == "$before" ]]
  [[ $(source_shell whole) == /usr/sbin/nologin ]]
  refute is_suspended dst whole
  assert_nothing_left whole
  [[ -z $(problems_of whole) ]]
}

@test "mail that only its own account could read arrives too" {
  make_account mailed 4 --files 1
  letter=email/site.example/box2/.maildir/cur/7.msg:2,S
  [[ $(on src stat -c %A "/home/mailed/$letter") == -rw------- ]]
  run_migration mailed 4
  [[ $(on dst cat "/var/www/mailed/$letter") == $'Subject: letter 7\n\nto box 2' ]]
  [[ $(on dst stat -c %A:%U "/var/www/mailed/$letter") == -rw-r-----:mailed ]]
}

@test "what is named on the source only is left out" {
  make_account left 4 --files 1
  run_migration left 4
  for path in tmp mod-tmp webdav php-bin/php.ini logs/access.log; do
    on src test -e "/home/left/$path"
    on dst test ! -e "/var/www/left/$path"
  done
  on dst test -d /var/www/left/logs
}

@test "the key of the copy arrives in authorized_keys, which is as it stood then" {
  make_account keyed 4 --files 1
  run_migration keyed 4
  diff <(on src cat /home/keyed/.ssh/authorized_keys) \
       <(on dst cat /var/www/keyed/.ssh/authorized_keys | grep -v '@dst$')
  [[ $(on dst grep -c '^ssh-rsa .*@dst$' /var/www/keyed/.ssh/authorized_keys) -eq 1 ]]
}

@test "protected web directories name their passwords file on the new host" {
  make_account web 4 --files 1
  run_migration web 4
  on dst grep -x 'AuthUserFile /var/www/web/.htpasswd' \
    /var/www/web/www/site.example/members/.htaccess
}

@test "a source user without authorized_keys ends without" {
  make_account nokeys 4 --files 1
  on src rm /home/nokeys/.ssh/authorized_keys
  run_migration nokeys 4
  [[ $status -eq 0 && $(keys_of nokeys) == none ]]
  # The folder shows that a file was removed from it.
  assert_homes_alike nokeys .ssh
}

@test "an empty authorized_keys ends as no file" {
  make_account emptykeys 4 --files 1
  on src truncate -s 0 /home/emptykeys/.ssh/authorized_keys
  run_migration emptykeys 4
  [[ $status -eq 0 && $(keys_of emptykeys) == none ]]
}

@test "a source user without a .ssh folder is moved" {
  make_account nossh 4 --files 1
  on src rm -r /home/nossh/.ssh
  run_migration nossh 4
  [[ $status -eq 0 ]]
  assert_homes_alike nossh .ssh
  assert_nothing_left nossh
}

@test "a home moves over IPv6, with a key for a password" {
  make_account six 4 --files 30
  "$LAB" key >/dev/null
  on dst install -m 0600 /dev/stdin /root/master <"$("$LAB" key)"
  before=$(keys_of six)
  run_migration six 4 url='https://[fd00:99::1]:1504/' servername=fd00:99::1 auth_type=bykey \
    masterkey=/root/master password=
  [[ $status -eq 0 && -z $stderr ]]
  assert_homes_alike six
  [[ $(keys_of six) == "$before" ]]
  assert_nothing_left six
  job_log | grep -F "connecting to src server 'root'@'fd00:99::1':2222 with key"
}

# USER: a home on the destination that holds other contents already.
fill_destination() {
  on dst runuser -u "$1" -- bash -c '
    cd ~ && mkdir -p links odd && echo mine >links/target && echo mine >"odd/two words" &&
    echo "only here" >only-here && touch -d 2020-01-01 links/target'
}

@test "with overwrite off, what the destination holds is kept" {
  make_account kept 4 --files 30
  fill_destination kept
  run_migration kept 4
  [[ $status -eq 0 ]]
  [[ $(on dst cat /var/www/kept/links/target) == mine ]]
  [[ $(on dst cat "/var/www/kept/odd/two words") == mine ]]
  [[ $(on dst cat /var/www/kept/only-here) == "only here" ]]
  on dst rm /var/www/kept/only-here
  assert_homes_alike kept links/target 'odd/two words'
}

@test "with overwrite on, the source's contents replace the destination's" {
  make_account replaced 4 --files 30
  fill_destination replaced
  run_migration replaced 4 overwrite=on
  [[ $status -eq 0 ]]
  [[ $(on dst cat /var/www/replaced/only-here) == "only here" ]]
  on dst rm /var/www/replaced/only-here
  assert_homes_alike replaced
}

@test "a second migration finds nothing to do and changes nothing" {
  make_account again 4 --files 30
  run_migration again 4
  first=$(manifest dst again)
  run_migration again 4
  [[ $status -eq 0 && $(manifest dst again) == "$first" ]]
}

@test "with user_disabled on, the user is suspended on both hosts in the end" {
  make_account idle 4 --files 1
  run_migration idle 4 user_disabled=on
  [[ $status -eq 0 ]]
  assert_homes_alike idle
  is_suspended src idle
  is_suspended dst idle
  [[ $(source_shell idle) == /usr/sbin/nologin ]]
}

@test "a home of generation 5 moves, and only its shell field is set" {
  make_account five 5 --files 30 --mailboxes 0
  run_migration five 5
  [[ $status -eq 0 && -z $(problems_of five) ]]
  assert_homes_alike five
  [[ $(source_shell five) == /usr/sbin/nologin ]]
  assert_nothing_left five
}

@test "a shell that was on stays on" {
  make_account shelled 4 --files 1
  on src usermod --shell /bin/bash shelled
  run_migration shelled 4
  [[ $status -eq 0 && $(source_shell shelled) == /bin/bash ]]
  refute grep "shell access for user 'shelled'" <(job_log)
}

# Prints every argument list that is seen on both hosts until the file STOP is there.
watch_processes() { # STOP
  while [[ ! -e $1 ]]; do
    for host in src dst; do
      cat /proc/"$(cat "/run/vortrel-lab/$LAB_NAME/$host/pid")"/root/proc/[0-9]*/cmdline 2>/dev/null |
        tr '\0' ' '
      echo
    done
  done | sort -u
}

@test "no password or key shows in the log, in an error or in a process list" {
  make_account quiet 4 --files 30
  forget_log
  stop=$BATS_TEST_TMPDIR/stop
  watch_processes "$stop" >"$BATS_TEST_TMPDIR/seen" &
  watcher=$!
  write_params quiet 4 "$PARAMS"
  on dst cat "$PARAMS" >"$BATS_TEST_TMPDIR/params"
  run --separate-stderr migrate "$PARAMS"
  touch "$stop"
  wait "$watcher"
  [[ $status -eq 0 ]]
  grep -q rsync "$BATS_TEST_TMPDIR/seen"
  job_log >"$BATS_TEST_TMPDIR/log"
  password=$("$LAB" password src)
  auth=$(sed -n 's/^root_auth = //p' "$BATS_TEST_TMPDIR/params")
  encoded=$(sed -n 's/^password = //p' "$BATS_TEST_TMPDIR/params")
  for secret in "$password" "$auth" "$encoded" "PRIVATE KEY"; do
    [[ -n $secret ]]
    refute grep -rF -- "$secret" "$BATS_TEST_TMPDIR/seen" "$BATS_TEST_TMPDIR/log"
    [[ $output != *"$secret"* && $stderr != *"$secret"* ]]
  done
}

@test "the log is root's alone" {
  [[ $(on dst stat -c %a:%U /var/log/vortrel/tarvin.log) == 600:root ]]
}

@test "a job that is told to end stops the copy and puts the source back" {
  make_account stopped 4 --files 30
  # A copy that does not end: the source's rsync waits at a pipe that nobody writes.
  on src bash -c 'printf "#!/bin/sh\nexec sleep 1000\n" >/usr/local/bin/rsync; chmod +x /usr/local/bin/rsync'
  before=$(keys_of stopped)
  write_params stopped 4 "$PARAMS"
  migrate "$PARAMS" 2>"$BATS_TEST_TMPDIR/stderr" &
  job=$!
  await on dst pgrep -f "^rsync -e"
  on dst pkill -TERM -x vorlaunch
  status=0
  wait "$job" || status=$?
  on src rm /usr/local/bin/rsync
  [[ $status -eq 0 ]]
  [[ $(keys_of stopped) == "$before" ]]
  [[ $(source_shell stopped) == /usr/sbin/nologin ]]
  assert_nothing_left stopped
  refute on dst pgrep -x rsync
  [[ $(problems_of stopped) == *files* ]]
}
