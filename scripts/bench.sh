#!/usr/bin/env bash
# bench.sh [SECTION...]: prints the sender's speed table, its times as ratios, measured in one run;
# all of it or the sections logs, kinds, small, report, start, upload, base64 and size.
# bench.sh collector [OPTION...]: prints the collector's; --reports N stores fewer than 1,000,000.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
if [ "${1:-}" = collector ]; then
  "$repo/scripts/build.sh" collector
  cd "$repo"
  quietly build-bench-collector cmake --build --preset collector --target bare_server sqlite_floor
  say 'Measuring (about 15 minutes)'
  exec bench/collector/run.py "$build" "$build/bench-collector" "${@:2}"
fi
"$repo/scripts/build.sh"
cd "$repo"
quietly build-bench cmake --build --preset windows --target bench_bare_reader bench_empty \
  bench_load_libraries bench_startup bench_tinyxml_report bench_upload_job bench_wininet_loop
quietly build-base64 g++ -std=c++20 -O2 -I. bench/base64.cpp upload/Base64.cpp \
  -o "$build/windows/bench/base64" -lbenchmark -lpthread
start_wine
# Wine's services end with the last program. This one stays, so that they are not started again in
# the middle of a measurement. It reads this script's pipe and ends with the script.
exec 9> >(exec wine cmd /c pause >/dev/null 2>&1)
say 'Measuring (about 6 minutes)'
bench/run.py "$build/windows" "$build/bench-sender" "$@"
