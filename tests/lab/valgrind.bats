#!/usr/bin/env bats
# Whole migrations with the job's process under valgrind: no invalid access, nothing lost.

bats_require_minimum_version 1.5.0
load database_migrations
source "${BATS_TEST_DIRNAME}/../../demo/certificates.sh"

setup_file() {
  database_migrations_up
}

teardown_file() {
  lab_down
}

# Runs the migration of the parameters file; each process of the job's own program writes a report.
migrate_under_valgrind() {
  run --separate-stderr on dst valgrind --error-exitcode=99 --leak-check=full --num-callers=40 \
    --errors-for-leak-kinds=definite,indirect,possible --log-file=/root/valgrind.%p \
    "$BIN/vorlaunch" tarvin "$PARAMS"
}

# What valgrind reported since this was asked last.
reports() {
  on dst bash -c 'cat /root/valgrind.* && rm /root/valgrind.*'
}

# USER GENERATION [OPTION...]: everything that an account can have arrives; the OPTIONs are for its
# home.
assert_moves_cleanly() {
  make_account "$@"
  make_account_databases "$1" "$2" --rows 20
  [[ $2 == 4 ]] || make_account_certificates "$1"
  write_params "$1" "$2" "$PARAMS" import_databases=on mysql_server=mysql pgsql_server=pgsql
  migrate_under_valgrind
  assert_no_error_reported
  [[ $status -eq 0 && -z $output && -z $stderr && -z $(problems_of "$1") ]]
  assert_homes_alike "$1"
}

# A process that becomes another program has no summary.
assert_no_error_reported() {
  local found
  found=$(reports)
  echo "status $status, $stderr; $(problems)"
  echo "$found"
  grep -q 'ERROR SUMMARY: 0 errors' <<<"$found"
  refute grep -q 'ERROR SUMMARY: [^0]' <<<"$found"
}

@test "a migration of generation 4 makes no error that valgrind sees" {
  assert_moves_cleanly anna 4
}

@test "a migration of generation 5 makes no error that valgrind sees" {
  assert_moves_cleanly ben 5 --mailboxes 0
  [[ -n $(certificates_of dst ben) ]]
}

@test "a migration that fails makes no error that valgrind sees" {
  make_account cara 5
  write_params cara 5 "$PARAMS" ssh_port=1
  migrate_under_valgrind
  [[ $status -eq 1 ]]
  assert_no_error_reported
}
