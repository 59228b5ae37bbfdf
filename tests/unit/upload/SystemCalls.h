// The system calls of the upload, observed and made to fail.
#pragma once

#include <string>
#include <vector>

#include "platform/WindowsHeader.h"

#include <rpc.h>
#include <wininet.h>

#include "tests/support/ReplacedImport.h"

extern "C" void* __imp_CreateThread;
extern "C" void* __imp_HttpOpenRequestW;
extern "C" void* __imp_HttpQueryInfoW;
extern "C" void* __imp_HttpSendRequestExW;
extern "C" void* __imp_InternetConnectW;
extern "C" void* __imp_InternetOpenW;
extern "C" void* __imp_InternetReadFile;
extern "C" void* __imp_InternetWriteFile;
extern "C" void* __imp_WideCharToMultiByte;

/// Replaces the program's calls to WinINet and the conversion to the code page until the end of its
/// scope. Every call that is not made to fail is passed on.
class SystemCalls {
 public:
  SystemCalls() { current = this; }

  // What the calls got.

  /// Agent, access type, proxy, bypass list and flags of each session, as text.
  std::vector<std::wstring> sessions;
  std::vector<INTERNET_PORT> ports;
  /// The flags of each request.
  std::vector<DWORD> requestFlags;
  /// The bytes of each write.
  std::vector<std::string> writes;

  // Which calls fail.

  bool failsOpen = false;
  bool failsOpenRequest = false;
  bool failsSend = false;
  bool failsStatusQuery = false;
  bool failsRead = false;
  std::string failedWrite = "nothing";
  std::wstring failedConversion = L"nothing";

 private:
  /// The imports of WinINet are loaded on their first call, so they cannot be called by what their
  /// entries held.
  template <typename Function>
  static Function* Find(const char* name, Function*) {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"wininet.dll"), name)));
  }

  static HINTERNET WINAPI Open(LPCWSTR agent, DWORD type, LPCWSTR proxy, LPCWSTR bypass,
                               DWORD flags) {
    current->sessions.push_back(std::wstring(agent) + L" " + std::to_wstring(type) +
                                (proxy == nullptr && bypass == nullptr ? L" " : L" proxy ") +
                                std::to_wstring(flags));
    if (current->failsOpen) return nullptr;
    return Find("InternetOpenW", &InternetOpenW)(agent, type, proxy, bypass, flags);
  }
  static HINTERNET WINAPI Connect(HINTERNET session, LPCWSTR host, INTERNET_PORT port, LPCWSTR user,
                                  LPCWSTR password, DWORD service, DWORD flags, DWORD_PTR context) {
    current->ports.push_back(port);
    return Find("InternetConnectW", &InternetConnectW)(session, host, port, user, password, service,
                                                       flags, context);
  }
  static HINTERNET WINAPI OpenRequest(HINTERNET connection, LPCWSTR verb, LPCWSTR path,
                                      LPCWSTR version, LPCWSTR referrer, LPCWSTR* types,
                                      DWORD flags, DWORD_PTR context) {
    current->requestFlags.push_back(flags);
    if (current->failsOpenRequest) return nullptr;
    return Find("HttpOpenRequestW", &HttpOpenRequestW)(connection, verb, path, version, referrer,
                                                       types, flags, context);
  }
  static BOOL WINAPI Send(HINTERNET request, LPINTERNET_BUFFERSW in, LPINTERNET_BUFFERSW out,
                          DWORD flags, DWORD_PTR context) {
    if (current->failsSend) return FALSE;
    return Find("HttpSendRequestExW", &HttpSendRequestExW)(request, in, out, flags, context);
  }
  static BOOL WINAPI Write(HINTERNET request, LPCVOID bytes, DWORD count, LPDWORD written) {
    current->writes.emplace_back(static_cast<const char*>(bytes), count);
    if (current->writes.back() == current->failedWrite) return FALSE;
    return Find("InternetWriteFile", &InternetWriteFile)(request, bytes, count, written);
  }
  static BOOL WINAPI Query(HINTERNET request, DWORD level, LPVOID buffer, LPDWORD size,
                           LPDWORD index) {
    if (current->failsStatusQuery) return FALSE;
    return Find("HttpQueryInfoW", &HttpQueryInfoW)(request, level, buffer, size, index);
  }
  static BOOL WINAPI Read(HINTERNET request, LPVOID buffer, DWORD size, LPDWORD count) {
    if (current->failsRead) return FALSE;
    return Find("InternetReadFile", &InternetReadFile)(request, buffer, size, count);
  }
  static int WINAPI Convert(UINT codePage, DWORD flags, LPCWCH text, int length, LPSTR bytes,
                            int size, LPCCH character, LPBOOL isUsed) {
    if (length == -1 && text == current->failedConversion) return 0;
    return reinterpret_cast<decltype(&WideCharToMultiByte)>(current->convert_.GetOriginal())(
        codePage, flags, text, length, bytes, size, character, isUsed);
  }

  inline static SystemCalls* current = nullptr;
  ReplacedImport open_{__imp_InternetOpenW, reinterpret_cast<void*>(&Open)};
  ReplacedImport connect_{__imp_InternetConnectW, reinterpret_cast<void*>(&Connect)};
  ReplacedImport openRequest_{__imp_HttpOpenRequestW, reinterpret_cast<void*>(&OpenRequest)};
  ReplacedImport send_{__imp_HttpSendRequestExW, reinterpret_cast<void*>(&Send)};
  ReplacedImport write_{__imp_InternetWriteFile, reinterpret_cast<void*>(&Write)};
  ReplacedImport query_{__imp_HttpQueryInfoW, reinterpret_cast<void*>(&Query)};
  ReplacedImport read_{__imp_InternetReadFile, reinterpret_cast<void*>(&Read)};
  ReplacedImport convert_{__imp_WideCharToMultiByte, reinterpret_cast<void*>(&Convert)};
};
