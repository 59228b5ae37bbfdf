#!/usr/bin/env bash
# Shows the program's main job on the sample logs: a user who takes part works for two days, and
# after each the logs become counts in the report.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
"$repo/scripts/build.sh"
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

say 'The user has answered "Yes" and left an e-mail address: PeltoReport.ini'
printf '[General]\r\nPeltoState=1\r\nEmail=user@example.com\r\nShowMessage=1\r\n' \
  >"$data/PeltoReport.ini"
sed 's/^/    /' "$data/PeltoReport.ini"

for day in monday tuesday; do
  say "The logs of $day, in lines"
  cp "$repo/samples/$day"/*.log "$demo/logs/"
  show_logs
  say 'PELTOSender log_handle <data folder> <log folder>'
  wine "$build/windows/PELTOSender.exe" log_handle "$(windows_path "$data")" \
    "$(windows_path "$demo/logs")" >/dev/null 2>&1 </dev/null
  say 'The logs that are left'
  show_logs
  say "What the report says after $day"
  "$repo/scripts/show_report.py" "$data/PeltoReport.xml" | sed 's/^/    /'
done

say 'The report itself: PeltoReport.xml'
iconv -f cp1252 "$data/PeltoReport.xml" | sed 's/^/    /'
say "All of it stands in ${demo#"$repo"/}"
