#include "app/ResourceModule.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include "platform/Handles.h"
#include "tests/support/TempFolder.h"
#include "tests/unit/app/LanguageLibrary.h"

namespace {

/// Not a loaded module: the handle is only passed on. It has bits in both halves.
const HINSTANCE Instance = reinterpret_cast<HINSTANCE>(0x1'2345'0000);

constexpr char OneCall[] = "4886691840 0\n";

/// The folder of a program with localized texts.
class ResourceModule : public testing::Test {
 protected:
  const TempFolder temp_;
  const std::wstring folder_ = temp_.Path().wstring();
  const std::wstring library_ = folder_ + L"\\LangExt.dll";
  const std::wstring texts_ = folder_ + L"\\Texts.dll";
  const std::wstring calls_ = folder_ + L"\\LangExt.calls";
};

TEST_F(ResourceModule, IsWhatTheLibraryReturnsAndStaysLoadedWhenTheLibraryIsFreed) {
  CopyLibrary(L"localizer.dll", library_);
  CopyLibrary(L"localized_texts.dll", texts_);
  const std::optional<HINSTANCE> module = LoadResourceModule(folder_, Instance);
  ASSERT_NE(module, std::nullopt);
  CLibraryHandle owner(*module);
  EXPECT_EQ(*module, GetModuleHandleW(texts_.c_str()));
  EXPECT_EQ(LoadModuleText(*module, LocalizedText), L"A localized text");
  EXPECT_EQ(ReadBytes(calls_), OneCall);
  EXPECT_EQ(GetModuleHandleW(library_.c_str()), nullptr);
  owner.Reset();
  EXPECT_EQ(GetModuleHandleW(texts_.c_str()), nullptr) << "loaded more than once";
}

TEST_F(ResourceModule, IsTheInstanceWhenTheLibraryReturnsNone) {
  CopyLibrary(L"localizer.dll", library_);
  EXPECT_EQ(LoadResourceModule(folder_, Instance), Instance);
  EXPECT_EQ(ReadBytes(calls_), OneCall);
  EXPECT_EQ(GetModuleHandleW(library_.c_str()), nullptr);
}

TEST_F(ResourceModule, LibraryWithoutTheExportGivesNoneAndIsFreed) {
  for (const wchar_t* const name : {L"localizer_without_export.dll", L"localized_texts.dll"}) {
    CopyLibrary(name, library_);
    EXPECT_EQ(LoadResourceModule(folder_, Instance), std::nullopt);
    EXPECT_EQ(GetModuleHandleW(library_.c_str()), nullptr);
  }
}

TEST_F(ResourceModule, FileThatIsNoLibraryGivesNone) {
  EXPECT_EQ(LoadResourceModule(folder_, Instance), std::nullopt);
  EXPECT_EQ(LoadResourceModule(folder_ + L"\\missing", Instance), std::nullopt);
  const std::string library = ReadBytes(ProgramFolder() + L"\\localizer.dll");
  for (const std::string& bytes :
       {std::string("This is no library.\r\n"), std::string(), library.substr(0, 1024)}) {
    WriteBytes(library_, bytes);
    EXPECT_EQ(LoadResourceModule(folder_, Instance), std::nullopt);
  }
  DeleteFileW(library_.c_str());
  std::filesystem::create_directory(library_);
  EXPECT_EQ(LoadResourceModule(folder_, Instance), std::nullopt);
}

TEST_F(ResourceModule, LibraryWithAnotherExtensionIsNotLoaded) {
  CopyLibrary(L"localizer.dll", folder_ + L"\\LangExt");
  CopyLibrary(L"localizer.dll", folder_ + L"\\LangExt.exe");
  EXPECT_EQ(LoadResourceModule(folder_, Instance), std::nullopt);
  EXPECT_FALSE(Exists(calls_));
}

TEST_F(ResourceModule, IsFoundInAFolderOutsideTheCodePage) {
  const std::wstring folder = folder_ + L"\\\u03A9\u0416 \u6771";
  std::filesystem::create_directory(folder);
  CopyLibrary(L"localizer.dll", folder + L"\\LangExt.dll");
  CopyLibrary(L"localized_texts.dll", folder + L"\\Texts.dll");
  const CLibraryHandle owner(LoadResourceModule(folder, Instance).value_or(nullptr));
  EXPECT_EQ(LoadModuleText(owner.Get(), LocalizedText), L"A localized text");
}

/// Makes a folder current until the end of the scope.
class CurrentFolder {
 public:
  explicit CurrentFolder(const std::filesystem::path& folder) {
    std::filesystem::current_path(folder);
  }
  ~CurrentFolder() { std::filesystem::current_path(previous_); }
  CurrentFolder(const CurrentFolder&) = delete;
  CurrentFolder& operator=(const CurrentFolder&) = delete;

