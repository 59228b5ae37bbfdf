#!/usr/bin/env bash
# Shows what the two programs do. The sender: the dialog asks the user, who takes part and works for
# two days with the sample of a host application, which writes the logs. After each day they are
# counted into the report. Then the report is sent to a test server on loopback that accepts it,
# refuses the next one, and takes that at the second try. The collector: it starts with the reports
# of 2,000 simulated installations over 13 periods of 28 days, the sender sends it a report, and it
# shows what it knows, as figures and on its pages.
#
#   scripts/demo.sh                waits for your answer in the dialog, and at the end leaves the
#                                  collector running until you press Enter
#   scripts/demo.sh --unattended   answers the dialog through its window, on a screen of its own,
#                                  and saves screenshots of it and of the pages; so does a demo
#                                  without a screen
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
"$repo/scripts/build.sh"
"$repo/scripts/build.sh" collector
quietly demo-host cmake --build --preset windows --target SampleHost
unattended=
[ "${1:-}" = --unattended ] || [ -z "${DISPLAY:-}" ] && unattended=yes
[ -z "$unattended" ] || start_display
start_wine

demo="$build/demo"
rm -rf "$demo"
mkdir -p "$demo/logs"
data="$demo/Example/Usage"
mkdir -p "$data"

show_logs() {
  if compgen -G "$demo/logs/*" >/dev/null; then
    (cd "$demo/logs" && wc -l -- *) | sed 's/^/    /'
  else
    echo '    (none)'
  fi
}

run_program() {
  wine "$build/windows/PELTOSender.exe" "$@" >/dev/null 2>&1 </dev/null
}

# work DAY: the host application plays what a user did on that day.
work() {
  wine "$build/windows/SampleHost.exe" "$(windows_path "$build/windows/PELTOSender.exe")" \
    http://127.0.0.1/ "$(windows_path "$data")" "$(windows_path "$demo/logs")" \
    "$(windows_path "$repo/samples/host/$1.txt")" >/dev/null 2>&1 </dev/null
}

log_handle() {
  say 'PELTOSender log_handle <data folder> <log folder>'
  run_program log_handle "$(windows_path "$data")" "$(windows_path "$demo/logs")"
}

show_data_folder() {
  say 'The data folder and the dates in the settings'
  (cd "$data" && wc -c -- Pelto*) | sed '/total$/d; s/^/    /; s/$/ (bytes)/'
  grep -a '^Last[TS]' "$data/PeltoReport.ini" | tr -d '\r' | sed 's/^/    /' || true
}

# duty [ADDRESS]: the upload to the test server, or to another address.
duty() {
  say 'PELTOSender duty <upload address> <data folder> <application name> <executable>'
  run_program duty "${1:-http://127.0.0.1:$port/collect?product=7}" "$(windows_path "$data")" \
    'Example Designer' "$(windows_path "$build/windows/PELTOSender.exe")"
}

# One more day of work, 28 days after the last transmission.
next_period() {
  work monday
  log_handle
  sed -i 's/^LastTransmissionDate=.*/LastTransmissionDate=2026-01-01T00:00:00Z\r/' \
    "$data/PeltoReport.ini"
}

stop_server() { kill "$server" 2>/dev/null || true; }

