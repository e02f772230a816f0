#!/usr/bin/env bash
# Proves that a fresh clone works on a bare Debian 12: makes one with debootstrap that has git and
# bash and nothing else to build with, clones this repository's HEAD into it and runs there what is
# asked for, by default `./dev demo` and `./dev test`. Needs root and debootstrap. The mirror is the
# one that this machine's apt uses.
#
# usage: packaging/try-clean.sh [--dir DIR] [--keep] [COMMAND...]
#   --dir DIR   where the bare system and the copy that is used up are put (build/clean)
#   --keep      leave the used copy in DIR/run; without it only the bare system stays, for next time
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

say() { printf 'try-clean: %s\n' "$*" >&2; }

dir=build/clean keep=0
while (($#)); do
  case "$1" in
    --dir) dir=$2; shift ;;
    --keep) keep=1 ;;
    --) shift; break ;;
    -*) say "do not know '$1'"; exit 2 ;;
    *) break ;;
  esac
  shift
done
(($#)) || set -- bash -c './dev demo && ./dev test'
((EUID == 0)) || { say "needs root"; exit 2; }

mkdir -p "$dir"
dir=$(readlink -f "$dir")
base=$dir/base run=$dir/run

if [[ ! -x $base/usr/bin/git ]]; then
  command -v debootstrap >/dev/null || { say "needs debootstrap"; exit 2; }
  mirror=$(apt-get indextargets --format '$(CODENAME) $(REPO_URI)' 'Created-By: Packages' |
    awk '$1 == "bookworm" { print $2; exit }')
  [[ -n "$mirror" ]] || { say "this machine's apt names no mirror of Debian 12"; exit 2; }
  say "making a bare system in $base"
  debootstrap --variant=minbase --include=git,bash bookworm "$base" "$mirror" >"$dir/debootstrap.log" 2>&1 ||
    { tail -n 20 "$dir/debootstrap.log" >&2; exit 1; }
fi

leave() {
  local code=$? mounted
  for mounted in "$run/proc" "$run/dev/pts" "$run/dev"; do
    ! mountpoint -q "$mounted" || umount "$mounted"
  done
  ((keep)) || rm -rf --one-file-system "$run"
  exit "$code"
}

! mountpoint -q "$run/dev" || { say "$run is still in use"; exit 1; }
rm -rf --one-file-system "$run"
trap leave EXIT
cp -a "$base" "$run"
cp -L /etc/resolv.conf /etc/hosts "$run/etc/"
mount -t proc proc "$run/proc"
mount --bind /dev "$run/dev"
mount --bind /dev/pts "$run/dev/pts"
git clone -q --no-hardlinks . "$run/tmxtools"

say "running in the bare system: $*"
started=$SECONDS
code=0
env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root TERM=dumb CI=true \
  chroot "$run" bash -c 'cd /tmxtools && exec "$@"' bash "$@" </dev/null || code=$?
say "ended with $code after $((SECONDS - started)) s"
exit "$code"
