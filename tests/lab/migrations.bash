# Migrations in a lab, for a bats file: loads the lab's helpers and what the demo does on the hosts.

load helpers
source "${BATS_TEST_DIRNAME}/../../demo/hosts.sh"

PARAMS=/root/params

# Once for a file: both hosts, and their panels.
migrations_up() {
  lab_up
  start_panels
}

# USER GENERATION [KEY=VALUE...]: writes the parameters and runs the migration; sets what `run` sets.
run_migration() {
  write_params "$1" "$2" "$PARAMS" "${@:3}"
  run --separate-stderr migrate "$PARAMS"
}

# src|dst: the path of USER's home there.
home_of() { # HOST USER
  if [[ $1 == src ]]; then echo "/home/$2"; else echo "/var/www/$2"; fi
}

manifest() { # HOST USER [ARGUMENT...]
  on "$1" "$DEMO/manifest" "$(home_of "$1" "$2")" "${@:3}"
}

# COMMAND...: fails when COMMAND succeeds. A plain "!" would be passed over in a test.
refute() {
  ! "$@"
}

# USER [PATH...]: contents, modes, times, links and hard links are alike, but for the PATHs, and all
# files are the user's.
assert_homes_alike() {
  local changed=(www/site.example/members/.htaccess "${@:2}")
  diff <(manifest src "$1" --without "${changed[@]}") <(manifest dst "$1" --without "${changed[@]}")
  [[ $(manifest dst "$1" --owners | wc -l) -eq 1 ]]
  [[ $(manifest dst "$1" --owners) == "$(on dst id -u "$1"):$(on dst id -g "$1") "* ]]
}

keys_of() { # USER: digest of the source's authorized_keys, "none" without the file
  on src bash -c "sha256sum < /home/$1/.ssh/authorized_keys 2>/dev/null || echo none"
}

source_shell() { # USER
  on src getent passwd "$1" | cut -d : -f 7
}

is_suspended() { # HOST USER
  [[ $(on "$1" getent shadow "$2" | cut -d : -f 8) == 1 ]]
}

# HOST DIRECTORY...: the temporary keys, dumps and parameters files in the directories themselves.
temporary_files() {
  on "$1" find "${@:2}" -maxdepth 1 \
    \( -name 'tarvin_key*' -o -name 'tarvin_dump*' -o -name 'tarvin_params*' -o -name '.fetch-*' \)
}

# USER: no temporary key, dump or parameters file is left on either host.
assert_nothing_left() {
  on dst test ! -e "$PARAMS"
  [[ -z $(temporary_files dst /tmp /root "/var/www/$1") ]]
  [[ -z $(temporary_files src /tmp /root "/home/$1") ]]
  refute on src grep -rqs "@dst$" "/home/$1/.ssh"
}

# USER: the problems registered about that user.
problems_of() {
  problems | grep -F " id=\"$1 " || true
}

# The log of the job, which is emptied by forget_log.
job_log() {
  on dst cat /var/log/vortrel/tarvin.log
}

forget_log() {
  on dst rm -f /var/log/vortrel/tarvin.log
}
