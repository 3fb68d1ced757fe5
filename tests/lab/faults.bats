#!/usr/bin/env bats
# Migrations that something keeps from succeeding: what is said, how the job ends, and how both
# hosts are left.

bats_require_minimum_version 1.5.0
load migrations

setup_file() {
  migrations_up
  # Panels that misbehave, by what they do wrong.
  on src "$BATS_TEST_DIRNAME/broken-panel" 1601 cut
  on src "$BATS_TEST_DIRNAME/broken-panel" 1602 text
  on src "$BATS_TEST_DIRNAME/broken-panel" 1603 page
  on src "$BATS_TEST_DIRNAME/broken-panel" 1604 status
}

teardown_file() {
  lab_down
}

# USER [GENERATION]: an account with a small home, whose keys are remembered in $keys.
small_account() {
  make_account "$1" "${2:-4}" --files 3 --mailboxes 0
  keys=$(keys_of "$1")
}

# USER: the source is as it was and the local user in service.
assert_put_back() {
  [[ $(keys_of "$1") == "$keys" ]]
  [[ $(source_shell "$1") == /usr/sbin/nologin ]]
  refute is_suspended dst "$1"
  assert_nothing_left "$1"
}

# USER: nothing was copied.
assert_nothing_copied() {
  [[ -z $(on dst find "/var/www/$1" -mindepth 1) ]]
}

# USER TEXT: the job ended before there was one: a line on standard error that has TEXT, status 1;
# the parameters file is there, the source as it was, and the user still suspended.
assert_no_job() {
  [[ $status -eq 1 && -z $output ]]
  [[ $stderr == "vorlaunch: tarvin: "*"$2"* ]]
  [[ $(wc -l <<<"$stderr") -eq 1 ]]
  on dst test -e "$PARAMS"
  is_suspended dst "$1"
  [[ $(keys_of "$1") == "$keys" && $(source_shell "$1") == /usr/sbin/nologin ]]
  [[ -z $(problems_of "$1") ]]
  on dst rm "$PARAMS"
}

# --- Parameters ----------------------------------------------------------------------------------

@test "a parameters file that is missing is named" {
  run --separate-stderr migrate /root/nothing
  [[ $status -eq 1 && $stderr == "vorlaunch: tarvin: "*"/root/nothing: No such file or directory"* ]]
}

@test "a directory in place of the parameters file is named" {
  run --separate-stderr migrate /root
  [[ $status -eq 1 && $stderr == "vorlaunch: tarvin: "*"/root: Is a directory"* ]]
}

@test "a parameters file that may not be read is named" {
  on dst install -m 0600 /dev/null /root/unreadable
  on dst install -d -m 0777 /var/log/open
  on dst tee /etc/vortrel/open.toml >/dev/null <<<$'[log]\ndir = "/var/log/open"'
  # The repository may be where nobody has no access.
  on dst install -d /opt/vortrel/lib /opt/vortrel/bin
  on dst cp "$BIN/vorlaunch" /opt/vortrel/bin
  on dst cp "$BIN/../lib/tarvin.so" "$BIN/../lib/libtrel.so" /opt/vortrel/lib
  run --separate-stderr on dst runuser -u nobody -- env TREL_CONF=/etc/vortrel/open.toml \
    /opt/vortrel/bin/vorlaunch tarvin /root/unreadable
  [[ $status -eq 1 && $stderr == "vorlaunch: tarvin: "*"/root/unreadable: Permission denied"* ]]
}

@test "an unknown kind of source ends the job with a line in the log" {
  small_account kind
  forget_log
  run_migration kind 4 remote_type=vortrel3
  [[ $status -eq 1 && -z $stderr ]]
  job_log | grep -F "3 tarvin unknown param value 'remote_type'='vortrel3'"
  on dst rm "$PARAMS"
  is_suspended dst kind
}

# --- Source panel --------------------------------------------------------------------------------

@test "a source panel that refuses the connection is named" {
  small_account refused
  run_migration refused 4 url=https://src.example:1666/
  assert_no_job refused "src.example:1666: connection refused"
}

@test "a source panel that does not know the key says so" {
  small_account badkey
  run_migration badkey 4 root_auth=0000000000000000
  assert_no_job badkey "session"
}

@test "an answer that is cut off is told from a whole one" {
  small_account cut
  run_migration cut 4 url=http://src.example:1601/
  assert_no_job cut "src.example:1601: "
}

