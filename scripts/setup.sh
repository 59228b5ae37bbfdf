#!/usr/bin/env bash
# Installs what the build, the tests and the demo need and is missing: Debian packages.
# Quick and silent when there is nothing to do.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

packages=(
  g++-mingw-w64-x86-64-posix wine wine64 cmake ninja-build g++ dpkg-dev python3 mawk
  googletest patch clang clang-tidy clang-format libclang-rt-14-dev shellcheck git
)

as_root() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }

is_installed() {
  [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

missing=()
for package in "${packages[@]}"; do
  is_installed "$package" || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
  say "Installing ${missing[*]} (some minutes on a new machine)"
  quietly apt-update as_root apt-get update -q
  quietly apt-install as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
