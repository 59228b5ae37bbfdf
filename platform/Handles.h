// Owners of the system's handles. A kind of handle is a type of its own: their "none" values and
// their closing calls differ, and must not be mixed.
#pragma once

#include "platform/WindowsHeader.h"

#include "platform/UniqueHandle.h"

/// What `CreateFileW` gives.
struct FileHandleTraits {
  using Handle = HANDLE;
  static Handle GetInvalid() { return INVALID_HANDLE_VALUE; }
  static void Close(Handle handle) { CloseHandle(handle); }
};

/// What `FindFirstFileW` gives.
struct FindHandleTraits {
  using Handle = HANDLE;
  static Handle GetInvalid() { return INVALID_HANDLE_VALUE; }
  static void Close(Handle handle) { FindClose(handle); }
};

/// What `LoadLibraryW` gives.
struct LibraryTraits {
  using Handle = HMODULE;
  static Handle GetInvalid() { return nullptr; }
  static void Close(Handle handle) { FreeLibrary(handle); }
};

/// A block that the system allocated with `LocalAlloc` for its caller.
template <typename Element>
struct LocalBlockTraits {
  using Handle = Element*;
  static Handle GetInvalid() { return nullptr; }
  static void Close(Handle block) { LocalFree(block); }
};

/// A block of `GlobalAlloc`.
struct GlobalBlockTraits {
  using Handle = HGLOBAL;
  static Handle GetInvalid() { return nullptr; }
  static void Close(Handle block) { GlobalFree(block); }
};

/// A reference to a COM object.
template <typename Interface>
struct ComPointerTraits {
  using Handle = Interface*;
  static Handle GetInvalid() { return nullptr; }
  static void Close(Handle object) { object->Release(); }
};

using CFileHandle = CUniqueHandle<FileHandleTraits>;
using CFindHandle = CUniqueHandle<FindHandleTraits>;
using CLibraryHandle = CUniqueHandle<LibraryTraits>;
template <typename Element>
using CLocalBlock = CUniqueHandle<LocalBlockTraits<Element>>;
using CGlobalBlock = CUniqueHandle<GlobalBlockTraits>;
template <typename Interface>
using CComPointer = CUniqueHandle<ComPointerTraits<Interface>>;
