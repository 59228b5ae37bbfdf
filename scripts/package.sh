#!/usr/bin/env bash
# Makes what is shipped, from the last commit:
#
#   scripts/package.sh [FOLDER]   in build/package, which is made anew, or in FOLDER, which must be new
#
#   PELTOSender-VERSION-windows-x64.zip          the program, samples and documents for an integrator
#   PELTOSender-VERSION-windows-x64-symbols.zip  the program's debug symbols
#   pelto-collector_VERSION_amd64.deb            the collector for Debian 12
#   pelto-collector-dbgsym_VERSION_amd64.deb     its debug symbols
#   *.spdx.json                                  what is in the first and the third (SPDX 2.3)
#   SHA256SUMS                                   the checksums of all
#
# A commit gives the same bytes wherever it is packaged with the same versions of the tools.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
output=$(realpath -m "${1:-$build/package}")
if [ $# != 0 ] && [ -e "$output" ]; then
  echo "There is something in $output already; name a new folder" >&2
  exit 1
fi

say "Packing $(git -C "$repo" log -1 --format='%h, %s')"
changes=$(git -C "$repo" status --short)
if [ -n "$changes" ]; then
  printf 'Not packed, since it is not committed:\n%s\n' "$changes" >&2
fi

umask 022
work=$(mktemp -d -t pelto-package.XXXXXXXX)
trap 'rm -rf "$work"' EXIT
git -C "$repo" archive HEAD | tar -x -C "$work"
# Works of others come from archives, whose checksums the commit has: somebody may have changed what is
# unpacked here.
mkdir -p "$work/build/deps" "$work/package" "$work/home"
cp "$build"/deps/tinyxml_* "$work/build/deps" 2>/dev/null || true
"$work/scripts/setup.sh" --no-nginx
cd "$work"

# Compiler options, launchers such as ccache, the time zone of this environment and what is set in files of
# the home folder stay outside.
clean=(env -i "PATH=$PATH" "HOME=$work/home" LC_ALL=C.UTF-8 TZ=UTC
  "SOURCE_DATE_EPOCH=$(git -C "$repo" log -1 --format=%ct)")
# The path of the folder would get into the debug symbols, and by them into the build's identifier.
paths="-ffile-prefix-map=$work=/usr/src/pelto"
# The options with which Debian's packages are hardened.
debian=("${clean[@]}" DEB_BUILD_MAINT_OPTIONS=hardening=+bindnow dpkg-buildflags --get)
hardening="$("${debian[@]}" CXXFLAGS) $("${debian[@]}" CPPFLAGS)"
linking=$("${debian[@]}" LDFLAGS)

say 'The sender (half a minute)'
quietly package-sender-configure "${clean[@]}" cmake --preset windows -D PELTO_BUILD_TESTS=OFF \
  -D PELTO_BUILD_SAMPLES=ON -D CMAKE_CXX_FLAGS="$paths"
quietly package-sender "${clean[@]}" cmake --build --preset windows
say 'The collector (3 minutes)'
quietly package-pages "${clean[@]}" scripts/pages.sh
quietly package-collector-configure "${clean[@]}" cmake --preset collector -D PELTO_BUILD_TESTS=OFF \
  -D PELTO_PAGES=ON -D CMAKE_CXX_FLAGS="$hardening $paths" -D CMAKE_ASM_FLAGS="$paths" \
  -D CMAKE_EXE_LINKER_FLAGS="$linking"
quietly package-collector "${clean[@]}" cmake --build --preset collector
quietly package-deb "${clean[@]}" cpack --config build/collector/CPackConfig.cmake -B deb

# repack ARCHIVE LEVEL FOLDER: makes the package of Debian in package/ of what is in FOLDER, which is from
# ARCHIVE. CPack adds up what the file system says of the size of each folder, too.
repack() {
  local name size
  name=$(basename "${1%.*}").deb
  size=$(find "$3" -path "$3/DEBIAN" -prune -o -type f -printf '%s\n' |
    awk '{ sum += int(($1 + 1023) / 1024) } END { print sum }')
  sed -i "s/^Installed-Size: .*/Installed-Size: $size/" "$3/DEBIAN/control"
  quietly "repack-$name" "${clean[@]}" dpkg-deb --root-owner-group --threads-max=1 -Zxz "-z$2" \
    --build "$3" "package/$name"
}
program=(deb/pelto-collector_*.deb)
dpkg-deb --raw-extract "${program[0]}" deb/program
repack "${program[0]}" 6 deb/program
# CPack lists the checksums of debug symbols under their path in its own folder, gives them the mode of a
# program, and no documents; those of the program serve.
symbols=(deb/pelto-collector-dbgsym_*.ddeb)
dpkg-deb --raw-extract "${symbols[0]}" deb/symbols
find deb/symbols/usr -type f -exec chmod 644 {} +
mkdir -p deb/symbols/usr/share/doc
ln -s pelto-collector deb/symbols/usr/share/doc/pelto-collector-dbgsym
(cd deb/symbols && find usr -type f -exec md5sum {} + >DEBIAN/md5sums)
repack "${symbols[0]}" 1 deb/symbols

"${clean[@]}" scripts/package.py package
(cd package && sha256sum -- * >SHA256SUMS && cat SHA256SUMS)
rm -rf "$output"
mkdir -p "$(dirname "$output")"
mv package "$output"
