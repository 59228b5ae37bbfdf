#!/usr/bin/env bash
# Prints the speed table: the program's times as ratios, measured in one run.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
"$repo/scripts/build.sh"
cd "$repo"
quietly build-bench cmake --build --preset windows
quietly build-base64 g++ -std=c++20 -O2 -I. bench/base64.cpp upload/Base64.cpp \
  -o "$build/windows/bench/base64" -lbenchmark -lpthread
start_wine
# Wine's services end with the last program. This one stays, so that they are not started again in
# the middle of a measurement. It reads this script's pipe and ends with the script.
exec 9> >(exec wine cmd /c pause >/dev/null 2>&1)
say 'Measuring (about 2 minutes)'
bench/run.py "$build/windows" "$build/bench"
