#!/usr/bin/env bash
# Takes the pictures in docs/languages: the dialog in the languages of samples/language, under Wine.
# Builds what it shows first. Look at each picture before you commit it.
#
#   scripts/language_pictures.sh                      those that docs/languages.md shows
#   scripts/language_pictures.sh LANGUAGE=LOCALE...   others, such as it=it_IT: a language of the
#                                                     sample, and a user who gets it
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
[ $# -gt 0 ] || set -- de=de_DE fr=fr_FR es=es_ES pl=pl_PL ja=ja_JP zh-Hans=zh_CN ar=ar_EG
for pair in "$@"; do
  language=${pair%=*}
  locale=${pair#*=}
  [ -f "$work/LangExt.$language.dll" ] || {
    echo "$pair: the sample has no language $language" >&2
    exit 1
  }
  # Any locale serves as that of a language, under its name.
  ln -s /usr/lib/locale/C.utf8 "$work/$locale.UTF-8"
  LC_ALL=$locale.UTF-8 LOCPATH=$work wine "$work/PELTOSender.exe" dlg "$(windows_path "$work/data")" \
    >"$logs/language-pictures.log" 2>&1 </dev/null &
  program=$!
  window=$(timeout 30 xdotool search --sync --onlyvisible --class . | tail -n 1)
  # Until it is painted.
  sleep 1
  import -window "$window" "$work/dialog.png"
  # With all colors: fewer would show as bands or specks in the panel.
  convert "$work/dialog.png" -strip -define png:exclude-chunk=all -define png:compression-level=9 \
    "PNG24:$pictures/$language.png"
  xdotool key Escape
  wait "$program"
  say "docs/languages/$language.png"
done
