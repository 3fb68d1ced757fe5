#!/usr/bin/env bats
# The whole program: real accounts, real sockets, curl as the client.
# shellcheck disable=SC2030,SC2031 # each test runs in a shell of its own

bats_require_minimum_version 1.5.0
load panel

setup_file() {
  make_workplace
}

teardown_file() {
  remove_workplace
}

setup() {
  make_state
}

teardown() {
  end_server
  restore_account "$ALICE"
  restore_account "$BOB"
}

# --- Command line

@test "a wrong command line is a usage error of one line" {
  local arguments
  for arguments in "" "bogus" "user" "user bogus" "serve" "serve --side local --generation 4" \
    "serve --state s --side middle --generation 4" "serve --state s --side local --generation 6" \
    "serve --state s --side source --generation 4" \
    "serve --state s --side source --generation 4 --listen 127.0.0.1:0" \
    "serve --state s --side source --generation 4 --listen 127.0.0.1:0 --cert c" \
    "serve --state s --side source --generation 4 --listen nowhere --plain" \
    "serve --state s --side source --generation 4 --listen 127.0.0.1:0 --socket s --plain" \
    "serve --state s --side local --generation 4 --listen 127.0.0.1:0" \
    "serve --state s --side local --generation 4 --plain" \
    "serve --state s --side local --generation 4 --cert c" \
    "serve --state s --side local --generation 4 --key k" \
    "user add --state s" "user add --state s x --shell maybe" "session" "problems" "calls x"; do
    # shellcheck disable=SC2086 # words on purpose
    run -2 --separate-stderr timeout 10 "$REFPANEL" $arguments
    [[ -z $output ]]
    assert_one_line "$stderr" "refpanel: "
  done
}

@test "what a command cannot do is status 1 and one line that names it" {
  run -1 --separate-stderr "$REFPANEL" problems --state "$DIR/none.db"
  [[ $stderr == "refpanel: state file $DIR/none.db: No such file or directory" ]]
  [[ ! -e $DIR/none.db ]]
  run -1 --separate-stderr "$REFPANEL" session --state "$STATE" nobody-here
  [[ $stderr == "refpanel: no user 'nobody-here'" ]]
  run -1 --separate-stderr "$REFPANEL" user add --state "$STATE" "$ALICE"
  [[ $stderr == "refpanel: user '$ALICE' exists already" ]]
  run -1 --separate-stderr "$REFPANEL" user add --state "$STATE" nobody-here
  [[ $stderr == "refpanel: no account 'nobody-here'" ]]
  run -1 --separate-stderr "$REFPANEL" user add --state "$STATE" root
  [[ $stderr == "refpanel: account 'root' belongs to the system" ]]
}

@test "names that could be taken for something else never become users" {
  local name
  for name in -x --help . ../etc a/b "a b" "a'b" 'a"b' $'a\nb' 'a;id' \
    "$(printf 'a%.0s' {1..33})"; do
    run -1 --separate-stderr "$REFPANEL" user add --state "$STATE" -- "$name"
    assert_one_line "$stderr" "refpanel: bad value "
  done
  [[ $("$REFPANEL" user list --state "$STATE" | wc -l) -eq 2 ]]
}

@test "help goes to standard output" {
  run -0 --separate-stderr "$REFPANEL" --help
  [[ $output == *serve*session*problems* && -z $stderr ]]
  [[ $output != *repair-web-tree* ]]
}

@test "users are listed with what the system says of their shells" {
  usermod --shell /usr/sbin/nologin -- "$BOB"
  run -0 "$REFPANEL" user list --state "$STATE"
  [[ ${lines[0]} == "$ALICE active shell=on" && ${lines[1]} == "$BOB active shell=off" ]]
}

@test "user add sets the login shell where asked" {
  "$REFPANEL" user add --state "$DIR/off.db" "$BOB" --shell off
  [[ $(login_shell "$BOB") == /usr/sbin/nologin ]]
  "$REFPANEL" user add --state "$DIR/as-it-is.db" "$BOB"
  [[ $(login_shell "$BOB") == /usr/sbin/nologin ]]
  "$REFPANEL" user add --state "$DIR/on.db" "$BOB" --shell on
  [[ $(login_shell "$BOB") == /bin/bash ]]
}

