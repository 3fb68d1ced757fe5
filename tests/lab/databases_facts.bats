#!/usr/bin/env bats
# What is compared when databases have moved: servers that hold the same agree, and every difference
# that matters shows.

bats_require_minimum_version 1.5.0
load helpers
source "${BATS_TEST_DIRNAME}/../../demo/hosts.sh"
source "${BATS_TEST_DIRNAME}/../../demo/databases.sh"

setup_file() {
  lab_up
  start_database_servers
  fill src tess
  fill dst tess
  # The account whose databases the tests change.
  fill dst chad
}

teardown_file() {
  lab_down
}

# HOST USER: makes the account there, each time with other passwords.
fill() {
  on "$1" useradd --create-home --user-group "$2"
  on "$1" install -d -m 0700 "$PANEL_STATE"
  on "$1" "$BIN/refpanel" user add --state "$PANEL_STATE/source4.db" "$2"
  on "$1" env VORTREL_BIN="$BIN" "$DEMO/make-databases" "$2" 4 --rows 30
}

# HOST [ARGUMENT...]: with the passwords of that host.
facts() {
  on "$1" "$DEMO/database-facts" tess "${@:2}"
}

# The statements are on standard input.
mariadb_shop() {
  on dst mariadb --default-character-set=utf8mb4 chad_shop
}

postgres_ledger() {
  on dst psql --no-psqlrc --quiet --output=/dev/null --set=ON_ERROR_STOP=1 -U postgres \
    -d chad_ledger
}

# Changes from here on are shown by assert_shows.
note_facts() {
  on dst "$DEMO/database-facts" chad >"$BATS_TEST_TMPDIR/before"
}

# CLIENT STATEMENTS [FACT...]: after the statements these facts are others, and none besides.
assert_shows() {
  local before=$BATS_TEST_TMPDIR/before after=$BATS_TEST_TMPDIR/after
  "$1" <<<"$2" >/dev/null
  on dst "$DEMO/database-facts" chad >"$after"
  diff <(printf '%s\n' "${@:3}" | sed '/^$/d' | sort) \
    <(diff "$before" "$after" | sed -nE 's/^[<>] [a-z]+ chad_[A-Za-z]+ (.*[^:]): .*/\1/p' | sort -u)
  mv "$after" "$before"
}

@test "servers that were filled alike agree" {
  facts src >"$BATS_TEST_TMPDIR/src"
  [[ $(grep -c '^mysql tess_shop ' "$BATS_TEST_TMPDIR/src") -gt 30 ]]
  [[ $(grep -c '^pgsql tess_ledger ' "$BATS_TEST_TMPDIR/src") -gt 50 ]]
  diff "$BATS_TEST_TMPDIR/src" <(facts dst)
  diff "$BATS_TEST_TMPDIR/src" <(facts src)
}

