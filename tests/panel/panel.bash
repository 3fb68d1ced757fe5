# What the tests of the whole program share: servers, queries and files of other people.

: "${REFPANEL:?the path of refpanel}"

# For setup_file: WORK, a directory for all tests of the file, and the accounts ALICE and BOB.
make_workplace() {
  [[ $EUID -eq 0 ]] || skip "makes accounts, which only root can do"
  WORK=$(mktemp -d /tmp/refpanel-test.XXXXXX)
  chmod 755 "$WORK"
  mkdir "$WORK/home"
  local tag
  tag=$(od -An -N4 -tx1 /dev/urandom | tr -d ' \n')
  export WORK ALICE="rpa-$tag" BOB="rpb-$tag"
  make_account "$ALICE"
  make_account "$BOB"
}

# For teardown_file.
remove_workplace() {
  local name
  while read -r name; do
    userdel --force --remove -- "$name" 2>/dev/null || true
  done <"$WORK/accounts"
  rm -rf "$WORK"
}

# For setup: DIR, a directory for one test, and STATE, a state in it that knows both users.
make_state() {
  [[ $EUID -eq 0 ]] || skip "makes accounts, which only root can do"
  DIR=$WORK/$BATS_TEST_NUMBER
  mkdir "$DIR"
  STATE=$DIR/state.db
  SERVER=
  "$REFPANEL" user add --state "$STATE" "$ALICE"
  "$REFPANEL" user add --state "$STATE" "$BOB"
}

# Makes an account of this host that is removed with the test file.
make_account() { # name
  useradd --create-home --home-dir "$WORK/home/$1" --shell /bin/bash -- "$1"
  echo "$1" >>"$WORK/accounts"
}

# Undoes what a test did to an account.
restore_account() { # name
  usermod --shell /bin/bash --expiredate '' -- "$1" 2>/dev/null
  if mountpoint -q "$WORK/home/$1/www"; then
    umount "$WORK/home/$1/www"
  fi
  rm -rf "$WORK/home/$1/www"
}

# Starts a server and waits until it says that it is ready. READY is its first line, URL the address
# in it, SERVER its process id.
start_server() { # argument...
  exec {SERVER_OUT}< <(exec "$REFPANEL" serve --state "$STATE" "$@" 2>"$DIR/server.err" 3>&-)
  SERVER=$!
  if ! read -r -t 10 READY <&"$SERVER_OUT"; then
    cat "$DIR/server.err" >&2
    return 1
  fi
  URL=${READY#refpanel: ready on }
}

start_local() { # generation [argument...]
  SOCKET=$DIR/run/panel.sock
  start_server --side local --generation "$1" --socket "$SOCKET" "${@:2}"
}

start_source() { # generation [argument...]
  start_server --side source --generation "$1" --listen 127.0.0.1:0 --plain "${@:2}"
}

# A server that is to end by itself.
fail_to_serve() { # argument...
  timeout 10 "$REFPANEL" serve --state "$STATE" "$@"
}

# Ends the server and gives its exit status. The end of its output is the end of the process.
stop_server() { # [signal]
  local pid=$SERVER
  SERVER=
  kill -s "${1:-TERM}" "$pid"
  cat <&"$SERVER_OUT" >/dev/null
  exec {SERVER_OUT}<&-
  wait "$pid"
}

# For teardown: ends a server that the test left running, and shows what it wrote if it ends badly.
end_server() {
  if [[ -n ${SERVER:-} ]]; then
    stop_server || cat "$DIR/server.err" >&2
  fi
}

# One query to the local panel, as raw body or as further arguments of curl.
local_query() { # body [curl-argument...]
  curl -sS --max-time 20 --unix-socket "$SOCKET" --data-raw "$1" "${@:2}" http://localhost/
}

source_query() { # body [curl-argument...]
  curl -sS --max-time 20 --data-raw "$1" "${@:2}" "$URL"
}

# The kind of an answer on standard input: the type of its error, or ok.
kind() {
  local answer
  answer=$(cat)
  if [[ $answer =~ '<error type="'([a-z]+)'"' ]]; then
    echo "${BASH_REMATCH[1]}"
  elif [[ $answer == '<?xml version="1.0" encoding="UTF-8"?><doc'* ]]; then
    echo ok
  else
    echo "no answer of a panel: $answer"
  fi
}

# Fails unless the text holds the part, and shows both.
assert_has() { # text part
  if [[ $1 != *"$2"* ]]; then
    printf 'expected: %s\nin: %s\n' "$2" "$1" >&2
    return 1
  fi
}

# Fails unless the text is one line that begins so and goes on.
assert_one_line() { # text beginning
  if [[ $1 != "$2"?* || $1 == *$'\n'* ]]; then
    printf 'expected one line from: %s\nin: %s\n' "$2" "$1" >&2
    return 1
  fi
}

login_shell() { getent passwd "$1" | cut -d: -f7; }
# The day on which the account expires; empty for never.
expires() { getent shadow "$1" | cut -d: -f8; }
as_user() { setpriv --reuid="$1" --regid="$1" --init-groups -- "${@:2}"; }
