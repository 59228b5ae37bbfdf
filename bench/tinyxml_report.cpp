// What loading and saving a report costs at least: bench_tinyxml_report FROM [TO] parses the file
// FROM and prints the document into TO.
#include <tinyxml.h>

#include <cstdio>
#include <cstdlib>

#include "platform/Stream.h"
#include "platform/WindowsHeader.h"

int WINAPI wWinMain(HINSTANCE /*instance*/, HINSTANCE /*previous*/, LPWSTR /*arguments*/,
                    int /*show*/) {
  if (__argc < 2) return 2;
  const CStream from(_wfopen(__wargv[1], L"rb"));
  TiXmlDocument document;
  if (!from || !document.LoadFile(from.Get(), TIXML_ENCODING_UNKNOWN)) return 3;
  if (__argc == 2) return 0;
  const CStream to(_wfopen(__wargv[2], L"w"));
  return to && document.SaveFile(to.Get()) ? 0 : 4;
}
