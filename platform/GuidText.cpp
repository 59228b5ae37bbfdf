#include "platform/GuidText.h"

#include "platform/WindowsHeader.h"

#include <objbase.h>
#include <rpc.h>

#include "platform/AnsiText.h"

bool NewGuidText(std::wstring& text) {
  text.clear();
  GUID guid;
  if (FAILED(CoCreateGuid(&guid))) return false;
  RPC_CSTR characters = nullptr;
  if (UuidToStringA(&guid, &characters) != RPC_S_OK || characters == nullptr) return false;
  text = ToWide(reinterpret_cast<const char*>(characters));
  RpcStringFreeA(&characters);
  return true;
}
