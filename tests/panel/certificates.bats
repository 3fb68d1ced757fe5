#!/usr/bin/env bats
# Certificates from panel to panel, with OpenSSL's own program as the judge of keys and requests.
# shellcheck disable=SC2030,SC2031,SC2154 # each test runs in a shell of its own; run sets stderr

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
}

cert() { # command argument...
  "$REFPANEL" cert "$1" --state "$STATE" "${@:2}"
}

# The text of a field of the answer on standard input, as it stands in the XML, final line feeds
# and all; empty without one.
xml_field() { # name
  local answer
  answer=$(cat)
  [[ $answer =~ "<$1>"([^\<]*)"</$1>" ]] || true
  printf %s "${BASH_REMATCH[1]:-}"
}

FIELDS=(cert_name domain_name csr_req acme_key modulus verified time_started check_type can_renew
  aliases)

# Writes each field of a backup record to a file of its name in DIR.
get_backup() { # cert_name
  local answer field
  answer=$(source_query "func=letsencrypt.backup.get&auth=$USER_KEY" \
    --data-urlencode "cert_name=$1")
  for field in "${FIELDS[@]}"; do
    xml_field "$field" <<<"$answer" >"$DIR/$field"
  done
}

# Hands what get_backup has written to the local panel. A field is the file of its name.
set_backup() { # user
  local field form=()
  for field in "${FIELDS[@]}"; do
    form+=(--data-urlencode "$field@$DIR/$field")
  done
  local_query "func=letsencrypt.backup.set&sok=ok&su=$1&user_name=$1" "${form[@]}"
}

@test "added certificates have keys and requests that OpenSSL takes" {
  cert add "$ALICE" site Site.Example --alias www.site.example --alias '*.site.example'
  start_source 5
  USER_KEY=$("$REFPANEL" session --state "$STATE" "$ALICE")
  get_backup site
  [[ $(openssl req -in "$DIR/csr_req" -noout -verify 2>&1) == *"verify OK" ]]
  [[ $(openssl req -in "$DIR/csr_req" -noout -modulus) == "Modulus=$(<"$DIR/modulus")" ]]
  [[ $(openssl req -in "$DIR/csr_req" -noout -subject) == "subject=CN = Site.Example" ]]
  local text
  text=$(openssl req -in "$DIR/csr_req" -noout -text)
  assert_has "$text" "DNS:*.site.example, DNS:www.site.example"
  assert_has "$text" "Public-Key: (2048 bit)"
  [[ $(openssl pkey -in "$DIR/acme_key" -noout -check) == "Key is valid" ]]
  [[ $(<"$DIR/aliases") == "www.site.example *.site.example" ]]
  [[ $(date -d "$(<"$DIR/time_started") UTC" +%s) -le $(date +%s) ]]
}

