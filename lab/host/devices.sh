# shellcheck shell=bash
# A host's /dev.

# DEV
make_devices() {
  local name major minor
  mount -t tmpfs -o mode=0755,size=64k,nosuid dev "$1"
  while read -r name major minor; do
    mknod -m 0666 "$1/$name" c "$major" "$minor"
  done <<END
null 1 3
zero 1 5
full 1 7
random 1 8
urandom 1 9
tty 5 0
END
  make_terminals "$1"
  mkdir -m 1777 "$1/shm"
  mount -t tmpfs -o mode=1777,size=1g,nosuid,nodev shm "$1/shm"
  link_streams "$1"
}

make_terminals() {
  mkdir "$1/pts"
  # Group 5 is tty on every Debian.
  mount -t devpts -o newinstance,ptmxmode=0666,mode=0620,gid=5,nosuid,noexec devpts "$1/pts"
  ln -s pts/ptmx "$1/ptmx"
}

link_streams() {
  ln -s /proc/self/fd "$1/fd"
  ln -s fd/0 "$1/stdin"
  ln -s fd/1 "$1/stdout"
  ln -s fd/2 "$1/stderr"
}
