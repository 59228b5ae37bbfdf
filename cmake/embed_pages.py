#!/usr/bin/env python3
"""embed_pages.py FUNCTION OUTPUT FOLDER [FILE]...: writes OUTPUT.S, which holds the files of the
folder as they are and in gzip, and OUTPUT.cpp, whose function lists them.

The compressed ones are written beside OUTPUT. The same files always give the same output.
"""

from __future__ import annotations

import gzip
import sys
from pathlib import Path

SOURCE = """#include <array>

#include "collector/serve/PageFiles.h"

extern "C" {{
{declarations}}}

namespace pelto::collector {{

std::span<const EmbeddedFile> {function}();

std::span<const EmbeddedFile> {function}() {{
  static const std::array<EmbeddedFile, {count}> files{{{{
{entries}  }}}};
  return files;
}}

}}  // namespace pelto::collector
"""
BLOB = """.section .rodata
.global {symbol}
{symbol}:
.incbin "{file}"
.byte 0
"""


def main() -> None:
    function, output, folder, names = sys.argv[1], sys.argv[2], Path(sys.argv[3]), sys.argv[4:]
    declarations, entries, blobs = "", "", ""
    for number, name in enumerate(sorted(names)):
        plain = folder / name
        packed = Path(f"{output}-{number}.gz")
        packed.write_bytes(gzip.compress(plain.read_bytes(), 9, mtime=0))
        views = []
        for form, file in (("plain", plain), ("gzip", packed)):
            symbol = f"pelto_{function}_{number}_{form}"
            declarations += f"extern const char {symbol}[];\n"
            blobs += BLOB.format(symbol=symbol, file=file)
            views.append(f"{{{symbol}, {file.stat().st_size}}}")
        entries += f'      EmbeddedFile{{"{name}", {", ".join(views)}}},\n'
    Path(f"{output}.cpp").write_text(SOURCE.format(
        function=function, declarations=declarations, entries=entries, count=len(names)))
    Path(f"{output}.S").write_text(blobs + '.section .note.GNU-stack, "", @progbits\n')


if __name__ == "__main__":
    main()