# --- Socket

@test "the socket lets its owner in and nobody else" {
  start_local 5
  [[ $READY == "refpanel: ready on unix:$SOCKET" ]]
  [[ $(stat -c '%a %U %F' "$SOCKET") == "600 root socket" ]]
  [[ $(local_query func=problems | kind) == ok ]]
  chmod 755 "$DIR/run"
  run -7 as_user "$ALICE" curl -sS --unix-socket "$SOCKET" http://localhost/
}

@test "the socket can be given to one account" {
  start_local 5 --account "$ALICE"
  [[ $(stat -c '%a %U' "$SOCKET") == "600 $ALICE" ]]
  chmod 755 "$DIR/run"
  [[ $(as_user "$ALICE" curl -sS --unix-socket "$SOCKET" -d func=problems http://localhost/ |
    kind) == ok ]]
  run -7 as_user "$BOB" curl -sS --unix-socket "$SOCKET" http://localhost/
  run -1 --separate-stderr fail_to_serve --side local --generation 5 \
    --socket "$DIR/other.sock" --account nobody-here
  [[ $stderr == "refpanel: no account 'nobody-here'" && ! -e $DIR/other.sock ]]
}

@test "TERM and INT end the server at once and remove the socket" {
  local signal
  for signal in TERM INT; do
    start_local 5
    # A kept connection that has had its answer and waits for a next query.
    coproc CLIENT { exec socat - "UNIX-CONNECT:$SOCKET" 3>&-; }
    printf 'POST / HTTP/1.1\r\nHost: l\r\nContent-Length: 0\r\n\r\n' >&"${CLIENT[1]}"
    local line
    read -r -t 10 line <&"${CLIENT[0]}"
    [[ $line == "HTTP/1.1 415 "* ]]
    SECONDS=0
    stop_server "$signal"
    ((SECONDS < 5))
    [[ ! -e $SOCKET ]]
    kill "$CLIENT_PID" 2>/dev/null || true
  done
}

