#!/usr/bin/env bats
# The lab: two real hosts on one machine. Needs root.

bats_require_minimum_version 1.5.0
load helpers

setup_file() {
  lab_possible || return 0
  lab_up
  export SHARED_LAB=$LAB_NAME
  on dst install -D -m 0600 /dev/stdin /root/.ssh/id_ed25519 <"$("$LAB" key)"
}

teardown_file() {
  lab_down
}

# A test that gave LAB_NAME a name of its own leaves its lab to this, also when the test fails.
teardown() {
  rm -f "${repository_file-}"
  [[ -z ${helper-} ]] || kill -KILL "$helper" 2>/dev/null || true
  [[ -z ${link_cut-} ]] || "$LAB" link up
  [[ ${LAB_NAME-} == "${SHARED_LAB-}" ]] || lab_down
}

SSH_OPTIONS=(-F none -p 2222 -o StrictHostKeyChecking=no -o UserKnownHostsFile=/dev/null
  -o LogLevel=ERROR -o ConnectTimeout=1)

# ADDRESS COMMAND...: logs in from dst to src's root by key.
by_key() {
  on dst ssh "${SSH_OPTIONS[@]}" -o BatchMode=yes "root@$1" "${@:2}" </dev/null
}

# FROM TO ADDRESS COMMAND...: logs in to root of TO by the password on standard input.
by_password() {
  on "$1" install -D -m 0700 /dev/stdin /root/askpass <<<$'#!/bin/sh\ncat /root/password'
  "$LAB" password "$2" | on "$1" install -m 0600 /dev/stdin /root/password
  on "$1" env SSH_ASKPASS=/root/askpass SSH_ASKPASS_REQUIRE=force ssh "${SSH_OPTIONS[@]}" \
    -o PreferredAuthentications=password -o NumberOfPasswordPrompts=1 "root@$3" "${@:4}" </dev/null
}

state_of() {
  printf '/run/vortrel-lab/%s' "$1"
}

# NAME: prints the process ids of the hosts' inits.
inits_of() {
  "$LAB" status --name "$1" | awk '$2 == "pid" { print $3 }'
}

# NAME: prints the id of the process that keeps src.
keeper_of() {
  ps -o ppid= -p "$(inits_of "$1" | head -1)" | tr -d ' '
}

not_up() {
  run "$LAB" status
  [[ $status -eq 3 ]]
}

# NAME: prints every trace of the lab in the machine: processes that have its directory in their
# command line or environment, mounts that were made from it, loop devices, files.
traces_of() {
  local state
  state=$(state_of "$1")
  # The pattern comes on standard input so that grep does not find itself.
  # shellcheck disable=SC2062  # The pattern is no argument.
  grep -lF --file=- /proc/[0-9]*/{cmdline,environ,mountinfo} 2>/dev/null <<<"$state" || true
  losetup --list --noheadings --output BACK-FILE | grep -F "$state" || true
  find /run/vortrel-lab -path "$state*" 2>/dev/null || true
}

# PID...: prints the namespaces that a host has of its own, each with the first process in it.
namespaces_of() {
  local pid
  for pid in "$@"; do
    lsns --noheadings --raw --output TYPE,NS,PID --task "$pid"
  done | grep -E '^(mnt|uts|ipc|net|pid) '
}

links() {
  ip -o link | awk '{ print $2 }'
}

assert_gone() {
  local traces
  traces=$(traces_of "$1")
  [[ -z $traces ]] || {
    echo "left of $1: $traces"
    return 1
  }
}

# COMMAND...: the command is refused with the exit status 2, its reason and the usage.
assert_misuse() {
  run --separate-stderr "$LAB" "${@:2}"
  echo "$* -> $status: $stderr"
  [[ $status -eq 2 && -z $output && $stderr == "lab: $1"* && $stderr == *"lab up [--name NAME]"* ]]
}

@test "status of a lab that is up names the hosts, their processes and addresses" {
  run -0 "$LAB" status
  [[ ${lines[0]} == "lab $LAB_NAME: up" ]]
  [[ ${lines[1]} =~ ^src\ \ pid\ [0-9]+\ \ 10\.99\.0\.1\ \ fd00:99::1$ ]]
  [[ ${lines[2]} =~ ^dst\ \ pid\ [0-9]+\ \ 10\.99\.0\.2\ \ fd00:99::2$ ]]
}

