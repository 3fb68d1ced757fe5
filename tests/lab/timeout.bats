#!/usr/bin/env bats
# A source panel that takes the connection and never answers.

bats_require_minimum_version 1.5.0
load migrations

setup_file() {
  lab_up
  start_panels
  on src "$BATS_TEST_DIRNAME/broken-panel" 1600 silent
}

teardown_file() {
  lab_down
}

@test "a source panel that is silent is given up after 45 seconds" {
  make_local_account patient
  begin=$SECONDS
  run_migration patient 4 url=http://src.example:1600/
  [[ $status -eq 1 && $stderr == *"src.example:1600: no answer within 45 s"* ]]
  [[ $((SECONDS - begin)) -ge 44 ]]
}
