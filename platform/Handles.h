// Owners of the system's handles. Each kind of handle has a type of its own, because their "none"
// values and their closing calls differ.
#pragma once

#include "platform/WindowsHeader.h"

#include "platform/UniqueHandle.h"

/// A handle of `CreateFileW`.
struct FileHandleTraits {
  using Handle = HANDLE;
  static Handle GetInvalid() { return INVALID_HANDLE_VALUE; }
  static void Close(Handle handle) { CloseHandle(handle); }
};

/// A handle of `FindFirstFileW`.
struct FindHandleTraits {
  using Handle = HANDLE;
  static Handle GetInvalid() { return INVALID_HANDLE_VALUE; }
  static void Close(Handle handle) { FindClose(handle); }
};

/// A handle of `LoadLibraryW`.
struct LibraryTraits {
  using Handle = HMODULE;
  static Handle GetInvalid() { return nullptr; }
  static void Close(Handle handle) { FreeLibrary(handle); }
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
template <typename Interface>
using CComPointer = CUniqueHandle<ComPointerTraits<Interface>>;