@test "an account is given databases once, and only as asked" {
  run -1 --separate-stderr on src "$DEMO/make-databases" tess 4
  [[ $stderr == "make-databases: tess has databases already, see /root/demo-passwords/tess" ]]
  for arguments in "" tess "tess 3" "tess 4 5" "te_ss 4" "tess 4 --rows 0" "tess 4 --rows" \
    "tess 4 --x"; do
    # shellcheck disable=SC2086  # These are several arguments.
    run -2 --separate-stderr on src "$DEMO/make-databases" $arguments
    [[ ${stderr##*$'\n'} == "usage: make-databases USER 4|5 [--rows N]" ]]
  done
}

@test "passwords are root's alone" {
  [[ $(on src stat -c %a:%U /root/demo-passwords) == 700:root ]]
  [[ $(on src stat -c %a:%U /root/demo-passwords/tess) == 600:root ]]
}

@test "who is let in over the network is told for each address" {
  run -0 facts dst --logins-at 10.99.0.2
  [[ ${#lines[@]} -eq 14 ]]
  grep -x 'mysql tess_shop login of tess_owner: refused' <<<"$output"
  grep -x 'mysql tess_shop login of tess_editor: let in as tess_editor@%' <<<"$output"
  grep -x 'mysql tess_shop login of tess_reader: let in as tess_reader@10.99.0.2' <<<"$output"
  grep -x 'pgsql tess_ledger login of tess_books: let in as tess_books' <<<"$output"
  run -0 facts src --logins-at 10.99.0.1
  grep -x 'mysql tess_shop login of tess_reader: refused' <<<"$output"
  run -0 facts dst --logins-at fd00:99::2
  grep -x 'mysql tess_shop login of tess_reader: let in as tess_reader@fd00:99::2' <<<"$output"
}

@test "other passwords than a server's own are refused" {
  facts dst | grep -vE ' (login|use) of ' >"$BATS_TEST_TMPDIR/dst"
  on src cat /root/demo-passwords/tess | facts dst --passwords /dev/stdin >"$BATS_TEST_TMPDIR/facts"
  [[ $(grep -c ' login of .*: refused$' "$BATS_TEST_TMPDIR/facts") -eq 14 ]]
  diff "$BATS_TEST_TMPDIR/dst" <(grep -v ' login of ' "$BATS_TEST_TMPDIR/facts")
}

@test "a change of contents shows" {
  note_facts
  assert_shows mariadb_shop "UPDATE files SET contents = x'01' WHERE name = x'00'" "table files"
  assert_shows mariadb_shop "UPDATE customers SET note = '' WHERE note IS NULL LIMIT 1" \
    "table customers"
  assert_shows mariadb_shop "UPDATE categories SET name = '🎁🇺🇦👩‍👩‍👦' WHERE id = 3" \
    "table categories"
  assert_shows mariadb_shop "DELETE FROM legacy WHERE \`order\` = 'обмін'" "table legacy"
  assert_shows postgres_ledger \
    "UPDATE attachments SET contents = set_byte(contents, 200, 0) WHERE name = 'all'" \
    "table public.attachments"
  assert_shows postgres_ledger "UPDATE entries SET note = '' WHERE id = 2" "table public.entries"
  assert_shows postgres_ledger "UPDATE entries SET details = '{\"n\": 5.0}' WHERE id = 5" \
    "table public.entries"
}

@test "a change of counters shows" {
  note_facts
  assert_shows mariadb_shop "ALTER TABLE orders AUTO_INCREMENT = 200000" "table orders"
  assert_shows mariadb_shop "SELECT setval(invoices, 80000)" "sequence invoices"
  assert_shows postgres_ledger "SELECT nextval('invoice_number')" "sequence public.invoice_number"
}

@test "a change of structure shows" {
  note_facts
  assert_shows mariadb_shop "ALTER TABLE carts ADD COLUMN more INT" "table carts"
  assert_shows mariadb_shop "ALTER TABLE customers DROP INDEX by_level" "table customers"
  assert_shows postgres_ledger "ALTER TABLE drafts ALTER COLUMN note SET DEFAULT '-'" \
    "columns of public.drafts"
  assert_shows postgres_ledger "DROP INDEX entries_by_day" "index entries_by_day"
  assert_shows postgres_ledger "ALTER TABLE entries DROP CONSTRAINT entries_amount_check" \
    "constraint entries_amount_check"
  assert_shows postgres_ledger "COMMENT ON TABLE accounts IS 'another'" "comment on public.accounts"
  assert_shows postgres_ledger "ALTER TYPE kind ADD VALUE 'more'" "enumeration kind"
}

@test "a change of views shows" {
  note_facts
  assert_shows mariadb_shop \
    "ALTER SQL SECURITY INVOKER VIEW order_totals AS SELECT 1 AS id, 2 AS customer, 3 AS total" \
    "definition of view order_totals" "view order_totals" "view best_customers" \
    "use of order_totals"
  assert_shows postgres_ledger "CREATE OR REPLACE VIEW archive.late AS
    SELECT * FROM archive.years WHERE year > 2008" \
    "definition of archive.late" "view archive.late" "use of partitions"
}

@test "a change of routines, triggers and events shows" {
  note_facts
  assert_shows mariadb_shop "DROP TRIGGER price_history" "trigger price_history" \
    "use of price_history"
  assert_shows mariadb_shop "DROP FUNCTION customer_label; CREATE FUNCTION customer_label(n INT)
    RETURNS TEXT DETERMINISTIC RETURN n" "function customer_label" "use of customer_label"
  assert_shows mariadb_shop "ALTER PROCEDURE restock COMMENT 'another'" "procedure restock"
  assert_shows mariadb_shop "ALTER EVENT forget_carts ENABLE" "event forget_carts"
  assert_shows postgres_ledger "ALTER TABLE accounts DISABLE TRIGGER accounts_keep_name" \
    "trigger accounts_keep_name" "use of accounts_keep_name"
  assert_shows postgres_ledger "CREATE OR REPLACE FUNCTION balance_of(wanted text) RETURNS numeric
    LANGUAGE sql STABLE AS 'SELECT 1.0'" "function balance_of" "use of balance_of"
}

@test "a change of rights shows" {
  note_facts
  assert_shows mariadb_shop "REVOKE LOCK TABLES ON \`chad\\_shop\`.* FROM chad_editor@'%'" \
    "'chad_editor'@'%'"
  assert_shows mariadb_shop "REVOKE GRANT OPTION ON \`chad\\_shop\`.* FROM chad_owner@localhost" \
    "'chad_owner'@'localhost'"
  assert_shows mariadb_shop "DROP USER chad_reader@'10.99.0.2'" "'chad_reader'@'10.99.0.2'"
  assert_shows postgres_ledger "REVOKE SELECT ON accounts FROM chad_audit" \
    "chad_audit with public.accounts"
  assert_shows postgres_ledger "REVOKE ALL ON SCHEMA archive FROM chad_audit" \
    "chad_audit with archive."{late,years,years_before,years_since}
}

@test "a change of passwords shows" {
  note_facts
  assert_shows mariadb_shop "ALTER USER chad_wiki@localhost IDENTIFIED BY 'another'" \
    "login of chad_wiki"
  assert_shows postgres_ledger "ALTER ROLE chad_books PASSWORD 'another'" "login of chad_books" \
    "use of "{balance_of,fingerprint,accounts_keep_name,partitions}
  assert_shows postgres_ledger "REVOKE CONNECT ON DATABASE chad_ledger FROM chad_audit" \
    "login of chad_audit"
}

@test "who defines and who owns does not show" {
  note_facts
  assert_shows mariadb_shop "ALTER DEFINER=root@localhost EVENT forget_carts COMMENT ''"
  assert_shows postgres_ledger "CREATE ROLE another; ALTER FUNCTION fingerprint OWNER TO another"
}

@test "using a database leaves no trace in it" {
  facts dst >"$BATS_TEST_TMPDIR/first"
  diff "$BATS_TEST_TMPDIR/first" <(facts dst)
}

@test "a server that does not answer is an error, not a difference" {
  on src cat /root/demo-passwords/tess >"$BATS_TEST_TMPDIR/passwords"
  lab_up
  run -1 --separate-stderr facts src --passwords /dev/stdin <"$BATS_TEST_TMPDIR/passwords"
  [[ -z $output && $stderr == "database-facts: ERROR 2002 "* ]]
  "$LAB" enter src "${LAB%/lab}/services/mariadb" 3>&-
  run -1 --separate-stderr facts src --passwords /dev/stdin <"$BATS_TEST_TMPDIR/passwords"
  [[ -z $output && $stderr == "database-facts: psql: error: connection to server on socket "* ]]
  lab_down
}
