# Migrations of databases in a lab, for a bats file.

load migrations
source "${BATS_TEST_DIRNAME}/../../demo/databases.sh"

# Once for a file: both hosts, their database servers and panels. Names keep their capital letters.
database_migrations_up() {
  lab_up
  start_database_servers
  start_panels
  allow_capitals on
}

# USER GENERATION [ROWS]: an account with databases on the source, and none on the destination.
account_with_databases() {
  make_source_account "$1" "$2"
  make_account_databases "$1" "$2" --rows "${3:-20}"
  make_local_account "$1"
}