# Answers the dialog as assistive tools do, and takes a screenshot before and after. Fails without a
# dialog.
answer_dialog() {
  local driver answer place
  coproc driver {
    timeout 60 wine "$build/windows/tests/dialog_driver.exe" 2>/dev/null
  }
  ask() {
    echo "$1" >&"${driver[1]}"
    read -r -t 30 answer <&"${driver[0]}"
  }
  shoot() {
    # The screen needs a moment to paint.
    sleep 0.5
    import -window root -crop "$place" +repage "$demo/$1.png"
  }
  ask 'wait 20000' && [ "$answer" = true ] || return 1
  ask window
  place=${answer#*\"area\":[}
  place=$(awk -F, '{ print $3 "x" $4 "+" $1 "+" $2 }' <<<"${place%%]*}")
  shoot dialog
  ask 'click 1001'
  ask 'text 1004 user@example.com'
  shoot dialog-answered
  ask 'click 1'
  ask 'gone 10000' && [ "$answer" = true ]
}

say 'PELTOSender dlg <data folder>: the dialog asks the user'
if [ -n "$unattended" ]; then
  quietly demo-driver cmake --build --preset windows --target dialog_driver
  run_program dlg "$(windows_path "$data")" &
  dialog=$!
  answer_dialog || kill "$dialog"
  wait "$dialog"
  echo "    Screenshots in ${demo#"$repo"/}: dialog.png, and dialog-answered.png with the answer"
else
  echo '    Please answer the dialog. The demo goes on only if you choose "Yes".'
  run_program dlg "$(windows_path "$data")"
fi
say 'The settings after the answer: PeltoReport.ini'
sed 's/^/    /' "$data/PeltoReport.ini"
if ! grep -q '^PeltoState=1' "$data/PeltoReport.ini"; then
  say 'The user does not take part, so no log is read and nothing is sent'
  exit 0
fi

for day in monday tuesday; do
  say "SampleHost: the host application writes the logs of $day, with these numbers of lines"
  work "$day"
  show_logs
  log_handle
  say 'The logs after the run'
  show_logs
  say "The counts in the report after $day"
  "$repo/scripts/show_report.py" "$data/PeltoReport.xml" | sed 's/^/    /'
done

say 'The report: PeltoReport.xml'
iconv -f cp1252 "$data/PeltoReport.xml" | sed 's/^/    /'

say 'A test server starts on loopback: it accepts, refuses, and accepts again'
"$repo/tests/e2e/collector.py" --answers OK,REFUSE,OK --out "$demo/received" >"$demo/port" &
server=$!
trap 'stop_server; stop_wine' EXIT
until [ -s "$demo/port" ]; do sleep 0.1; done
port=$(cat "$demo/port")
show_data_folder
duty
show_data_folder

say 'One more session, and the 28 days until the next transmission have passed'
next_period
show_data_folder
say 'The server refuses: the report is kept and no date is written'
duty
show_data_folder
say 'The next run delivers the same report'
duty
show_data_folder

wait "$server"
say 'The first request as the server received it'
cut -c 1-100 "$demo/received/request-1.txt" | sed 's/^/    /'
say 'The report in it; every upload sends the last character twice'
iconv -f cp1252 "$demo/received/report-1.xml" | head -n 8 | sed 's/^/    /'
say 'Its description of the machine'
iconv -f cp1252 "$demo/received/report-1.xml" | grep ' cat=' | sed 's/^ */    /'
if cmp -s "$demo/received/report-2.xml" "$demo/received/report-3.xml"; then
  say 'The refused report and the one delivered after it are equal'
fi

collector="$build/collector/pelto-collector"
collected="$demo/collector"
say 'pelto-collector fleet: simulates 2,000 installations over 13 periods of 28 days'
"$collector" fleet --installations 2000 --periods 13 --seed 7 --until "$(date -u +%F)" \
  --ndjson "$demo/fleet.ndjson" --truth "$demo/truth.json" | sed 's/^/    /'
say 'pelto-collector import: takes their reports'
"$collector" import "$demo/fleet.ndjson" --data "$collected" | sed 's/^/    /'
say 'pelto-collector serve: the collector listens'
"$collector" serve --data "$collected" --intake 127.0.0.1:0 --pages 127.0.0.1:0 \
  >"$demo/collector.out" 2>"$demo/collector.log" &
server=$!
until grep -q '^ready$' "$demo/collector.out"; do
  kill -0 "$server" || { cat "$demo/collector.log" >&2; exit 1; }
  sleep 0.1
done
sed 's/^/    /' "$demo/collector.out"
say 'One more day of work, and the 28 days have passed: the report goes to the collector'
next_period
duty "$(awk '$1 == "intake" { print $2 }' "$demo/collector.out")"
show_data_folder
say 'pelto-collector export: what it keeps of this installation'
installation=$(sed -n 's/^ID=\([^\r]*\).*/\1/p' "$data/PeltoReport.ini")
"$collector" export --data "$collected" --installation "$installation" |
  fold -w 100 | sed 's/^/    /'
say 'pelto-collector figures overview: the last period is withheld, it rests on one installation'
"$collector" figures overview --data "$collected" --format csv | column -s, -t | sed 's/^/    /'
say 'pelto-collector figures commands: the ten that are used most'
"$collector" figures commands --data "$collected" --format csv | sed -n 1,11p | column -s, -t |
  sed 's/^/    /'
say 'pelto-collector figures intake'
"$collector" figures intake --data "$collected" | sed 's/^/    /'
link=$(grep -o 'http://[^ ]*/setup#.*' "$demo/collector.log")
intake=$(awk '$1 == "intake" { print $2 }' "$demo/collector.out")
if [ -n "$unattended" ]; then
  say 'The pages, after the first account has been made with the one-time link'
  quietly demo-pages node "$repo/collector/web/shoot.mjs" "$link" "$intake" \
    "$demo/received/report-1.xml" "$demo/pages"
  (cd "$demo" && ls pages/*.png) | column -c 80 | sed 's/^/    /'
else
  say 'The pages wait for you'
  echo "    Make the first account with this link: $link"
  echo "    What a participant sees: ${intake%/collect}/mine"
  read -r -p '    Press Enter to end the collector. '
fi
kill -TERM "$server"
wait "$server"
say 'What the collector logged of the delivery'
grep -F path=/collect "$demo/collector.log" | sed 's/^/    /'

say "All files are in ${demo#"$repo"/}"