@test "the name default is used when none is given" {
  run env --unset=LAB_NAME "$LAB" status
  [[ ${lines[0]} == "lab default: "* ]]
}

@test "each host has its own host name and both know both names" {
  local host
  for host in src dst; do
    [[ $(on "$host" hostname) == "$host" ]]
    [[ $(on "$host" hostname --fqdn) == "$host.example" ]]
    [[ $(on "$host" getent ahostsv4 src | head -1) == "10.99.0.1 "* ]]
    [[ $(on "$host" getent ahostsv4 dst.example | head -1) == "10.99.0.2 "* ]]
    [[ $(on "$host" getent ahostsv6 src.example | head -1) == "fd00:99::1 "* ]]
    [[ $(on "$host" getent ahostsv6 dst | head -1) == "fd00:99::2 "* ]]
  done
}

@test "a host sees its own processes only" {
  [[ $(on src cat /proc/1/comm) == sleep ]]
  run -0 on src bash -c 'cat /proc/[0-9]*/comm | sort -u'
  [[ $output != *bats* ]]
  [[ $(on src bash -c 'echo /proc/[0-9]*' | wc -w) -lt 8 ]]
}

@test "root of src logs in by key over both address families" {
  local address
  for address in src src.example 10.99.0.1 fd00:99::1; do
    [[ $(by_key "$address" hostname) == src ]]
  done
}

@test "the key opens src only" {
  run on dst ssh "${SSH_OPTIONS[@]}" -o BatchMode=yes root@dst true
  [[ $status -eq 255 && $output == *"Permission denied"* ]]
}

@test "root logs in to each host by its password over both address families" {
  [[ $(by_password dst src 10.99.0.1 hostname) == src ]]
  [[ $(by_password dst src fd00:99::1 hostname) == src ]]
  [[ $(by_password src dst 10.99.0.2 hostname) == dst ]]
  [[ $(by_password src dst fd00:99::2 hostname) == dst ]]
}

@test "the password of one host does not open the other" {
  [[ $("$LAB" password src) != "$("$LAB" password dst)" ]]
  run by_password dst src dst true
  [[ $status -eq 255 && $output == *"Permission denied"* ]]
}

@test "only ed25519 and ecdsa host keys are offered" {
  run -0 on dst bash -c 'ssh-keyscan -p 2222 src 2>/dev/null | cut -d " " -f 2 | sort'
  [[ $output == $'ecdsa-sha2-nistp256\nssh-ed25519' ]]
}

@test "passwords and the key are for root's eyes only" {
  local state
  state=$(state_of "$LAB_NAME")
  [[ $(stat -c %a /run/vortrel-lab "$state" | sort -u) == 700 ]]
  [[ -z $(find "$state" -type f -perm /077) ]]
  [[ $("$LAB" key) == "$state/key" ]]
  [[ $("$LAB" password src) =~ ^[0-9a-f]{32}$ ]]
}

@test "no password is ever in an argument list" {
  local trace=$BATS_TEST_TMPDIR/trace
  lab_name
  strace -f -qq -s 1000 -e trace=execve -o "$trace" "$LAB" up --owner $$ >/dev/null 3>&- &
  await test -e "$(state_of "$LAB_NAME")/ready"
  grep -q '"chpasswd"' "$trace"
  run -1 grep -e "$("$LAB" password src)" -e "$("$LAB" password dst)" "$trace"
  lab_down
  wait $! || true
}

@test "enter passes standard input and output through" {
  [[ $(printf 'a\nb' | on src od -An -c) == "$(printf 'a\nb' | od -An -c)" ]]
  run -0 --separate-stderr on src sh -c 'echo out; echo err >&2'
  [[ $output == out && $stderr == err ]]
}

@test "enter passes the exit status through" {
  run -0 on src true
  run -7 on src sh -c 'exit 7'
  run -143 on src sh -c 'kill -TERM $$'
  run -127 on dst no-such-command
}

@test "enter passes arguments through as they are" {
  # shellcheck disable=SC2016  # Nothing may expand.
  run -0 on src printf '<%s>' 'a b' '' '*' --name '$HOME'
  [[ $output == "<a b><><*><--name><\$HOME>" ]]
}