@test "a socket that nobody serves is replaced, one that is served is not" {
  # The longest path that there can be.
  mkdir "$DIR/run"
  SOCKET=$DIR/run/$(printf "%0$((107 - ${#DIR} - 5))d" 0)
  [[ ${#SOCKET} -eq 107 ]]
  start_local 5
  run -1 --separate-stderr fail_to_serve --side local --generation 5 --socket "$SOCKET"
  [[ $stderr == "refpanel: socket $SOCKET: served by another process" ]]
  [[ $(local_query func=problems | kind) == ok ]]
  run stop_server KILL
  [[ -S $SOCKET ]]
  SERVER=
  start_local 5
  [[ $(local_query func=problems | kind) == ok ]]
}

@test "a socket that cannot be made is an error" {
  local path
  for path in /proc/refpanel.sock /etc/passwd/panel.sock; do
    run -1 --separate-stderr fail_to_serve --side local --generation 5 --socket "$path"
    assert_one_line "$stderr" "refpanel: "
  done
  run -1 --separate-stderr setpriv --bounding-set -chown -- timeout 10 "$REFPANEL" serve \
    --side local --generation 5 --state "$STATE" --socket "$DIR/panel.sock" --account "$ALICE"
  [[ $stderr == *"$DIR/panel.sock for account $ALICE: Operation not permitted" ]]
  [[ ! -e $DIR/panel.sock ]]
}

@test "something else than a socket at its path stays" {
  echo precious >"$DIR/file"
  run -1 --separate-stderr fail_to_serve --side local --generation 5 --socket "$DIR/file"
  [[ $stderr == "refpanel: socket $DIR/file: there is something else than a socket" ]]
  [[ $(<"$DIR/file") == precious ]]
  run -1 --separate-stderr fail_to_serve --side local --generation 5 \
    --socket "$DIR/$(printf 'x%.0s' {1..108})"
  [[ $stderr == *"the path must have 1 to 107 bytes" ]]
  socat -u "UNIX-RECV:$DIR/datagrams" - 3>&- &
  local other=$!
  until [[ -S $DIR/datagrams ]]; do kill -0 "$other"; done
  run -1 --separate-stderr fail_to_serve --side local --generation 5 --socket "$DIR/datagrams"
  kill "$other"
  [[ $stderr == "refpanel: socket $DIR/datagrams: Protocol wrong type for socket" ]]
}

# --- Addresses

make_certificate() {
  openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 \
    -subj /CN=src.test -addext subjectAltName=DNS:src.test \
    -keyout "$DIR/key.pem" -out "$DIR/cert.pem" 2>/dev/null
}

@test "HTTPS is served with the certificate on every address" {
  make_certificate
  start_server --side source --generation 5 --listen 127.0.0.1:0 --listen '[::1]:0' \
    --cert "$DIR/cert.pem" --key "$DIR/key.pem"
  local second
  read -r -t 10 second <&"$SERVER_OUT"
  [[ $READY =~ ^"refpanel: ready on https://127.0.0.1:"([0-9]+)/$ ]]
  local port=${BASH_REMATCH[1]}
  [[ $second =~ ^"refpanel: ready on https://[::1]:"([0-9]+)/$ ]]
  local port6=${BASH_REMATCH[1]} key
  key=$("$REFPANEL" session --state "$STATE")
  [[ $(curl -sS --cacert "$DIR/cert.pem" --resolve "src.test:$port:127.0.0.1" \
    -d "func=problems&auth=$key" "https://src.test:$port/any/path" | kind) == ok ]]
  [[ $(curl -sS --cacert "$DIR/cert.pem" --resolve "src.test:$port6:[::1]" \
    -d "func=problems&auth=$key" "https://src.test:$port6/" | kind) == ok ]]
  run -60 curl -sS -d func=problems "https://127.0.0.1:$port/"
}

@test "files that are no certificate and key are refused" {
  make_certificate
  echo nonsense >"$DIR/bad.pem"
  run -1 --separate-stderr fail_to_serve --side source --generation 5 \
    --listen 127.0.0.1:0 --cert "$DIR/cert.pem" --key "$DIR/bad.pem"
  [[ $stderr == "refpanel: certificate $DIR/cert.pem with key $DIR/bad.pem cannot be used" ]]
}

@test "an address that is taken is refused" {
  start_source 4
  local address=${URL#http://}
  run -1 --separate-stderr fail_to_serve --side source --generation 4 \
    --listen "${address%/}" --plain
  [[ $stderr == "refpanel: cannot listen on ${address%/}: Address already in use" ]]
}

@test "a server whose address is taken away ends with an error" {
  start_source 4
  local port=${URL##*:}
  ss --kill --no-header --listening --tcp "sport = :${port%/}" >/dev/null 2>&1
  if curl -sS -d x=1 "$URL" >/dev/null 2>&1; then
    skip "this kernel cannot take a socket away"
  fi
  cat <&"$SERVER_OUT" >/dev/null
  local status=0
  wait "$SERVER" || status=$?
  SERVER=
  [[ $status -eq 1 ]]
  [[ $(<"$DIR/server.err") == "refpanel: connections could not be taken any more" ]]
}

# --- HTTP

@test "only forms that are posted are answered" {
  start_local 5
  local answer
  answer=$(curl -sS -i --unix-socket "$SOCKET" http://localhost/?func=problems)
  assert_has "$answer" "HTTP/1.1 405 "
  assert_has "$answer" "Allow: POST"
  assert_has "$answer" "<msg>only POST is answered</msg>"
  answer=$(local_query func=problems -i -X PUT)
  assert_has "$answer" "HTTP/1.1 405 "
  answer=$(local_query func=problems -i -H 'Content-Type: text/plain')
  assert_has "$answer" "HTTP/1.1 415 "
  answer=$(curl -sS -i --unix-socket "$SOCKET" -F func=problems http://localhost/)
  assert_has "$answer" "HTTP/1.1 415 "
  answer=$(local_query func=problems -i -H 'Accept-Language: ru')
  assert_has "$answer" "HTTP/1.1 200 "
  assert_has "$answer" "Content-Type: text/xml; charset=utf-8"
}

# An exchange of raw bytes, as printf takes them; then the client's side is closed, or kept open
# with shut-none.
raw_query() { # bytes [socat-option]
  # shellcheck disable=SC2059 # the format is the message
  printf "$1" | socat -t 10 - "UNIX-CONNECT:$SOCKET,${2:-shut-down}"
}

@test "queries that are no HTTP, too long or cut off are refused" {
  start_local 5
  local head='POST / HTTP/1.1\r\nHost: l\r\nConnection: close\r\n'
  local form='Content-Type: application/x-www-form-urlencoded\r\n'
  assert_has "$(local_query x -i -X 'NO METHOD')" "HTTP/1.1 400 "
  [[ -z $(raw_query "$head${form}Content-Length: 100\r\n\r\nfunc=user.disable&elid=$ALICE") ]]
  [[ -z $("$REFPANEL" calls --state "$STATE") ]]
  assert_has "$(raw_query "$head$form\r\n" shut-none)" "field func is missing or empty"
  local long
  long=$(head -c 9000 /dev/zero | tr '\0' a)
  local answer
  answer=$(local_query func=problems -i --request-target "/$long")
  assert_has "$answer" "HTTP/1.1 414 "
  assert_has "$answer" "<msg>HTTP status 414</msg>"
  [[ $(local_query func=problems | kind) == ok ]]
}

@test "a body beyond the limit is refused and the connection lives on" {
  start_local 5
  local limit=$((64 << 20)) chunked answers
  truncate --size $((limit + 1)) "$DIR/huge"
  for chunked in '' 'Transfer-Encoding: chunked'; do
    answers=$(curl -sS --unix-socket "$SOCKET" -H "$chunked" \
      -H 'Content-Type: application/x-www-form-urlencoded' -X POST -w '%{http_code} ' \
      -T "$DIR/huge" http://localhost/ -o "$DIR/answer" \
      --next -sS --unix-socket "$SOCKET" -d func=problems -w '%{http_code} %{num_connects}' \
      http://localhost/ -o "$DIR/answer2")
    [[ $answers == "413 200 0" ]]
    assert_has "$(<"$DIR/answer")" "larger than $limit bytes"
    [[ $(kind <"$DIR/answer2") == ok ]]
  done
}

@test "a body of just the limit is taken" {
  start_local 5
  { printf 'func=no.such&x='; head -c $(((64 << 20) - 15)) /dev/zero | tr '\0' x; } >"$DIR/body"
  local chunked
  for chunked in '' 'Transfer-Encoding: chunked'; do
    assert_has "$(curl -sS --unix-socket "$SOCKET" -H "$chunked" --data-binary "@$DIR/body" \
      http://localhost/)" "no function 'no.such'"
  done
}

@test "a problem with a whole output of many megabytes is kept" {
  start_local 5
  {
    printf 'func=problems.register&sok=ok&level=error&name=import&id=long&msg_object=files&info='
    head -c 20000000 /dev/zero | tr '\0' x
  } >"$DIR/body"
  [[ $(curl -sS --unix-socket "$SOCKET" --data-binary "@$DIR/body" http://localhost/ |
    kind) == ok ]]
  (($("$REFPANEL" problems --state "$STATE" | wc -c) > 20000000))
}

@test "malformed bodies are answered with an error that names the field" {
  start_local 5
  assert_has "$(local_query 'func=%zz')" "bad percent-encoding in the value of field 'func'"
  assert_has "$(local_query 'func=problems%00')" "a NUL byte in the value of field 'func'"
  printf 'func=problems\0' >"$DIR/nul"
  assert_has "$(curl -sS --unix-socket "$SOCKET" --data-binary "@$DIR/nul" http://localhost/)" \
    "a NUL byte in the value of field 'func'"
  assert_has "$(local_query 'func=problems&func=auth')" "field 'func' is given twice"
  assert_has "$(local_query '')" "field func is missing or empty"
  assert_has "$(local_query 'func=no.such&x=1')" "no function 'no.such'"
}

# --- Sessions and rights

@test "every function asks for the right session" {
  start_source 4
  local admin user
  admin=$("$REFPANEL" session --state "$STATE")
  user=$("$REFPANEL" session --state "$STATE" "$ALICE")
  local problem="func=problems.register&sok=ok&level=error&name=n&msg_object=o&id"
  local body none own expected
  # The answer without a session, with the user's own, and with the administrator's.
  while read -r body none own expected; do
    [[ $(source_query "$body=1" | kind) == "$none" ]]
    [[ $(source_query "$body=2&auth=$user" | kind) == "$own" ]]
    [[ $(source_query "$body=3&auth=$admin&su=$ALICE" | kind) == "$own" ]]
    [[ $(source_query "$body=4&auth=$admin" | kind) == "$expected" ]]
  done <<ROWS
func=user.edit&elid=$ALICE&x                              auth ok     ok
func=user.edit&elid=$BOB&x                                auth access ok
func=user.edit&sok=ok&shell=on&elid=$ALICE&disklimit      auth access ok
func=user.disable&elid=$ALICE&x                           auth access ok
func=user.resume&elid=$ALICE&x                            auth access ok
func=problems&x                                           auth access ok
$problem                                                  auth access ok
func=session.newkey&username=$ALICE&key=0123456789abcdef0 auth access ok
func=webdomain.diraccess.repair&user=$ALICE&remotehomedir=/old&x auth access ok
func=no.such&x                                            auth missing missing
ROWS
  assert_has "$(source_query "func=problems&auth=$user")" \
    '<error type="access" object="func"><value>problems</value><msg>Permission denied</msg>'
}

@test "a one-time key opens one session of its user" {
  start_source 5
  local admin key=00112233445566ff answer session
  admin=$("$REFPANEL" session --state "$STATE")
  source_query "func=session.newkey&checkcookie=no&username=$ALICE&key=$key&auth=$admin"
  [[ $(source_query "func=auth&username=$BOB&key=$key" | kind) == auth ]]
  [[ $(source_query "func=auth&username=$ALICE&key=ff11223344556600" | kind) == auth ]]
  answer=$(source_query "func=auth&username=$ALICE&key=$key")
  [[ $answer =~ "<doc><auth>"([0-9a-f]{64})"</auth></doc>"$ ]]
  session=${BASH_REMATCH[1]}
  [[ $(source_query "func=auth&username=$ALICE&key=$key" | kind) == auth ]]
  assert_has "$(source_query "func=user.edit&elid=$ALICE&auth=$session")" "<elid>$ALICE</elid>"
}

@test "no secret reaches the state, the log of calls or standard error" {
  start_source 5
  local admin key=00112233445566ff
  admin=$("$REFPANEL" session --state "$STATE")
  {
    source_query "func=session.newkey&username=$ALICE&key=$key&auth=$admin"
    source_query "func=session.newkey&username=$ALICE&key=$key&auth=$admin"
    source_query "func=session.newkey&username=$ALICE&key=$key&key=$key&auth=$admin%"
    source_query "func=auth&username=$BOB&key=$key"
  } >"$DIR/answers"
  stop_server
  run -1 grep -a -e "$key" -e "$admin" "$STATE" "$DIR/answers" "$DIR/server.err"
  run -0 "$REFPANEL" calls --state "$STATE"
  [[ ${#lines[@]} -eq 3 ]]
  [[ ${lines[0]} == "source session.newkey administrator ok" ]]
  [[ ${lines[1]} == "source session.newkey administrator exists" ]]
  [[ ${lines[2]} == "source auth - auth" ]]
}

# --- Users

# The value of a field of a form that stands on one line.
field() { # name form
  [[ $2 =~ "<$1>"([^\<]*)"</$1>" ]] && echo "${BASH_REMATCH[1]}"
}

@test "generation 4 takes the whole form and changes the account's real shell" {
  start_source 4
  local admin form
  admin=$("$REFPANEL" session --state "$STATE")
  form=$(source_query "func=user.edit&elid=$ALICE&auth=$admin")
  [[ $(field shell "$form") == on && $form != *limit_shell* ]]
  source_query "func=user.edit&sok=ok&shell=off&elid=$ALICE&name=$ALICE&auth=$admin" \
    --data-urlencode "fullname= Анна & \"O'Neil\" <x> " --data-urlencode $'note=a\nb\r\nc%=' \
    --data-urlencode 'email= ' -d disklimit=100
  [[ $(login_shell "$ALICE") == /usr/sbin/nologin ]]
  form=$(source_query "func=user.edit&elid=$ALICE&auth=$admin")
  [[ $(field shell "$form") == off ]]
  [[ $(field fullname "$form") == " Анна &amp; &quot;O'Neil&quot; &lt;x&gt; " ]]
  [[ $(field note "$form") == $'a\nb&#13;\nc%=' ]]
  [[ $(field email "$form") == '&#32;' ]]
  [[ $(field disklimit "$form") == 100 ]]
  source_query "func=user.edit&sok=ok&shell=on&elid=$ALICE&disklimit=7&auth=$admin"
  [[ $(login_shell "$ALICE") == /bin/bash ]]
  form=$(source_query "func=user.edit&elid=$ALICE&auth=$admin")
  assert_has "$form" "<fullname/><email/><disklimit>7</disklimit><note/><shell>on</shell>"
  source_query "func=user.edit&sok=ok&elid=$ALICE&auth=$admin"
  [[ $(login_shell "$ALICE") == /usr/sbin/nologin ]]
}

@test "generation 5 takes the given fields alone" {
  start_source 5
  local admin form
  admin=$("$REFPANEL" session --state "$STATE")
  source_query "func=user.edit&sok=ok&elid=$ALICE&note=keep&auth=$admin"
  [[ $(login_shell "$ALICE") == /bin/bash ]]
  source_query "func=user.edit&sok=ok&limit_shell=off&elid=$ALICE&auth=$admin"
  [[ $(login_shell "$ALICE") == /usr/sbin/nologin ]]
  form=$(source_query "func=user.edit&elid=$ALICE&auth=$admin")
  assert_has "$form" "<note>keep</note><limit_shell>off</limit_shell>"
  source_query "func=user.edit&sok=ok&limit_shell=on&elid=$ALICE&auth=$admin"
  [[ $(login_shell "$ALICE") == /bin/bash ]]
}

@test "the form shows the shell that the system has, and a shell that is on stays what it is" {
  start_local 4
  usermod --shell /bin/sh -- "$ALICE"
  [[ $(field shell "$(local_query "func=user.edit&elid=$ALICE")") == on ]]
  local_query "func=user.edit&sok=ok&shell=on&elid=$ALICE"
  [[ $(login_shell "$ALICE") == /bin/sh ]]
}

@test "a form with bad values changes nothing" {
  start_local 5
  local_query "func=user.edit&sok=ok&elid=$ALICE&note=first"
  local bad
  for bad in limit_shell=maybe disklimit=1e3 name=other shell=off unknown=1 note=%ff note=%01 \
    note=%EF%BF%BF; do
    [[ $(local_query "func=user.edit&sok=ok&elid=$ALICE&email=x&$bad" | kind) =~ value|missing ]]
  done
  assert_has "$(local_query "func=user.edit&elid=$ALICE")" "<email/><disklimit/><note>first</note>"
  [[ $(login_shell "$ALICE") == /bin/bash ]]
}

@test "users that are not there are named in the error" {
  start_local 5
  local func
  for func in "user.edit&elid" "user.edit&sok=ok&elid" "user.disable&elid" "user.resume&elid" \
    "session.newkey&key=0123456789abcdef&username" \
    "webdomain.diraccess.repair&remotehomedir=/old&user"; do
    assert_has "$(local_query "func=$func=--help")" "no user '--help'"
    assert_has "$(local_query "func=$func=x%27%3B%22")" "no user 'x';\\&quot;'"
    assert_has "$(local_query "func=$func=")" "is missing or empty"
  done
}

@test "a user whose account is gone is an error, not a success" {
  start_local 5
  local name=rpc-${ALICE#rpa-}
  make_account "$name"
  "$REFPANEL" user add --state "$STATE" "$name"
  userdel --remove -- "$name" 2>/dev/null
  assert_has "$(local_query "func=user.edit&elid=$name")" "no account '$name'"
  assert_has "$(local_query "func=user.disable&elid=$name")" "usermod ended with status 6"
  assert_has "$("$REFPANEL" user list --state "$STATE")" "$name active no-account"
}

@test "disable suspends the real account and resume takes it back" {
  start_local 5
  assert_has "$(local_query "func=user.disable&elid=$ALICE")" "<doc><ok/></doc>"
  [[ $(expires "$ALICE") == 1 ]]
  assert_has "$("$REFPANEL" user list --state "$STATE")" "$ALICE disabled"
  [[ $(local_query "func=user.resume&elid=$ALICE" | kind) == ok ]]
  [[ -z $(expires "$ALICE") ]]
  assert_has "$("$REFPANEL" user list --state "$STATE")" "$ALICE active"
}

@test "many changes of accounts at once all succeed" {
  start_local 5
  local -a jobs=()
  local i
  for i in {1..8}; do
    local_query "func=user.resume&elid=$ALICE" >"$DIR/answer$i" 3>&- &
    jobs+=($!)
  done
  wait "${jobs[@]}"
  for i in {1..8}; do
    [[ $(kind <"$DIR/answer$i") == ok ]]
  done
}

# --- Problems

@test "problems are registered once, listed and printed on one line" {
  start_local 5
  local body="func=problems.register&sok=ok&level=error&name=import"
  [[ $(local_query "$body&id=alice%201&msg_object=db_dump&info=a%0Ab%22&param_value=x%26y" |
    kind) == ok ]]
  [[ $(local_query "$body&id=alice%201&msg_object=db_dump&info=other" | kind) == exists ]]
  local list
  list=$(local_query func=problems)
  assert_has "$list" "<elem><id>alice 1</id><time>"
  assert_has "$list" "<level>error</level><name>import</name><msg_object>db_dump</msg_object>"
  assert_has "$list" $'<info>a\nb&quot;</info><param name="value">x&amp;y</param></elem></doc>'
  run -0 "$REFPANEL" problems --state "$STATE"
  [[ ${#lines[@]} -eq 1 ]]
  [[ $output == 20*' error id="alice 1" name="import" object="db_dump"'* ]]
  [[ $output == *' param_value="x&y" info="a\nb\""' ]]
}

# --- Web directories

repair_alice() {
  local_query "func=webdomain.diraccess.repair&user=$ALICE&remotehomedir=/old/home/$ALICE"
}

@test "the access protection of web directories moves with the home" {
  start_local 4
  local home=$WORK/home/$ALICE
  as_user "$ALICE" mkdir -p "$home/www/site/shut" "$home/etc"
  as_user "$ALICE" tee "$home/www/site/.htaccess" "$home/www/site/shut/.htaccess" >/dev/null <<EOF
AuthType Basic
AuthUserFile /old/home/$ALICE/etc/users
AuthGroupFile "/old/home/$ALICE-2/etc/groups"
EOF
  chmod 640 "$home/www/site/.htaccess"
  touch -d '2020-01-02 03:04:05' "$home/www/site/.htaccess"
  chmod 200 "$home/www/site/shut"
  assert_has "$(repair_alice)" "<doc><repaired>3</repaired></doc>"
  local expected
  expected=$(printf '%s\n' "AuthType Basic" "AuthUserFile $home/etc/users" \
    "AuthGroupFile \"/old/home/$ALICE-2/etc/groups\"")
  [[ $(<"$home/www/site/.htaccess") == "$expected" ]]
  [[ $(<"$home/www/site/shut/.htaccess") == "$expected" ]]
  [[ $(stat -c '%a %U %y' "$home/www/site/.htaccess") == "640 $ALICE 2020-01-02 03:04:05."* ]]
  [[ $(stat -c '%a' "$home/www/site/shut") == 700 ]]
  assert_has "$(repair_alice)" "<doc><repaired>0</repaired></doc>"
}

@test "a file of this host at the old path is left in use unless overwrite is on" {
  start_local 4
  local home=$WORK/home/$ALICE old=$DIR/old
  mkdir -p "$old"
  touch "$old/users"
  as_user "$ALICE" mkdir -p "$home/www"
  echo "AuthUserFile $old/users" | as_user "$ALICE" tee "$home/www/.htaccess" >/dev/null
  local body="func=webdomain.diraccess.repair&user=$ALICE&remotehomedir=$old&overwrite"
  assert_has "$(local_query "$body=")" "<repaired>0</repaired>"
  [[ $(<"$home/www/.htaccess") == "AuthUserFile $old/users" ]]
  assert_has "$(local_query "$body=on")" "<repaired>1</repaired>"
  [[ $(<"$home/www/.htaccess") == "AuthUserFile $home/users" ]]
}

@test "the repair has no more rights than the user" {
  start_local 4
  local home=$WORK/home/$ALICE secret=$DIR/secret
  as_user "$ALICE" mkdir -p "$home/www"
  mkdir -m 700 "$secret"
  echo "AuthUserFile /old/home/$ALICE/x" >"$secret/.htaccess"
  mv -T "$secret" "$home/www/roots"
  cp "$home/www/roots/.htaccess" "$home/www/.htaccess"
  assert_has "$(repair_alice)" "<repaired>0</repaired>"
  [[ $(<"$home/www/roots/.htaccess") == "AuthUserFile /old/home/$ALICE/x" ]]
  [[ $(stat -c '%a %U' "$home/www/roots") == "700 root" ]]
  [[ $(stat -c '%U' "$home/www/.htaccess") == root ]]
  run -1 --separate-stderr setpriv --bounding-set -setuid -- "$REFPANEL" repair-web-tree \
    --remote-home=/old -- "$ALICE"
  [[ $stderr == "refpanel: account '$ALICE': cannot take its rights" ]]
}

@test "what cannot be repaired is an error that names it, and the rest is repaired" {
  start_local 4
  local home=$WORK/home/$ALICE answer
  as_user "$ALICE" mkdir -p "$home/www/one" "$home/www/two"
  echo "AuthUserFile /old/home/$ALICE/x" | as_user "$ALICE" \
    tee "$home/www/one/.htaccess" "$home/www/two/.htaccess" >/dev/null
  as_user "$ALICE" install -m 0 /dev/null "$home/www/.htaccess"
  chmod 555 "$home/www/one"
  answer=$(repair_alice)
  assert_has "$answer" '<error type="system" object="diraccess">'
  assert_has "$answer" "1 repaired, 2 failed: "
  assert_has "$answer" "$home/www/.htaccess: open: Permission denied"
  assert_has "$answer" "$home/www/one/.htaccess: create a file beside it: Permission denied"
  [[ $(<"$home/www/one/.htaccess") == "AuthUserFile /old/home/$ALICE/x" ]]
  [[ $(<"$home/www/two/.htaccess") == "AuthUserFile $home/x" ]]
}

@test "a full disk leaves the old file in place and nothing beside it" {
  start_local 4
  local home=$WORK/home/$ALICE
  mkdir "$home/www"
  mount -t tmpfs -o "size=8k,mode=755,uid=$(id -u "$ALICE")" tmpfs "$home/www"
  echo "AuthUserFile /old/home/$ALICE/x" | as_user "$ALICE" tee "$home/www/.htaccess" >/dev/null
  head -c 4096 /dev/zero >"$home/www/filler"
  assert_has "$(repair_alice)" "$home/www/.htaccess: write: No space left on device"
  [[ $(<"$home/www/.htaccess") == "AuthUserFile /old/home/$ALICE/x" ]]
  [[ $(ls -A "$home/www") == $'filler\n.htaccess' || $(ls -A "$home/www") == $'.htaccess\nfiller' ]]
}

@test "a user without web directories needs no repair" {
  start_local 4
  assert_has "$(local_query "func=webdomain.diraccess.repair&user=$BOB&remotehomedir=/old")" \
    "<repaired>0</repaired>"
}