@test "the list shows what a certificate is and no secret of it" {
  cert add "$ALICE" a site.example --alias www.site.example
  cert add "$ALICE" b site.example --kind verifying
  cert add "$BOB" c site.example --kind norenew
  cert add "$BOB" d site.example --kind plain
  start_source 5
  USER_KEY=$("$REFPANEL" session --state "$STATE" "$ALICE")
  get_backup a
  run -0 --separate-stderr cert list
  [[ ${#lines[@]} -eq 4 ]]
  local sum
  sum=$(sha256sum <"$DIR/acme_key")
  assert_has "${lines[0]}" "$ALICE issued cert_name=\"a\" domain_name=\"site.example\" csr_req=\"sha256:"
  assert_has "${lines[0]}" " acme_key=\"sha256:${sum%% *}\" modulus=\"sha256:"
  assert_has "${lines[0]}" ' can_renew="on" aliases="www.site.example"'
  [[ ${lines[1]} == "$ALICE verifying "*' verified="off" '* ]]
  [[ ${lines[2]} == "$BOB norenew "*' verified="on" '*' can_renew="off"' ]]
  [[ ${lines[3]} == "$BOB plain cert_name=\"d\" domain_name=\"site.example\"" ]]
  [[ $output != *BEGIN* && $output != *"$(<"$DIR/modulus")"* ]]
}

@test "a certificate goes from a source to the local panel unchanged" {
  cert add "$ALICE" 'site: Söhne' site.example --alias www.site.example --kind verifying
  local before
  before=$(cert list)
  start_source 5
  USER_KEY=$("$REFPANEL" session --state "$STATE" "$ALICE")
  get_backup 'site: Söhne'
  stop_server
  STATE=$DIR/other.db
  "$REFPANEL" user add --state "$STATE" "$ALICE"
  start_local 5
  [[ $(set_backup "$ALICE" | kind) == ok ]]
  [[ $(cert list) == "$before" ]]
}

@test "requests and keys that do not fit are refused, and no key is shown" {
  cert add "$ALICE" site site.example
  start_source 5
  USER_KEY=$("$REFPANEL" session --state "$STATE" "$ALICE")
  get_backup site
  stop_server
  STATE=$DIR/other.db
  "$REFPANEL" user add --state "$STATE" "$ALICE"
  start_local 5
  cp "$DIR/csr_req" "$DIR/good"
  local key="$DIR/key.pem"
  openssl genrsa -out "$key" 2048 2>/dev/null
  # The request of another key, under the old modulus.
  openssl req -new -key "$key" -subj /CN=site.example -out "$DIR/csr_req"
  assert_has "$(set_backup "$ALICE")" "bad value '' of field modulus"
  openssl req -new -key "$key" -subj /CN=site.example -addext subjectAltName=IP:127.0.0.1 \
    -out "$DIR/csr_req"
  assert_has "$(set_backup "$ALICE")" "it asks for something else than DNS names"
  openssl req -new -key "$key" -subj '/CN=Site Ltd' -out "$DIR/csr_req"
  assert_has "$(set_backup "$ALICE")" "its common name is no DNS name"
  openssl req -new -key "$key" -subj /CN=site.example -addext 2.5.29.17=DER:0102 \
    -out "$DIR/csr_req"
  assert_has "$(set_backup "$ALICE")" "its alternative names cannot be read"
  openssl ecparam -name prime256v1 -genkey -noout -out "$DIR/ec.pem"
  openssl req -new -key "$DIR/ec.pem" -subj /CN=site.example -out "$DIR/csr_req"
  assert_has "$(set_backup "$ALICE")" "the request's key is no RSA key"
  # One bit of the signature is another.
  openssl req -in "$DIR/good" -outform DER -out "$DIR/der"
  local last
  last=$(tail -c 1 "$DIR/der" | od -An -tu1)
  truncate --size=-1 "$DIR/der"
  # shellcheck disable=SC2059 # the format is the byte
  printf "\\x$(printf %x $((last ^ 1)))" >>"$DIR/der"
  openssl req -inform DER -in "$DIR/der" -out "$DIR/csr_req"
  assert_has "$(set_backup "$ALICE")" "the request is not signed by its own key"
  cp "$DIR/good" "$DIR/csr_req"
  openssl pkey -in "$key" -aes128 -passout pass:x -out "$DIR/acme_key"
  assert_has "$(set_backup "$ALICE")" "no private key in PEM without a passphrase"
  openssl pkey -in "$key" -pubout -out "$DIR/acme_key"
  assert_has "$(set_backup "$ALICE")" "no private key in PEM without a passphrase"
  [[ -z $(cert list) ]]
  cp "$key" "$DIR/acme_key"
  [[ $(set_backup "$ALICE" | kind) == ok ]]
  tr -d '\n' <"$key" >"$DIR/acme_key"
  local answer
  answer=$(set_backup "$ALICE")
  [[ $(kind <<<"$answer") == value && $answer != *BEGIN* ]]
  [[ ! -s $DIR/server.err ]]
}

@test "certificates that cannot be added are errors that name the field" {
  run -1 --separate-stderr cert add nobody-here a site.example
  [[ $stderr == "refpanel: no user 'nobody-here'" ]]
  run -1 --separate-stderr cert add "$ALICE" '' site.example
  assert_one_line "$stderr" "refpanel: bad value '' of field NAME: "
  run -1 --separate-stderr cert add "$ALICE" $'\x01' site.example
  assert_one_line "$stderr" "refpanel: bad value "
  run -1 --separate-stderr cert add "$ALICE" a 'site example'
  assert_one_line "$stderr" "refpanel: bad value 'site example' of field DOMAIN: "
  run -1 --separate-stderr cert add "$ALICE" a site.example --alias a,DNS:b
  assert_one_line "$stderr" "refpanel: bad value 'a,DNS:b' of field --alias: "
  run -2 --separate-stderr cert add "$ALICE" a site.example --kind bought
  assert_one_line "$stderr" "refpanel: --kind: "
  cert add "$ALICE" a site.example --kind plain
  run -1 --separate-stderr cert add "$ALICE" a site.example
  [[ $stderr == "refpanel: certificate 'a' exists already" ]]
}

@test "a panel without the plugin has none of its functions" {
  cert add "$ALICE" a site.example
  start_source 5 --without-letsencrypt
  local admin user answer
  admin=$("$REFPANEL" session --state "$STATE")
  user=$("$REFPANEL" session --state "$STATE" "$ALICE")
  answer=$(source_query "func=actionlist&out=xml&auth=$admin")
  assert_has "$answer" "<action>sslcert</action>"
  [[ $answer != *letsencrypt* ]]
  [[ $(source_query "func=sslcert&auth=$user") != *letsencrypt* ]]
  assert_has "$(source_query "func=letsencrypt.backup.get&cert_name=a&auth=$user")" \
    "no function 'letsencrypt.backup.get'"
}