@test "enter starts in root's home with a clean environment" {
  export STRANGER=1
  umask 077
  run -0 on dst bash -c 'pwd; umask; env'
  [[ ${lines[0]} == /root && ${lines[1]} == 0022 ]]
  [[ $output == *HOME=/root* && $output == *USER=root* && $output != *STRANGER* ]]
  [[ $output != *BATS* && $output != *LAB* ]]
}

@test "enter without a command is a login shell" {
  run -0 on src <<<'shopt login_shell; hostname'
  [[ ${lines[0]} == login_shell*on && ${lines[1]} == src ]]
}

@test "users of one host are unknown to the other and to the machine" {
  on src useradd --create-home --shell /bin/bash alice
  [[ $(on src su - alice -c 'id -un; pwd') == $'alice\n/home/alice' ]]
  on src getent passwd alice
  run -2 on dst getent passwd alice
  run -2 getent passwd alice
  [[ ! -e /home/alice ]]
}

@test "the user lists of a host are its own from the start" {
  local list
  for list in /etc/{passwd,group,shadow,gshadow}; do
    [[ $(on dst stat -c %i "$list") != "$(stat -c %i "$list")" ]]
  done
}

@test "files of one host are unknown to the other and to the machine" {
  local place
  for place in /etc /usr/bin /var/lib /tmp; do
    on src touch "$place/only-in-src"
    on src test -e "$place/only-in-src"
    run -1 on dst test -e "$place/only-in-src"
    [[ ! -e $place/only-in-src ]]
  done
}

# PATH: the directories above it, a line for each.
parents() {
  local path=$1
  while path=$(dirname "$path") && [[ $path != / ]]; do echo "$path"; done
}

@test "a fresh host has an empty home, root's home, log and temporary directory" {
  lab_up
  # Apart from the repository, which may be kept in one of them.
  local repository=${LAB%/lab/lab}
  [[ -z $(on dst find /home /root /tmp /var/tmp -mindepth 1 -path "$repository" -prune -o \
    -print | grep -vxF "$(parents "$repository")") ]]
  [[ $(on dst ls -A /var/log) == sshd.log ]]
  [[ $(on dst stat -c '%a' /tmp /root) == $'1777\n700' ]]
}

@test "a directory of the machine can be renamed in a host" {
  # mv would copy where the file system refuses to rename.
  on src perl -e 'rename("/usr/share/doc", "/usr/share/renamed") or die $!'
  on src test -d /usr/share/renamed
  on dst test -d /usr/share/doc
}

@test "the size limits what a host can write" {
  lab_up --size 16m
  run on src head -c 20M /dev/zero
  run -1 on src sh -c 'head -c 20M /dev/zero >/tmp/big'
  [[ $output == *"No space left on device"* ]]
}

@test "a change in the repository shows in both hosts at once and they cannot make one" {
  local host
  repository_file=$(mktemp -p "${LAB%/lab/lab}" .lab-test-XXXXXX)
  for host in src dst; do
    echo "for $host" >"$repository_file"
    [[ $(on "$host" cat "$repository_file") == "for $host" ]]
    run -1 on "$host" tee "$repository_file" <<<change
    [[ $output == *"Read-only file system"* ]]
  done
}

@test "a repository under /tmp is seen in the hosts under its own path" {
  local copy=$BATS_TEST_TMPDIR/lab
  cp -r "${LAB%/lab}" "$copy"
  lab_name
  "$copy/lab" up --owner $$ >/dev/null
  "$copy/lab" enter src cmp "$copy/lab" - <"$LAB"
}

@test "rsync over ssh carries files between the hosts" {
  on src install -D -o 1234 -g 1234 /dev/stdin /srv/site/page <<<content
  on dst rsync -a -e "ssh ${SSH_OPTIONS[*]}" 'root@[fd00:99::1]:/srv/site/' /srv/site/
  [[ $(on dst stat -c '%u:%g %s' /srv/site/page) == "1234:1234 8" ]]
}

