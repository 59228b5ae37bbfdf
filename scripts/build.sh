#!/usr/bin/env bash
# Builds build/windows/PELTOSender.exe.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
"$repo/scripts/setup.sh"

cd "$repo"
[ -e "$build/windows/PELTOSender.exe" ] || say 'Building the program (the first time, about 20 s)'
quietly configure-windows cmake --preset windows
quietly build-windows cmake --build --preset windows --target PELTOSender