@test "an answer that is no XML is named" {
  small_account text
  run_migration text 4 url=http://src.example:1602/
  assert_no_job text "src.example:1602: the answer is not an XML document"
}

@test "an answer of another server is named" {
  small_account page
  run_migration page 4 url=http://src.example:1603/
  assert_no_job page "src.example:1603: the answer is XML without the root 'doc'"
}

@test "an answer with another status is named" {
  small_account oops
  run_migration oops 4 url=http://src.example:1604/
  assert_no_job oops "src.example:1604: answered with status 500"
}

@test "a certificate that does not verify is refused" {
  small_account uncertain
  on dst tee /etc/vortrel/strict.toml >/dev/null <<<""
  write_params uncertain 4 "$PARAMS"
  run --separate-stderr on dst env TREL_CONF=/etc/vortrel/strict.toml \
    "$BIN/vorlaunch" tarvin "$PARAMS"
  assert_no_job uncertain "src.example:1504: the certificate could not be verified"
}

@test "a user whom the source panel does not know is named" {
  make_local_account stranger
  run_migration stranger 4
  [[ $status -eq 1 && $stderr == "vorlaunch: tarvin: remote: query: "*"stranger"* ]]
  on dst rm "$PARAMS"
}

# --- SSH -----------------------------------------------------------------------------------------

# USER TEXT: the file steps ended before the copy: status 1, one critical problem that has TEXT, and
# everything put back.
assert_critical() {
  [[ $status -eq 1 && -z $stderr ]]
  [[ $(problems_of "$1" | wc -l) -eq 1 ]]
  [[ $(problems_of "$1") == *tarvin_critical*"$2"* ]]
  assert_put_back "$1"
}

@test "a wrong SSH password is a critical problem" {
  small_account wrongpass
  run_migration wrongpass 4 password="$(base64 <<<wrong)"
  assert_critical wrongpass "root@src.example:2222"
  assert_nothing_copied wrongpass
}

@test "a wrong SSH key is a critical problem" {
  small_account wrongkey
  on dst ssh-keygen -q -t ed25519 -N '' -f /root/stray
  run_migration wrongkey 4 auth_type=bykey masterkey=/root/stray
  assert_critical wrongkey "root@src.example:2222"
}

@test "an SSH key that is not there is named" {
  small_account missingkey
  run_migration missingkey 4 auth_type=bykey masterkey=/root/no-key
  assert_critical missingkey "/root/no-key"
}

@test "an SSH key that is none is named and not shown" {
  small_account nokey
  on dst install -m 0600 /dev/stdin /root/garbled <<<'-----BEGIN garbled-----'
  run_migration nokey 4 auth_type=bykey masterkey=/root/garbled
  assert_critical nokey "/root/garbled"
  [[ $(problems_of nokey) != *BEGIN* ]]
}

@test "a host key that changed is refused, with the line to look at" {
  small_account changed
  on dst install -d /var/lib/vortrel
  on dst bash -c 'cp /var/lib/vortrel/known_hosts /root/known_hosts 2>/dev/null || true
    printf "# kept\n[src.example]:2222 %s\n" "$(cut -d " " -f 1,2 /root/stray.pub)" \
      >/var/lib/vortrel/known_hosts'
  run_migration changed 4
  on dst bash -c 'rm /var/lib/vortrel/known_hosts; mv /root/known_hosts /var/lib/ 2>/dev/null || true'
  assert_critical changed "/var/lib/vortrel/known_hosts"
  [[ $(problems_of changed) == *"line 2"* || $(problems_of changed) == *known_hosts:2* ]]
}

@test "an SSH port that nobody listens on is a critical problem" {
  small_account noport
  run_migration noport 4 ssh_port=2999
  assert_critical noport "src.example"
}

# --- Copy ----------------------------------------------------------------------------------------

# The source's rsync waits for ever, until let_rsync_go.
hold_rsync() {
  on src install -m 0755 /dev/stdin /usr/local/bin/rsync <<<$'#!/bin/sh\nexec sleep 1000'
}

let_rsync_go() {
  on src rm /usr/local/bin/rsync
}

# Starts the migration in the background and waits until the copy runs.
start_migration() { # USER [KEY=VALUE...]
  write_params "$1" 4 "$PARAMS" "${@:2}"
  migrate "$PARAMS" 2>"$BATS_TEST_TMPDIR/stderr" &
  job=$!
  await on src pgrep -fx "sleep 1000" >/dev/null
}

finish_migration() {
  status=0
  wait "$job" || status=$?
  stderr=$(<"$BATS_TEST_TMPDIR/stderr")
}

