#!/usr/bin/env bash
# Runs the Windows unit tests and the end-to-end tests under the generation of Wine that follows
# this machine's: Wine 10, in a root folder of Debian 13 (build/wine-next/root, 1.8 GB, made on first
# use in some minutes). Builds the tests first. Takes no input; its last line is "N passed, N
# failed", and its exit code is 0 only when nothing failed.
#
# Not to be run together with scripts/test.sh in one checkout: both write into build/logs and beside
# the tests. The root folder belongs to the user root, so removing it may need sudo. Its prefix is
# build/wine-next/prefix.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
script="$repo/scripts/wine_next.sh"
next="$build/wine-next"
root="$next/root"

packages=(
  wine wine64 fonts-wine fonts-droid-fallback xvfb xdotool imagemagick cmake python3 openssl tzdata
)

give_up() {
  echo '0 passed, 1 failed'
  exit 1
}

make_root() {
  local address
  address=$(debian_lists | awk '$2 !~ "[-/]" { print $1; exit }')
  # The prefix goes too: Wine would renew it while a screen is there and could then make no window.
  rm -rf --one-file-system "$root" "$next/prefix"
  debootstrap --variant=minbase --include="$(IFS=, && echo "${packages[*]}")" trixie "$root" \
    "$address" || return 1
  echo "${packages[*]}" >"$next/made-with"
}

# As the caller.
build_and_test() {
  "$repo/scripts/build.sh" || give_up
  quietly build-windows cmake --build --preset windows || give_up
  install_missing debootstrap || give_up
  local elevate=()
  [ "$(id -u)" = 0 ] || elevate=(sudo)
  exec "${elevate[@]}" "$script" --as-root "$(id -u):$(id -g)"
}

# The end of the process that runs this ends all the others: they are in a process namespace, whose
# mounts and processes go with its first process.
test_in_namespace() {
  unshare --mount --pid --fork --kill-child "$script" --in-namespace "$1" &
  local namespace=$! result=0
  # shellcheck disable=SC2064 # the number now
  trap "kill -KILL $namespace 2>/dev/null || true" EXIT
  trap 'give_up' INT TERM
  wait "$namespace" || result=$?
  exit "$result"
}

test_in_root() {
  if [ "$(cat "$next/made-with" 2>/dev/null)" != "${packages[*]}" ]; then
    say 'Making the root folder of Debian 13 (once, about 3 minutes)'
    quietly wine-next make_root || give_up
  fi
  install -d -o "${1%:*}" -g "${1#*:}" "$next/prefix"
  { mkdir -p "$root$repo" && mount --bind "$repo" "$root$repo" &&
    mount --rbind /dev "$root/dev" && mount -t proc proc "$root/proc"; } || give_up
  exec chroot --userspec="$1" "$root" \
    env -i PATH=/usr/bin:/bin HOME=/tmp PELTO_WINEPREFIX="$next/prefix" \
    "$repo/scripts/test.sh" --built windows e2e
}

case "${1:-}" in
  '') build_and_test ;;
  --as-root) test_in_namespace "$2" ;;
  --in-namespace) test_in_root "$2" ;;
esac
