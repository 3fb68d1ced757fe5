# shellcheck shell=bash
# A host's root file system: the machine's, with fresh places of its own.

# Directories whose content is a host's own. Those that the machine lacks are left out.
FRESH=(tmp run home root var/tmp var/log var/mail var/www var/spool/cron/crontabs
  var/lib/mysql var/lib/postgresql etc/postgresql var/lib/vortrel etc/vortrel)

# DIRECTORY SIZE HOST: builds the root at DIRECTORY/root.
make_root() {
  local layers=$1/layers root=$1/root
  mkdir "$layers" "$root"
  # The upper layer must not be kept inside the lower one.
  mount -t tmpfs -o "size=$2,mode=0755" tmpfs "$layers"
  mkdir "$layers/upper" "$layers/work"
  hide_directories "$layers/upper"
  write_identity "$layers/upper/etc" "$3"
  mount -t overlay -o "lowerdir=/,upperdir=$layers/upper,workdir=$layers/work,redirect_dir=on" \
    overlay "$root"
  renew_directories "$root"
}

# A directory made where a hidden one was is empty. Removing the content through the overlay
# would take seconds instead.
hide_directories() {
  local directory
  for directory in "${FRESH[@]}"; do
    [[ -d /$directory ]] || continue
    mkdir -p "$1/$(dirname "$directory")"
    mknod "$1/$directory" c 0 0
  done
}

renew_directories() {
  local directory
  for directory in "${FRESH[@]}"; do
    [[ -d /$directory ]] || continue
    mkdir "$1/$directory"
    chown --reference="/$directory" "$1/$directory"
    chmod --reference="/$directory" "$1/$directory"
  done
  mkdir -m 1777 "$1/run/lock"
}

# ETC HOST: names, and user lists that later changes to the machine's do not reach.
write_identity() {
  mkdir -p "$1"
  cp -a /etc/{passwd,group,shadow,gshadow} "$1"
  echo "$2" >"$1/hostname"
  : >"$1/resolv.conf"
  list_names >"$1/hosts"
}

# Prints the content of /etc/hosts.
list_names() {
  local host
  printf '127.0.0.1 localhost\n::1 localhost ip6-localhost ip6-loopback\n'
  for host in src dst; do
    printf '%s %s.example %s\n' "${ADDRESS4[$host]}" "$host" "$host"
    printf '%s %s.example %s\n' "${ADDRESS6[$host]}" "$host" "$host"
  done
}

# ROOT
mount_kernel_views() {
  mount -t proc -o nosuid,nodev,noexec proc "$1/proc"
  mount -t sysfs -o ro,nosuid,nodev,noexec sysfs "$1/sys"
}

# ROOT REPOSITORY: a change made outside shows at once, which an overlay does not promise.
show_repository() {
  mkdir -p "$1$2"
  mount --rbind "$2" "$1$2"
  mount -o remount,bind,ro "$1$2"
}

# ROOT
change_root() {
  cd "$1"
  pivot_root . mnt
  cd /
  umount --lazy /mnt
}
