#!/usr/bin/env bash
# The checks of the project. Takes no input; its last line is "N passed, N failed", and its exit code
# is 0 only when nothing failed and every step could run.
#
#   scripts/test.sh            everything but the last four of these
#   scripts/test.sh STEP...    some steps: format shell spelling docs pages native fuzz collector tidy
#                              windows e2e together documents; the last two take the collector that
#                              the step collector built
#   scripts/test.sh clang      not part of everything: the Windows build with a second compiler, its
#                              unit tests, and the traces of its steps (2 minutes)
#   scripts/test.sh browser    not part of everything: the collector's pages in Chromium (1 minute,
#                              and 2 minutes to build the collector; not if PELTO_COLLECTOR names
#                              a program that has the pages in it)
#   scripts/test.sh threads    not part of everything: the collector's storage and server, and its
#                              end-to-end tests, under the thread sanitizer (about 10 minutes)
#   scripts/test.sh package    not part of everything: makes what is shipped twice, compares, and
#                              installs the collector's package (about 10 minutes)
#   scripts/test.sh --built STEP...
#                              the steps windows and e2e with what is built already: installs and
#                              builds nothing
set -uo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
built=
if [ "${1:-}" = --built ]; then
  built=yes
  shift
fi
[ -n "$built" ] || "$repo/scripts/setup.sh" || { echo '0 passed, 1 failed'; exit 1; }
cd "$repo" || exit 1

passed=0
failed=0
count() {
  passed=$((passed + $1))
  failed=$((failed + $2))
  printf '    %s passed, %s failed\n' "$1" "$2"
}

# check NAME COMMAND...: one check.
check() {
  if quietly "$@"; then count 1 0; else count 0 1; fi
}

# The tests of one build by CTest, counted one by one from what GoogleTest wrote. A program that
# ends before it has written that counts as a failure, and so does CTest's own.
ctest_build() {
  local preset=$1 result=0 counts fixed=()
  rm -f "$build/$preset"/tests/*.xml
  # In a randomized address space, Wine's loader gives up about one start in ten thousand. Where the
  # machine refuses to do without, that chance remains.
  if [[ $preset == windows* ]] && setarch --addr-no-randomize true 2>/dev/null; then
    fixed=(setarch --addr-no-randomize)
  fi
  quietly "ctest-$preset" "${fixed[@]}" ctest --preset "$preset" || result=1
  counts=$(scripts/tally.py "$preset" "$result") || counts='0 1'
  # shellcheck disable=SC2086 # two numbers
  count $counts
}

step_format() {
  say 'Format'
  check clang-format bash -o pipefail -c "git ls-files -z --cached --others --exclude-standard \
    '*.cpp' '*.h' | xargs -0 clang-format --dry-run -Werror"
}

step_shell() {
  say 'Shell scripts'
  check shellcheck shellcheck -x scripts/*.sh ui/artwork/render.sh .ci/run \
    packaging/collector/{postinst,prerm,postrm}
}

step_spelling() {
  say 'Spelling'
  check spelling scripts/spelling.sh
}

step_docs() {
  say 'Documents'
  check compatibility scripts/check_compatibility.py
  check mutants-table scripts/mutants.py --list
  check documents-text python3 -m unittest discover -s tests/documents -p test_text.py
}

step_tidy() {
  say 'clang-tidy (about 2 minutes)'
  check tidy scripts/tidy.sh
}

step_native() {
  say 'Rules, here, under sanitizers'
  check configure-native cmake --preset native
  check build-native cmake --build --preset native
  ctest_build native
}

step_fuzz() {
  say 'Fuzz targets (20 s, side by side)'
  check configure-fuzz cmake --preset fuzz
  check build-fuzz cmake --build --preset fuzz
  local path folder target runs=()
  for path in tests/fuzz/{command_line,log_reader,report_load,upload_address,upload_answer} \
    tests/collector/fuzz/{form,payload,report}; do
    folder=${path%/*}
    target=${path##*/}
    mkdir -p "$build/fuzz/found/$target"
    quietly "fuzz-$target" "$build/fuzz/$folder/fuzz_$target" -max_total_time=20 -max_len=4096 \
      -timeout=20 -artifact_prefix="$build/fuzz/found/$target-" \
      "$build/fuzz/found/$target" "$folder/corpus/$target" &
    runs+=($!)
  done
  local run
  for run in "${runs[@]}"; do
    if wait "$run"; then count 1 0; else count 0 1; fi
  done
}

