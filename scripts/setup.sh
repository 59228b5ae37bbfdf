#!/usr/bin/env bash
# Installs what the build, the tests and the demo need and is missing: Debian packages, TinyXML's
# source with Debian's patches, nginx in a folder of the build, and the packages of the pages. Says
# what it installs before it does so; is quick and silent when nothing is missing.
#
#   scripts/setup.sh
#   scripts/setup.sh --no-nginx   leaves out nginx, which only tests need
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
deps="$build/deps"

packages=(
  g++-mingw-w64-x86-64-posix wine wine64 cmake ninja-build g++ dpkg-dev python3 mawk
  googletest libbenchmark-dev patch clang clang-tidy clang-format libclang-rt-14-dev shellcheck
  libboost1.81-dev libcli11-dev libicu-dev libroaring-dev libsodium-dev libsqlitecpp-dev
  libssl-dev libzstd-dev nlohmann-json3-dev faketime systemd bsdextrautils
  file groff-base unzip codespell openssl git xvfb xdotool imagemagick fonts-wine librsvg2-bin locales tzdata
  chromium-headless-shell fonts-dejavu-core fonts-droid-fallback
)
# A Node.js that is not Debian's brings npm along, and Debian's npm cannot be installed beside it.
command -v npm >/dev/null || packages+=(nodejs npm)

# TinyXML as Debian 12 has it. With another version, change these lines together.
tinyxml_version=2.6.2-6+deb12u1
tinyxml_checksums="\
1f1500f6ff3c627327ebe3fffa702ab3ccc0cd8af0b2cd046bad5cde5f538f5f  tinyxml_2.6.2-6+deb12u1.dsc
15bdfdcec58a7da30adc87ac2b078e4417dbe5392f3afb719f9ba6d062645593  tinyxml_2.6.2.orig.tar.gz
577ca162ec4db57e0be5f64a8e4813a72dcdab928ef690585f3300387262df78  tinyxml_2.6.2-6+deb12u1.debian.tar.xz"

install_missing "${packages[@]}"

# TinyXML as a Windows library exists nowhere, so its source is built with the program. The
# list of source packages is this script's own: the machine's lists stay as they are.
download_tinyxml() {
  local apt="$deps/apt"
  rm -rf "$apt" "$deps"/tinyxml*
  mkdir -p "$apt/lists/partial" "$apt/cache/archives/partial" "$apt/parts"
  debian_lists | awk '!seen[$0]++ {
    print "deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg]", $1, $2, "main"
  }' >"$apt/sources.list"
  local options=(
    -o "Dir::Etc::SourceList=$apt/sources.list" -o "Dir::Etc::SourceParts=$apt/parts"
    -o "Dir::State::lists=$apt/lists" -o "Dir::Cache=$apt/cache"
    -o "APT::Sandbox::User=$(id -un)" -o APT::Get::List-Cleanup=0
  )
  if ! apt-get "${options[@]}" update -q ||
    ! (cd "$deps" &&
      apt-get "${options[@]}" source -q --download-only "tinyxml=$tinyxml_version"); then
    echo "The source package of TinyXML $tinyxml_version could not be fetched."
    return 1
  fi
  rm -rf "$apt"
  if ! check_tinyxml; then
    rm -f "$deps"/tinyxml*
    echo "The fetched source of TinyXML $tinyxml_version does not have the checksums that" \
      "scripts/setup.sh expects. It has been deleted."
    return 1
  fi
}

check_tinyxml() { (cd "$deps" && sha256sum --check --strict <<<"$tinyxml_checksums"); }

unpack_tinyxml() {
  rm -rf "$deps"/tinyxml "$deps"/tinyxml-[0-9]*
  (cd "$deps" && dpkg-source -q -x "tinyxml_$tinyxml_version.dsc") &&
    # This one patch is for users of Debian's own binary: it forces the iostream interface, which
    # would make the executable 1.5 times as large.
    (cd "$deps"/tinyxml-[0-9]* && patch -R -p1 <debian/patches/enforce-use-stl.patch) &&
    mv "$deps"/tinyxml-[0-9]* "$deps/tinyxml"
}

if [ ! -e "$deps/tinyxml/tinyxml.h" ] || [ ! -e "$deps/tinyxml_$tinyxml_version.dsc" ]; then
  mkdir -p "$deps"
  if ! check_tinyxml >/dev/null 2>&1; then
    say "Fetching the source package of TinyXML $tinyxml_version"
    quietly tinyxml download_tinyxml
  fi
  quietly tinyxml-unpack unpack_tinyxml
fi

# Installed as a package, nginx would start as a service of this machine. The tests only need the
# program.
fetch_nginx() {
  rm -rf "$deps"/nginx*
  (
    cd "$deps" || exit 1
    apt-get download -q nginx || { as_root apt-get update -q && apt-get download -q nginx; } || exit 1
    dpkg-deb -x nginx_*.deb nginx.part && mv nginx.part nginx && rm nginx_*.deb
  )
}

if [ "${1:-}" != --no-nginx ] && [ ! -x "$deps/nginx/usr/sbin/nginx" ]; then
  say 'Fetching nginx'
  quietly nginx fetch_nginx
fi

# What npm installed names itself in this file. Nothing of it runs when it is installed.
pages="$repo/collector/web"
if [ ! "$pages/node_modules/.package-lock.json" -nt "$pages/package-lock.json" ]; then
  say 'Fetching the packages of the pages with npm'
  (cd "$pages" && quietly npm-pages npm ci --ignore-scripts --prefer-offline)
fi
