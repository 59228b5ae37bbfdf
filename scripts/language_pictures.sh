#!/usr/bin/env bash
# Takes the pictures in docs/languages: the dialog in the languages of samples/language, under Wine.
# Builds what it shows first. Look at each picture before you commit it.
#
#   scripts/language_pictures.sh             those that docs/languages.md shows
#   scripts/language_pictures.sh LOCALE...   others, such as it_IT
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
pictures="$repo/docs/languages"

"$repo/scripts/build.sh"
quietly build-languages cmake --build "$build/windows" --target language_sample
start_display
start_wine

work=$(mktemp -d)
trap 'rm -rf "$work"; stop_wine' EXIT
cp "$build/windows/PELTOSender.exe" "$build"/windows/samples/language/LangExt*.dll "$work"
mkdir -p "$pictures"
[ $# -gt 0 ] || set -- de_DE fr_FR es_ES pl_PL ja_JP zh_CN ar_EG
for locale in "$@"; do
  # Any locale serves as that of a language, under its name.
  ln -s /usr/lib/locale/C.utf8 "$work/$locale.UTF-8"
  LC_ALL=$locale.UTF-8 LOCPATH=$work wine "$work/PELTOSender.exe" dlg "$(windows_path "$work/data")" \
    >"$logs/language-pictures.log" 2>&1 </dev/null &
  program=$!
  window=$(timeout 30 xdotool search --sync --onlyvisible --class . | tail -n 1)
  # Until it is painted.
  sleep 1
  import -window "$window" "$work/dialog.png"
  # Few colors make a small file; the gradient stays smooth enough.
  convert "$work/dialog.png" -colors 128 -strip -define png:exclude-chunk=all \
    -define png:compression-level=9 "PNG8:$pictures/${locale%_*}.png"
  xdotool key Escape
  wait "$program"
  say "docs/languages/${locale%_*}.png"
done
