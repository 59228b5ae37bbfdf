#!/usr/bin/env bash
# Renders background.png and PELTOSender.ico from the drawings next to this script, and the picture of
# the sample of a dialog that is read from right to left.
# Needs rsvg-convert, ImageMagick's convert and python3. The same tools give the same
# bytes at every run: nothing that depends on the time is written into the files.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Written as 24-bit RGB: the dialog's background has no transparency to lose.
to_rgb() {
  convert "$1" -background white -alpha remove -alpha off -strip \
    -define png:exclude-chunk=all -define png:compression-level=9 "PNG24:$2"
}

# icon <pixels> <drawing>
icon() {
  rsvg-convert --width "$1" --height "$1" --output "$work/$1.png" "$2"
  # A frame of the .ico other than the largest holds bare pixels.
  convert "$work/$1.png" -depth 8 "bgra:$work/$1.bgra"
}

rsvg-convert --output "$work/background.png" background.svg
to_rgb "$work/background.png" background.png

# In this folder, for the drawing that it refers to.
trap 'rm -rf "$work" mirrored.svg' EXIT
./mirror.py background.svg >mirrored.svg
rsvg-convert --output "$work/mirrored.png" mirrored.svg
to_rgb "$work/mirrored.png" ../../samples/language/mirrored.png

icon 16 icon-small.svg
icon 20 icon-20.svg
icon 24 icon-small.svg
for size in 32 40 48 64; do
  icon "$size" icon.svg
done
rsvg-convert --width 256 --height 256 --output "$work/large.png" icon.svg
convert "$work/large.png" -strip -define png:exclude-chunk=all \
  -define png:compression-level=9 "PNG32:$work/256.png"

python3 - "$work" PELTOSender.ico <<'PYTHON'
import pathlib
import struct
import sys

work, target = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])


def bitmap(size):
    """A frame as a bottom-up 32-bit bitmap followed by its 1-bit mask."""
    pixels = (work / f"{size}.bgra").read_bytes()
    if len(pixels) != size * size * 4:
        sys.exit(f"{size} px: {len(pixels)} bytes of pixels")
    rows = [pixels[y * size * 4:(y + 1) * size * 4] for y in reversed(range(size))]
    stride = (size + 31) // 32 * 4
    mask = bytearray()
    for row in rows:
        bits = bytearray(stride)
        for x in range(size):
            # The mask only counts where alpha is ignored, so half-covered corner
            # pixels have to fall on one side.
            if row[x * 4 + 3] < 128:
                bits[x // 8] |= 0x80 >> x % 8
        mask += bits
    # The height counts the color rows and the mask rows.
    header = struct.pack("<IiiHHIIiiII", 40, size, size * 2, 1, 32, 0,
                         len(pixels) + len(mask), 0, 0, 0, 0)
    return header + b"".join(rows) + bytes(mask)


frames = [(size, bitmap(size)) for size in (16, 20, 24, 32, 40, 48, 64)]
frames.append((256, (work / "256.png").read_bytes()))

directory = struct.pack("<HHH", 0, 1, len(frames))
offset = len(directory) + 16 * len(frames)
for size, data in frames:
    # A byte holds the size; 0 means 256.
    directory += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32,
                             len(data), offset)
    offset += len(data)
target.write_bytes(directory + b"".join(data for _, data in frames))
PYTHON
