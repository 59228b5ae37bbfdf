# Shared by the scripts beside it: where things are, progress lines, packages, the Wine environment.
# Source it; it changes nothing but variables of the shell that does.
# shellcheck shell=bash

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build="$repo/build"
logs="$build/logs"
mkdir -p "$logs"

export LC_ALL=C.UTF-8
export WINEPREFIX="${PELTO_WINEPREFIX:-$build/wine-prefix}"
export WINEDEBUG=-all
export WINEDLLOVERRIDES='winedbg.exe=d;mscoree=d;mshtml=d'

# say TEXT: one progress line.
say() {
  if [ -t 1 ]; then printf '\033[1m==> %s\033[0m\n' "$*"; else printf '==> %s\n' "$*"; fi
}

# quietly NAME COMMAND...: runs the command with its output in build/logs/NAME.log and shows the
# end of that file only when the command fails.
quietly() {
  local name=$1 log="$logs/$1.log"
  shift
  if ! "$@" >"$log" 2>&1 </dev/null; then
    tail -n 40 "$log" >&2
    printf '%s failed; the whole output is in %s\n' "$name" "${log#"$repo"/}" >&2
    return 1
  fi
}

as_root() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }

is_installed() {
  [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# install_missing PACKAGE...: installs those of the packages that the machine does not have.
install_missing() {
  local package missing=()
  for package in "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  say "Installing with apt-get (some minutes on a new machine): ${missing[*]}"
  quietly apt-update as_root apt-get update -q &&
    quietly apt-install as_root env DEBIAN_FRONTEND=noninteractive \
      apt-get install -y -q --no-install-recommends "${missing[@]}"
}

# Where the machine gets its packages: address, release, component and origin, a line each.
package_lists() {
  # shellcheck disable=SC2016 # the names are apt-get's to fill in
  apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT) $(ORIGIN)' \
    'Created-By: Packages'
}

# Where the machine gets Debian's main packages: address and release, a line each.
debian_lists() {
  local lists
  lists=$(package_lists)
  if ! grep -q ' Debian$' <<<"$lists"; then
    as_root apt-get update -q >&2 || return 1
    lists=$(package_lists)
  fi
  awk '$4 == "Debian" && $3 == "main" { print $1, $2 }' <<<"$lists"
}

# The prefix's Wine server outlives the program it served, and so does a screen. A script that
# started one ends it.
stop_wine() {
  wineserver_command -k 2>/dev/null || true
  if [ -n "${display_server:-}" ]; then
    kill "$display_server" 2>/dev/null || true
    wait "$display_server" 2>/dev/null || true
  fi
}

# Debian keeps the server beside the loader, not on the path.
wineserver_command() {
  local server
  for server in /usr/lib/wine/wineserver64 /usr/lib/wine/wineserver; do
    if [ -x "$server" ]; then
      "$server" "$@"
      return
    fi
  done
  return 1
}

# Starts a screen of the script's own, where windows come up without disturbing anybody.
start_display() {
  [ -z "${display_server:-}" ] || return 0
  rm -f "$build/display"
  Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$build/display" \
    >"$logs/xvfb.log" 2>&1 </dev/null &
  display_server=$!
  trap stop_wine EXIT
  for _ in {1..100}; do
    [ -s "$build/display" ] && break
    sleep 0.1
  done
  [ -s "$build/display" ] || {
    echo 'The screen did not start; see build/logs/xvfb.log' >&2
    return 1
  }
  DISPLAY=:$(cat "$build/display")
  export DISPLAY
}

# Makes the prefix on first use, and anew when its font has changed, and keeps its server running, so
# that each program starts at once. Windows come up on the screen that DISPLAY names now.
start_wine() {
  if [ ! "$WINEPREFIX/.ready" -nt "$repo/scripts/wine_font.py" ]; then
    say 'Making the Wine prefix (once, about 10 s)'
    # The server of an older prefix may be another shell's, and then does not end by itself.
    wineserver_command -k 2>/dev/null || true
    wineserver_command -w 2>/dev/null || true
    quietly wine-prefix make_prefix || return 1
    : >"$WINEPREFIX/.ready"
  fi
  trap stop_wine EXIT
  wineserver_command -p 2>/dev/null || true
  # The first program starts Wine's services, which keep its standard handles open: with a pipe
  # there, its reader would wait forever.
  wine cmd /c exit >/dev/null 2>&1 </dev/null
}

make_prefix() {
  env -u DISPLAY wine wineboot --init || return 1
  # Without a window manager, closing a window that waits for one takes 2 s.
  env -u DISPLAY wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f || return 1
  # The font from which Windows takes the Chinese and Japanese letters of a dialog.
  env -u DISPLAY wine reg add 'HKCU\Software\Wine\Fonts\Replacements' \
    /v 'MS UI Gothic' /d 'Droid Sans Fallback' /f || return 1
  wineserver_command -w
  local fonts="$WINEPREFIX/drive_c/windows/Fonts"
  cp /usr/share/wine/fonts/tahomabd.ttf "$fonts" || return 1
  "$repo/scripts/wine_font.py" /usr/share/wine/fonts/tahoma.ttf "$fonts/tahoma.ttf"
}

# windows_path PATH: the path as a program under Wine sees it.
windows_path() { printf 'Z:%s' "${1//\//\\}"; }