step_clang() {
  say 'The Windows build with clang, and what it built under Wine (about 2 minutes)'
  check configure-windows-clang cmake --preset windows-clang
  check build-windows-clang cmake --build --preset windows-clang
  { start_display && start_wine; } || count 0 1
  ctest_build windows-clang
  check clang-log-handle env -C tests/e2e PELTO_EXE="$build/windows-clang/PELTOSender.exe" \
    PELTO_TRACES=yes python3 -m unittest test_log_handle.ReportDocument test_trace
  # That ran without a screen, and so would the windows of the next step.
  wineserver_command -k
  wineserver_command -w
}

build_windows() {
  say 'Build for Windows'
  check configure-windows cmake --preset windows
  check build-windows cmake --build --preset windows
}

step_windows() {
  say 'Unit tests under Wine (about half a minute)'
  { start_display && start_wine; } || count 0 1
  ctest_build windows
}

# run_e2e NAME COMMAND...: end-to-end tests, counted by what the command writes into the file that
# follows as its last argument.
run_e2e() {
  local name=$1 result=0 counts
  shift
  rm -f "$build/$name.counts"
  quietly "$name" "$@" "$build/$name.counts" || result=1
  counts=$(cat "$build/$name.counts" 2>/dev/null) || counts='0 1'
  # It failed, but no test did: there was none.
  [ "$result" = 1 ] && [ "${counts#* }" = 0 ] && counts='0 1'
  # shellcheck disable=SC2086 # two numbers
  count $counts
}

# run_pages NAME KIND: the tests of the pages of that kind.
run_pages() {
  # shellcheck disable=SC2016 # the arguments of that shell
  run_e2e "$1" bash -c 'PELTO_COUNTS=$2 exec npm --prefix collector/web run --silent test "$1"' - "$2"
}

step_e2e() {
  say 'End to end (about 2 minutes)'
  start_wine || count 0 1
  run_e2e e2e tests/e2e/run.py
}

step_collector() {
  say 'The collector under the address sanitizer (about 5 minutes)'
  check configure-collector-address cmake --preset collector-address
  check build-collector-address cmake --build --preset collector-address
  ctest_build collector-address
  run_e2e collector-e2e \
    env PELTO_COLLECTOR="$build/collector-address/pelto-collector" tests/collector/e2e/run.py
}

step_pages() {
  say "The collector's pages (about a minute)"
  check build-pages scripts/pages.sh
  check types npm --prefix collector/web run --silent check
  check lint npm --prefix collector/web run --silent lint
  run_pages pages-unit unit
}

step_browser() {
  say 'The pages in a browser (about a minute)'
  if [ -n "${PELTO_COLLECTOR:-}" ]; then
    PELTO_COLLECTOR=$(realpath "$PELTO_COLLECTOR")
    export PELTO_COLLECTOR
  else
    check build-collector scripts/build.sh collector
  fi
  run_pages pages-browser browser
}

# memory_has_room: whether 8 GB of /dev/shm and of the memory are free, and programs can run there.
memory_has_room() {
  local megabytes=8192
  [ "$(df --output=avail --block-size=1M /dev/shm 2>/dev/null | tail -n 1)" -ge "$megabytes" ] &&
    [ "$(awk '$1 == "MemAvailable:" { print int($2 / 1024) }' /proc/meminfo)" -ge "$megabytes" ] &&
    ! findmnt -no OPTIONS /dev/shm | grep -qw noexec
} 2>/dev/null

