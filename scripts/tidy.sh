#!/usr/bin/env bash
# Runs clang-tidy over the programs' own sources as they are built.
#
#   scripts/tidy.sh             the sender, for Windows
#   scripts/tidy.sh collector   the collector: some 10 minutes, which its libraries' headers take
#
# Needs the compile_commands.json of the preset windows.
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
if [ "${1:-}" = collector ]; then
  # Without the precompiled headers of another compiler.
  quietly configure-collector cmake --preset collector
  sources 'collector/*.cpp' | xargs -P "$(nproc)" -n 2 clang-tidy --quiet -p "$build/collector" \
    --extra-arg=-Wno-unknown-warning-option
  exit
fi
sources 'app/*.cpp' 'framework/*.cpp' 'platform/*.cpp' 'samples/*.cpp' 'store/*.cpp' \
  'survey/*.cpp' 'ui/*.cpp' 'upload/*.cpp' 'usage/*.cpp' |
  xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p "$build/windows" "${extra[@]}"