 private:
  std::filesystem::path previous_ = std::filesystem::current_path();
};

/// Sets the search path until the end of the scope.
class SearchPath {
 public:
  explicit SearchPath(const std::wstring& path) {
    wchar_t buffer[32767];
    previous_.assign(buffer, GetEnvironmentVariableW(L"PATH", buffer, ARRAYSIZE(buffer)));
    SetEnvironmentVariableW(L"PATH", path.c_str());
  }
  ~SearchPath() { SetEnvironmentVariableW(L"PATH", previous_.c_str()); }
  SearchPath(const SearchPath&) = delete;
  SearchPath& operator=(const SearchPath&) = delete;

 private:
  std::wstring previous_;
};

TEST_F(ResourceModule, LibraryOfTheCurrentFolderOrTheSearchPathIsNotLoaded) {
  CopyLibrary(L"localizer.dll", library_);
  const TempFolder program;
  const auto expectNotLoaded = [&] {
    // By its name alone it would be found.
    ASSERT_TRUE(CLibraryHandle(LoadLibraryW(L"LangExt.dll"))) << GetLastError();
    EXPECT_EQ(LoadResourceModule(program.Path().wstring(), Instance), std::nullopt);
    EXPECT_FALSE(Exists(calls_));
  };
  {
    const CurrentFolder current(temp_.Path());
    expectNotLoaded();
  }
  const SearchPath path(folder_);
  expectNotLoaded();
}

TEST_F(ResourceModule, LibraryBesideTheCallersProgramIsNotLoadedForAnotherFolder) {
  const std::wstring beside = ProgramFolder() + L"\\LangExt.dll";
  CopyLibrary(L"localizer.dll", beside);
  EXPECT_EQ(LoadResourceModule(folder_, Instance), std::nullopt);
  EXPECT_FALSE(Exists(ProgramFolder() + L"\\LangExt.calls"));
  EXPECT_TRUE(DeleteFileW(beside.c_str())) << GetLastError();
}

TEST_F(ResourceModule, LibraryOfThatNameLoadedFromElsewhereIsNotUsed) {
  CopyLibrary(L"localizer.dll", library_);
  const CLibraryHandle other(LoadLibraryW(library_.c_str()));
  ASSERT_TRUE(other) << GetLastError();
  const TempFolder program;
  EXPECT_EQ(LoadResourceModule(program.Path().wstring(), Instance), std::nullopt);
  EXPECT_FALSE(Exists(calls_));
}

TEST_F(ResourceModule, LibraryInTheFolderIsUsedInsteadOfOneInTheCurrentFolder) {
  CopyLibrary(L"localizer.dll", library_);
  const TempFolder elsewhere;
  CopyLibrary(L"localizer.dll", elsewhere / L"LangExt.dll");
  const CurrentFolder current(elsewhere.Path());
  EXPECT_EQ(LoadResourceModule(folder_, Instance), Instance);
  EXPECT_EQ(ReadBytes(calls_), OneCall);
  EXPECT_FALSE(Exists(elsewhere / L"LangExt.calls"));
}

}  // namespace