@test "ssh-keygen works in a host and a user can log in with the new key" {
  on src useradd --create-home --shell /bin/bash bob
  on src su - bob -c "mkdir -m 0700 .ssh && ssh-keygen -q -t ed25519 -N '' -f .ssh/id_ed25519 &&
    cp .ssh/id_ed25519.pub .ssh/authorized_keys"
  [[ $(on src su - bob -c "ssh ${SSH_OPTIONS[*]} -o BatchMode=yes src id -un" </dev/null) == bob ]]
}

@test "the init of a host reaps orphans" {
  local orphan
  orphan=$(on src bash -c 'setsid sleep 0 >/dev/null & echo $!')
  on src timeout 10 tail --pid="$orphan" -s 0.01 -f /dev/null
}

@test "no default route leads out of the lab" {
  [[ -z $(on src ip route show default) && -z $(on dst ip -6 route show default) ]]
}

@test "the link between the hosts goes down and up again" {
  link_cut=yes
  "$LAB" link down
  run -255 by_key 10.99.0.1 true
  run on src ssh "${SSH_OPTIONS[@]}" dst true
  [[ $status -eq 255 && $output == *"Network is unreachable"* ]]
  "$LAB" link up
  [[ $(by_key 10.99.0.1 hostname) == src ]]
  [[ $(by_key fd00:99::1 hostname) == src ]]
}

@test "a session that was open when the link went down goes on when it is up again" {
  coproc on dst ssh "${SSH_OPTIONS[@]}" -o BatchMode=yes root@10.99.0.1 cat 3>&-
  echo before >&"${COPROC[1]}"
  read -r -t 5 -u "${COPROC[0]}" line
  link_cut=yes
  "$LAB" link down
  echo after >&"${COPROC[1]}"
  run read -r -t 0.3 -u "${COPROC[0]}" line
  [[ $status -gt 128 ]]
  "$LAB" link up
  read -r -t 15 -u "${COPROC[0]}" line
  [[ $line == after ]]
}

@test "two labs are up side by side with the same addresses and nothing in common" {
  local first=$LAB_NAME second=$LAB_NAME-second
  "$LAB" up --name "$second" --owner $$ >/dev/null
  on --name "$second" src useradd --create-home carol
  on --name "$second" src touch /srv/second
  run -2 on --name "$first" src getent passwd carol
  run -1 on --name "$first" src test -e /srv/second
  [[ $("$LAB" password --name "$first" src) != "$("$LAB" password --name "$second" src)" ]]
  [[ $(on --name "$second" dst ip -br -4 address show eth0) == *10.99.0.2/24* ]]
  "$LAB" down --name "$second"
  [[ $(by_key src hostname) == src ]]
}

@test "nothing is left after down, and down may be repeated" {
  local inits spaces links_before
  links_before=$(links)
  lab_up
  mapfile -t inits < <(inits_of "$LAB_NAME")
  spaces=$(namespaces_of "${inits[@]}")
  [[ $(wc -l <<<"$spaces") -eq 10 ]]
  [[ $(traces_of "$LAB_NAME") == */environ*/mountinfo* ]]
  [[ $(links) == "$links_before" ]]
  lab_down
  assert_gone "$LAB_NAME"
  run -1 grep -xF "$spaces" <(lsns --noheadings --raw --output TYPE,NS,PID)
  [[ $(links) == "$links_before" ]]
  run -0 lab_down
  [[ -z $output ]]
  run -3 "$LAB" status
  [[ $output == "lab $LAB_NAME: down" ]]
}

@test "down ends what runs in the hosts and who entered them" {
  lab_up
  local status=0 visitor
  coproc on src sh -c 'echo started; exec sleep infinity' 3>&-
  visitor=$COPROC_PID
  read -r -t 5 -u "${COPROC[0]}" _
  lab_down
  wait "$visitor" || status=$?
  [[ $status -eq 137 ]]
  assert_gone "$LAB_NAME"
}

@test "down takes away what a killed up left at any moment" {
  local moment pid state
  lab_name
  state=$(state_of "$LAB_NAME")
  for moment in . src/boot.log dst/pid key src/password ready; do
    "$LAB" up --owner $$ &>/dev/null 3>&- &
    pid=$!
    await test -e "$state/$moment"
    kill -KILL "$pid" 2>/dev/null || true
    wait "$pid" || true
    run -1 "$LAB" up
    lab_down
    assert_gone "$LAB_NAME"
  done
}

