#include "store/SettingsFile.h"

#include "platform/WindowsHeader.h"
#include "store/SettingsText.h"

std::wstring CSettingsFile::ReadText(const wchar_t* section, const wchar_t* key) const {
  wchar_t buffer[1024];
  const DWORD length = GetPrivateProfileStringW(section, key, L"" /* default */, buffer,
                                                ARRAYSIZE(buffer), path_.c_str());
  return UnescapeLineBreaks({buffer, length});
}

bool CSettingsFile::WriteText(const wchar_t* section, const wchar_t* key,
                              const std::wstring& value) const {
  return WritePrivateProfileStringW(section, key, value.c_str(), path_.c_str()) != 0;
}

int CSettingsFile::ReadInteger(const wchar_t* section, const wchar_t* key, int missing) const {
  return static_cast<int>(GetPrivateProfileIntW(section, key, missing, path_.c_str()));
}