@test "a copy whose connection is cut is a problem, and the source is put back" {
  small_account cutcopy
  hold_rsync
  start_migration cutcopy
  # The session of the copy is the user's; the job's own is root's.
  on src pkill -KILL -u cutcopy
  let_rsync_go
  finish_migration
  [[ $status -eq 0 ]]
  [[ -z $(problems_of cutcopy) || $(problems_of cutcopy) == *files* ]]
  assert_put_back cutcopy
}

@test "a source whose connections are all cut is a critical problem" {
  small_account cutall
  hold_rsync
  start_migration cutall
  on src pkill -KILL -f '^sshd: (root|cutall)'
  let_rsync_go
  finish_migration
  [[ $status -eq 1 ]]
  [[ $(problems_of cutall) == *tarvin_critical* ]]
  [[ $(source_shell cutall) == /usr/sbin/nologin ]]
  refute is_suspended dst cutall
  # What could not be put back is the key that the copy added, whose private half is gone.
  on src grep -q '@dst$' /home/cutall/.ssh/authorized_keys
  [[ -z $(on dst find /var/www/cutall -name 'tarvin_key*') ]]
}

@test "a destination that fills up is a problem that says so" {
  make_account full 4 --files 200 --mailboxes 0
  keys=$(keys_of full)
  on dst mount -t tmpfs -o size=1m,mode=711,uid="$(on dst id -u full)",gid="$(on dst id -g full)" \
    tmpfs /var/www/full
  run_migration full 4
  [[ $status -eq 0 ]]
  [[ $(problems_of full | wc -l) -eq 1 ]]
  [[ $(problems_of full) == *files*"No space left on device"* ]]
  assert_put_back full
  on dst umount /var/www/full
}

@test "a destination without room for the key is a critical problem" {
  small_account noroom
  on dst mount -t tmpfs -o size=4k,nr_inodes=1,mode=711,uid="$(on dst id -u noroom)" \
    tmpfs /var/www/noroom
  run_migration noroom 4
  assert_critical noroom create_sshkey
  on dst umount /var/www/noroom
}

@test "a destination without rsync is a problem that names it" {
  small_account norsync
  on dst mv /usr/bin/rsync /usr/bin/rsync.away
  run_migration norsync 4
  on dst mv /usr/bin/rsync.away /usr/bin/rsync
  [[ $status -eq 0 && $(problems_of norsync) == *files*"cannot run 'rsync'"* ]]
  assert_put_back norsync
}

@test "a source without rsync is a problem that names it" {
  small_account norsync2
  on src mv /usr/bin/rsync /usr/bin/rsync.away
  run_migration norsync2 4
  on src mv /usr/bin/rsync.away /usr/bin/rsync
  [[ $status -eq 0 && $(problems_of norsync2) == *files*"rsync"*"not found"* ]]
  assert_put_back norsync2
}

@test "a destination without ssh-keygen is a critical problem that names it" {
  small_account nokeygen
  on dst mv /usr/bin/ssh-keygen /usr/bin/ssh-keygen.away
  run_migration nokeygen 4
  on dst mv /usr/bin/ssh-keygen.away /usr/bin/ssh-keygen
  assert_critical nokeygen "ssh-keygen: not found"
}

@test "files that the user may not read are a problem, and the rest arrives" {
  small_account partly
  on src install -m 0600 /dev/stdin /home/partly/roots <<<"root's own"
  run_migration partly 4
  [[ $status -eq 0 && $(problems_of partly) == *files*roots*"Permission denied"* ]]
  assert_homes_alike partly roots
  assert_put_back partly
}

@test "a home that is missing on the destination is a problem" {
  small_account homeless
  on dst rmdir /var/www/homeless
  run_migration homeless 4
  [[ $status -eq 0 && $(problems_of homeless) == *files*"chdir: No such file or directory"* ]]
}

# --- Local panel ---------------------------------------------------------------------------------

@test "without the local panel the job says so in its log and leaves the copy" {
  small_account panelless
  forget_log
  on dst mv /run/vortrel/panel.sock /run/vortrel/away.sock
  run_migration panelless 4
  on dst mv /run/vortrel/away.sock /run/vortrel/panel.sock
  [[ $status -eq 1 && -z $stderr ]]
  [[ $(job_log | grep -c "4 tarvin failed to register problem 'panelless ") -eq 3 ]]
  assert_homes_alike panelless www/site.example/members
  on dst test ! -e "$PARAMS"
}