@test "a lab whose up was killed is left over, not up" {
  lab_name
  "$LAB" up --owner $$ &>/dev/null 3>&- &
  await test -e "$(state_of "$LAB_NAME")/dst/pid"
  kill -KILL $! || true
  # It may have been faster.
  rm -f "$(state_of "$LAB_NAME")/ready"
  run -3 "$LAB" status
  [[ $output == "lab $LAB_NAME: down, left over; clean up with: lab down --name $LAB_NAME" ]]
}

@test "an up that is interrupted takes away what it made" {
  local attempt status=0
  lab_name
  # An up may be faster than the signal.
  for attempt in {1..20}; do
    "$LAB" up &>/dev/null 3>&- &
    await test -e "$(state_of "$LAB_NAME")/src"
    kill -TERM $! || true
    wait $! && "$LAB" down && continue
    status=$?
    break
  done
  [[ $status -ne 0 ]]
  assert_gone "$LAB_NAME"
}

@test "a failed up says why and leaves nothing" {
  lab_name
  run -1 "$LAB" up --size 4k
  [[ $output == *"No space left on device"*"lab: host src did not boot"* ]]
  assert_gone "$LAB_NAME"
}

@test "an up whose sshd does not start says why and leaves nothing" {
  local copy=$BATS_TEST_TMPDIR/lab
  cp -r "${LAB%/lab}" "$copy"
  sed -i 's/^Port .*/Port none/' "$copy/services/sshd"
  lab_name
  run -1 "$copy/lab" up
  [[ $output == *"sshd_config line 1: Badly formatted port number"* ]]
  [[ $output == *"lab: host "*" has no sshd"* ]]
  assert_gone "$LAB_NAME"
}

@test "a lab with a dead host is down and can be taken down" {
  local inits
  lab_up
  mapfile -t inits < <(inits_of "$LAB_NAME")
  kill -KILL "${inits[0]}"
  timeout 10 tail --pid="${inits[0]}" -s 0.01 -f /dev/null
  run -3 "$LAB" status
  [[ $output == "lab $LAB_NAME: down, left over; "* ]]
  run -1 on src true
  [[ $output == "lab: host src of lab '$LAB_NAME' is not up" ]]
  run -0 on dst true
  run -1 "$LAB" link down
  run -1 "$LAB" password dst
  lab_down
  assert_gone "$LAB_NAME"
}

@test "a host ends with its keeper" {
  lab_up
  kill -KILL "$(keeper_of "$LAB_NAME")"
  await not_up
  run -1 on src true
  lab_down
  assert_gone "$LAB_NAME"
}

@test "down says which processes do not end" {
  local keeper
  lab_up
  keeper=$(keeper_of "$LAB_NAME")
  kill -STOP "$keeper"
  LAB_PATIENCE=1 run -1 lab_down
  kill -CONT "$keeper"
  [[ $output == "lab: lab '$LAB_NAME': these processes do not end: $keeper" ]]
  lab_down
  assert_gone "$LAB_NAME"
}

@test "two downs at the same time both end well" {
  lab_up
  lab_down 3>&- &
  lab_down
  wait $!
  assert_gone "$LAB_NAME"
}

@test "a down that waited for another leaves the next lab of that name alone" {
  local state down
  lab_name
  state=$(state_of "$LAB_NAME")
  mkdir "$state"
  # Held by a process that lives: /proc/locks tells of no others inside a container.
  flock --no-fork "$state" sleep infinity 3>&- &
  helper=$!
  await grep -q "FLOCK .* $helper .*:$(stat -c %i "$state") " /proc/locks
  lab_down 3>&- &
  down=$!
  await grep -q -e "-> FLOCK .*:$(stat -c %i "$state") " /proc/locks
  rmdir "$state"
  "$LAB" up --owner $$ >/dev/null
  kill "$helper"
  wait "$down"
  "$LAB" status
}

@test "a lab goes down with its owner" {
  lab_name
  sleep infinity 3>&- &
  helper=$!
  "$LAB" up --owner "$helper" >/dev/null
  kill -KILL "$helper"
  await test ! -e "$(state_of "$LAB_NAME")"
  await assert_gone "$LAB_NAME" >/dev/null
}

