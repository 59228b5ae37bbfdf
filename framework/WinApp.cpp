#include "framework/afxwin.h"

namespace {

CWinApp* application = nullptr;
HINSTANCE instanceModule = nullptr;
HINSTANCE resourceModule = nullptr;

}  // namespace

CWinApp::CWinApp() {
  application = this;
}

CWinApp::~CWinApp() {
  application = nullptr;
}

BOOL CWinApp::InitInstance() {
  return TRUE;
}

int CWinApp::Run() {
  PostQuitMessage(0);
  while (GetMessageW(&message_, nullptr, 0, 0) > 0) {
    TranslateMessage(&message_);
    DispatchMessageW(&message_);
  }
  return ExitInstance();
}

int CWinApp::ExitInstance() {
  return static_cast<int>(message_.wParam);
}

CWinApp* AfxGetApp() {
  return application;
}

int AfxWinMain(HINSTANCE instance) {
  // A damaged library or a drive without a medium makes a call fail, without a message box.
  SetErrorMode(SetErrorMode(0) | SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
  instanceModule = instance;
  resourceModule = instance;
  application->m_hInstance = instance;
  return application->InitInstance() ? application->Run() : application->ExitInstance();
}

HINSTANCE AfxGetInstanceHandle() {
  return instanceModule;
}

HINSTANCE AfxGetResourceHandle() {
  return resourceModule;
}

void AfxSetResourceHandle(HINSTANCE module) {
  resourceModule = module;
}

HINSTANCE AfxFindResourceHandle(LPCWSTR name, LPCWSTR type) {
  for (const HINSTANCE module : {resourceModule, instanceModule}) {
    if (FindResourceW(module, name, type) != nullptr) return module;
  }
  return resourceModule;
}

BOOL AfxFreeLibrary(HINSTANCE library) {
  return FreeLibrary(library);
}
