#!/usr/bin/env bash
# Builds the collector's pages in build/web, if their sources have changed since.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
cd "$repo/collector/web"

built="$build/web/viewer.html"
if [ ! -e "$built" ] || [ -n "$(find src build.mjs package-lock.json -newer "$built")" ]; then
  quietly build-pages npm run --silent build
fi
