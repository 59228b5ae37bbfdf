#!/usr/bin/env bash
# Runs clang-tidy over the programs' own sources as they are built: the sender's for Windows, the
# collector's for this machine. Needs the compile_commands.json of both builds.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
cd "$repo"

headers=$(echo /usr/lib/gcc/x86_64-w64-mingw32/*-posix/include/c++)
arguments=(--target=x86_64-w64-windows-gnu
  -isystem "$headers" -isystem "$headers/x86_64-w64-mingw32" -isystem "$headers/backward"
  -Wno-unknown-warning-option)
extra=()
for argument in "${arguments[@]}"; do extra+=("--extra-arg=$argument"); done
sources() { git ls-files --cached --others --exclude-standard -- "$@"; }
sources 'app/*.cpp' 'framework/*.cpp' 'platform/*.cpp' 'store/*.cpp' 'survey/*.cpp' 'ui/*.cpp' \
  'upload/*.cpp' 'usage/*.cpp' |
  xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p "$build/windows" "${extra[@]}"
sources 'collector/*.cpp' |
  xargs -P "$(nproc)" -n 2 clang-tidy --quiet -p "$build/collector-address" \
    --extra-arg=-Wno-unknown-warning-option