# package_elsewhere FOLDER: packs a clone in another folder, on another file system if there is one with
# room, for somebody with other settings and with changes that are not committed. In a shell of its own,
# at whose end the folder goes.
package_elsewhere() (
  place=${TMPDIR:-/tmp}
  ! memory_has_room || place=/dev/shm
  folder=$(mktemp -d -p "$place" pelto-elsewhere.XXXXXXXX) || exit 1
  trap 'rm -rf "$folder"' EXIT
  clone="$folder/deeper/clone"
  home="$folder/home"
  # Not settings of the build: where npm fetches packages, and keeps them.
  npm_config_cache=$(npm config get cache) || exit 1
  npm_config_userconfig=$(npm config get userconfig) || exit 1
  export npm_config_cache npm_config_userconfig
  git clone -q "$repo" "$clone" &&
    mkdir -p "$clone/build/deps" && cp -r "$build/deps/." "$clone/build/deps" &&
    cp -r collector/web/node_modules "$clone/collector/web" &&
    echo 'No valid source any more' | tee -a "$clone/app/Main.cpp" "$clone/build/deps/tinyxml/tinyxml.cpp" \
      "$clone/collector/web/node_modules/d3-array/dist/d3-array.mjs" >/dev/null &&
    echo 'A new file' >"$clone/samples/host/new.txt" &&
    mkdir -p "$home/.config/dpkg" && echo 'APPEND CXXFLAGS -O0' >"$home/.config/dpkg/buildflags.conf" &&
    umask 077 && env HOME="$home" TMPDIR="$folder" TZ=Asia/Tokyo CXXFLAGS=-O0 \
      LDFLAGS=-Wl,--build-id=none "$clone/scripts/package.sh" "$1"
)

step_package() {
  say 'What is shipped: packed twice, compared, looked at and installed (about 10 minutes)'
  check package scripts/package.sh
  rm -rf "$build/package-elsewhere"
  check package-elsewhere package_elsewhere "$build/package-elsewhere"
  check package-same diff -r "$build/package" "$build/package-elsewhere"
  check package-names-changes grep -F samples/host/new.txt "$logs/package-elsewhere.log"
  check package-release python3 tests/package/test_release.py
  check package-debian as_root python3 tests/package/test_debian.py
  start_wine || count 0 1
  rm -rf "$build/package-program"
  check package-unzip unzip -q -d "$build/package-program" "$build"/package/PELTOSender-*-x64.zip
  check package-program env -C tests/e2e PELTO_EXE="$build/package-program/PELTOSender.exe" \
    python3 -m unittest test_log_handle.ReportDocument
}

step_threads() {
  say "The collector under the thread sanitizer (about 10 minutes)"
  check configure-collector-thread cmake --preset collector-thread
  check build-collector-thread cmake --build --preset collector-thread \
    --target storage_tests serve_tests pelto-collector
  ctest_build collector-thread
  run_e2e collector-threads-e2e env PELTO_PATIENCE=300 \
    PELTO_COLLECTOR="$build/collector-thread/pelto-collector" tests/collector/e2e/run.py
}

step_together() {
  say 'The program delivers to the collector'
  start_wine || count 0 1
  check together env PYTHONPATH="$repo/tests/e2e:$repo/tests/collector/e2e" \
    PELTO_COLLECTOR="$build/collector-address/pelto-collector" \
    python3 -m unittest discover -s tests/together
}

# follow MODULE: the tests of that module, with what the end-to-end tests of both programs use.
follow() {
  quietly "documents-$1" env -C tests/documents \
    PYTHONPATH="$repo/tests/e2e:$repo/tests/collector/e2e" \
    PELTO_COLLECTOR="$build/collector-address/pelto-collector" python3 -m unittest "$1"
}

step_documents() {
  say 'The documents, followed with both programs (about 20 s)'
  { start_display && start_wine; } || count 0 1
  follow test_collector &
  local collector=$!
  if follow test_sender; then count 1 0; else count 0 1; fi
  if wait "$collector"; then count 1 0; else count 0 1; fi
}

started=$SECONDS
steps=("$@")
[ $# -gt 0 ] || steps=(format shell spelling docs pages native fuzz collector tidy windows e2e together
  documents)
[ -z "$built" ] && [[ " ${steps[*]} " =~ \ (tidy|windows|e2e|together|documents)\  ]] && build_windows
for step in "${steps[@]}"; do
  if declare -F "step_$step" >/dev/null; then
    "step_$step"
  else
    say "There is no step \"$step\""
    count 0 1
  fi
done

say "$((SECONDS - started)) s"
echo "$passed passed, $failed failed"
[ "$failed" = 0 ] && [ "$passed" != 0 ]