@test "a lab goes down with its owner that nobody reaps" {
  local owner
  lab_name
  coproc perl -e '$| = 1; my $pid = fork; $pid or sleep; print "$pid\n"; sleep' 3>&-
  helper=$COPROC_PID
  read -r -u "${COPROC[0]}" owner
  "$LAB" up --owner "$owner" >/dev/null
  kill -KILL "$owner"
  await test ! -e "$(state_of "$LAB_NAME")"
  [[ $(ps -o stat= -p "$owner") == Z* ]]
}

@test "a lab cannot be owned by a process that does not exist" {
  lab_name
  run -1 "$LAB" up --owner 4194304
  [[ $output == "lab: there is no process 4194304 to own the lab" ]]
  assert_gone "$LAB_NAME"
}

@test "a second up of the same name is refused and harms nothing" {
  local before
  before=$("$LAB" status)
  run -1 "$LAB" up
  [[ $output == "lab: lab '$LAB_NAME' is up or left over; take it down first: lab down "* ]]
  [[ $("$LAB" status) == "$before" ]]
  [[ $(by_key src hostname) == src ]]
}

@test "up holds no descriptor of its caller" {
  lab_name
  "$LAB" up --owner $$ >/dev/null 9>"$BATS_TEST_TMPDIR/held"
  run -1 grep -l . <(find /proc/[0-9]*/fd -lname "$BATS_TEST_TMPDIR/held" 2>/dev/null)
}

@test "commands on a lab that is down say so" {
  lab_name
  run -3 "$LAB" status
  run -1 on dst true
  [[ $output == "lab: host dst of lab '$LAB_NAME' is not up" ]]
  run -1 "$LAB" link up
  [[ $output == "lab: host src of lab '$LAB_NAME' is not up" ]]
  run -1 "$LAB" password src
  [[ $output == "lab: lab '$LAB_NAME' is not up" ]]
  run -1 "$LAB" key
  [[ $output == "lab: lab '$LAB_NAME' is not up" ]]
  run -0 lab_down
}

@test "sshd that does not answer is reported with its log" {
  # In a network of its own, whose loopback is down, sshd listens but cannot be reached.
  run -1 on dst unshare --net env LAB_PATIENCE=1 "${LAB%/lab}/services/sshd"
  [[ $output == "sshd does not answer on port 2222"*"Server listening on"* ]]
}

@test "wrong arguments are refused with the usage" {
  assert_misuse "a command is missing"
  assert_misuse "unknown command 'dance'" dance
  assert_misuse "up: unrecognized option '--fast'" up --fast
  assert_misuse "up: option '--size' requires an argument" up --size
  assert_misuse "status: unrecognized option '--size'" status --size 1g
  assert_misuse "expected no words, got 'now'" up now
  assert_misuse "expected no words, got 'now'" down now
  assert_misuse "expected src|dst, got ''" password
  assert_misuse "expected down|up, got 'down up'" link down up
  assert_misuse "unknown word 'sideways', expected down|up" link sideways
  assert_misuse "unknown word 'third', expected src|dst" password third
  assert_misuse "expected src or dst" enter
  assert_misuse "unknown word 'third', expected src|dst" enter third true
  assert_misuse "bad name '../x'" status --name ../x
  assert_misuse "bad name ''" status --name ''
  assert_misuse "bad process id '0'" up --owner 0
  assert_misuse "bad process id 'me'" up --owner me
  assert_misuse "bad size '4q'" up --size 4q
  assert_misuse "bad size '0'" up --size=0
  LAB_PATIENCE=no assert_misuse "bad LAB_PATIENCE 'no'" status
}

@test "help is printed to anyone" {
  run -0 --separate-stderr "$LAB" --help
  [[ ${lines[0]} == "lab - two hosts"* && $output == *"lab down [--name NAME]"* && -z $stderr ]]
  [[ $output != *"set -euo"* ]]
}

@test "whoever is not root is refused" {
  local words
  for words in up status down key "enter src" "link up" "password src"; do
    # shellcheck disable=SC2086  # Each word is an argument of its own.
    # The capability lets nobody reach the command wherever the repository is kept.
    run -1 setpriv --reuid 65534 --regid 65534 --clear-groups \
      --inh-caps +dac_read_search --ambient-caps +dac_read_search "$LAB" $words
    [[ $output == "lab: must be run as root" ]]
  done
}
