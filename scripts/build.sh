#!/usr/bin/env bash
# Builds build/windows/PELTOSender.exe; scripts/build.sh collector builds
# build/collector/pelto-collector.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
program=${1:-sender}
case "$program" in
  sender) preset=windows target=PELTOSender file=windows/PELTOSender.exe duration='20 s' ;;
  collector) preset=collector target=pelto-collector file=collector/pelto-collector duration='2 minutes' ;;
  *)
    echo "There is no program \"$program\": scripts/build.sh [sender|collector]" >&2
    exit 1
    ;;
esac
"$repo/scripts/setup.sh"

cd "$repo"
[ -e "$build/$file" ] || say "Building the $program (the first time, about $duration)"
options=()
if [ "$program" = collector ]; then
  scripts/pages.sh
  options=(-D PELTO_PAGES=ON)
fi
quietly "configure-$preset" cmake --preset "$preset" "${options[@]}"
quietly "build-$preset" cmake --build --preset "$preset" --target "$target"
