# shellcheck shell=bash
# Root's ways into the hosts: a random password for each, and a key for src.

# HOST
set_password() {
  local password
  password=$(od -An -N 16 -t x1 /dev/urandom | tr -d ' \n')
  printf '%s\n' "$password" >"$(state_dir)/$1/password"
  printf 'root:%s\n' "$password" | in_host "$1" chpasswd
}

install_key() {
  local key
  key=$(state_dir)/key
  ssh-keygen -q -t ed25519 -N '' -C "root of lab $name" -f "$key"
  in_host src install -D -m 0600 /dev/stdin /root/.ssh/authorized_keys <"$key.pub"
}

# HOST
lab_password() {
  is_up || die "lab '$name' is not up"
  cat "$(state_dir)/$1/password"
}

lab_key() {
  is_up || die "lab '$name' is not up"
  printf '%s/key\n' "$(state_dir)"
}
