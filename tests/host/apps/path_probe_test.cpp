// How a game is found at paths that the host names.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/host/apps/game_probe.h"
#include "tests/support/dll_host.h"
#include "tests/support/game_installation.h"
#include "tests/support/helper_installation.h"
#include "tests/support/import_redirector.h"
#include "tests/support/log_of.h"
#include "tests/support/temp_directory.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::ElementsAre;

TEST(AppsPathProbe, SuccessIsLoggedStepByStep) {
  const TempDirectory directory;
  const std::wstring program = directory.WriteFile(L"bin\\play.exe", "");
  directory.WriteFile(L"version.json", "v1");
  directory.WriteFile(L"pb\\pbcl.dll", "");
  directory.MakeDirectory(L"Update\\Xpack2");
  DllHost host;
  ChoosePaths(host, kSolanoId, directory.Path(), program, L"play.exe");
  const std::string path = Narrow(directory.Path());
  IMPORT_HOOK(RegOpenKeyExW) opens(host.Module());
  // Whatever the method.
  IMPORT_HOOK(GetNativeSystemInfo) processorQuestions(host.Module());
  bool installed = false;
  EXPECT_EQ(LogOf([&] { installed = host->IsInstalled(kSolanoId); }),
            "BaseApp::GetParameter: Return paramter probeMethod => path\n"
            "AshgroveApp::_SetupGame: Using probe method path instead of registry\n"
            "BaseApp::GetParameter: Return paramter workingDirectory => " +
                path + "\nBaseApp::GetParameter: Return paramter binaryPath => " + path +
                "\\bin\\play.exe\n"
                "BaseApp::GetParameter: Return paramter binaryName => play.exe\n"
                "BaseApp::SetParameter: Setting parameter APP_VERSION to v1\n"
                "BaseApp::SetParameter: Setting parameter PUNKBUSTER_INSTALLED to 1\n"
                "BaseApp::SetParameter: Setting parameter EXPANSIONS_INSTALLED to Xpack2\n");
  EXPECT_TRUE(installed);
  EXPECT_EQ(opens.CallCount(), 0U);
  EXPECT_EQ(processorQuestions.CallCount(), 1U);
}

TEST(AppsPathProbe, WithoutParametersThereIsNoGame) {
  DllHost host;
  host->SetParameter(kSolanoId, L"probeMethod", L"path");
  bool installed = true;
  EXPECT_EQ(LogOf([&] { installed = host->IsInstalled(kSolanoId); }),
            "BaseApp::GetParameter: Return paramter probeMethod => path\n"
            "AshgroveApp::_SetupGame: Using probe method path instead of registry\n"
            "BaseApp::GetParameter: Parameter workingDirectory not set, returning empty\n"
            "BaseApp::GetParameter: Parameter binaryPath not set, returning empty\n"
            "BaseApp::GetParameter: Parameter binaryName not set, returning empty\n"
            "AshgroveApp::_SetupGame: stat() failed, for path  with error 2)\n");
  EXPECT_FALSE(installed);
}

TEST(AppsPathProbe, WorkingDirectoryNeedNotExist) {
  const TempDirectory directory;
  DllHost host;
  ChoosePaths(host, kSolanoId, LR"(C:\no such directory)", directory.WriteFile(L"play.exe", ""),
              L"play.exe");
  EXPECT_TRUE(host->IsInstalled(kSolanoId));
  EXPECT_EQ(host.GetVersion(kSolanoId), L"");
  EXPECT_EQ(host.GetParameter(kSolanoId, L"PUNKBUSTER_INSTALLED"), L"0");
  EXPECT_EQ(host.GetParameter(kSolanoId, L"EXPANSIONS_INSTALLED"), L"");
}

// What the library makes of the three texts, as the helper gets them.
TEST(AppsPathProbe, PathsAreTakenAsGivenButForTheBackslash) {
  const HelperInstallation helper;
  DllHost host;
  FileStatusHook status(host.Module(), [](const wchar_t*, struct _stat64*) { return 0; });
  const ShellRecorder shell(host.Module());
  const auto launch = [&](const std::wstring& directory, const std::wstring& path,
                          const std::wstring& name) {
    ChoosePaths(host, kSolanoId, directory, path, name);
    EXPECT_TRUE(host->Launch(kSolanoId, L"", true, L"", L"", L"", L""));
    return shell.Calls().back().parameters;
  };
  EXPECT_EQ(launch(LR"(C:\a)", LR"(D:\b\c.exe)", L"d.exe"),
            LR"(YES|SW_SHOWNA|D:\b\c.exe|d.exe|C:\a\|)");
  EXPECT_EQ(launch(LR"(C:\a\)", L"c.exe", L"d.exe"), LR"(YES|SW_SHOWNA|c.exe|d.exe|C:\a\|)");
  EXPECT_EQ(launch(L"", L"", L""), LR"(YES|SW_SHOWNA|||\|)");
}

TEST(AppsPathProbe, DirectoryIsCutTo259CharactersAndThenGetsItsBackslash) {
  const HelperInstallation helper;
  DllHost host;
  FileStatusHook status(host.Module(), [](const wchar_t*, struct _stat64*) { return 0; });
  const ShellRecorder shell(host.Module());
  const auto workDirOf = [&](const std::wstring& directory) {
    ChoosePaths(host, kSolanoId, directory, L"p", L"n");
    EXPECT_TRUE(host->Launch(kSolanoId, L"", true, L"", L"", L"", L""));
    const std::wstring line = shell.Calls().back().parameters;
    return line.substr(std::wstring(L"YES|SW_SHOWNA|p|n|").size());
  };
  const std::wstring d258(258, L'd');
  const std::wstring d259(259, L'd');
  EXPECT_EQ(workDirOf(d258), d258 + L"\\|");
  EXPECT_EQ(workDirOf(d258 + L"\\"), d258 + L"\\|");
  EXPECT_EQ(workDirOf(d259), d259 + L"\\|");
  EXPECT_EQ(workDirOf(d259 + L"\\"), d259 + L"\\|");
  EXPECT_EQ(workDirOf(d259 + L"ddd"), d259 + L"\\|");
}

TEST(AppsPathProbe, LongDirectoryIsUsedWithItsBackslash) {
  DllHost host;
  std::vector<std::wstring> paths;
  FileStatusHook status(host.Module(), [&](const wchar_t* path, struct _stat64*) {
    paths.emplace_back(path);
    return 0;
  });
  std::wstring versionPath;
  FileOpenHook open(host.Module(), [&](const wchar_t* path, const wchar_t*) {
    versionPath = path;
    return nullptr;
  });
  std::wstring pattern;
  IMPORT_HOOK(FindFirstFileW)
  find(host.Module(), [&](LPCWSTR path, WIN32_FIND_DATAW*) {
    pattern = path;
    return INVALID_HANDLE_VALUE;
  });
  const std::wstring directory(259, L'd');
  ChoosePaths(host, kSolanoId, directory, std::wstring(300, L'b'), L"n");
  EXPECT_TRUE(host->IsInstalled(kSolanoId));
  // The executable's path is cut, the paths made from the directory are not.
  EXPECT_THAT(paths, ElementsAre(std::wstring(259, L'b'), directory + LR"(\\pb\pbcl.dll)"));
  EXPECT_EQ(versionPath, directory + LR"(\version.json)");
  // Cut to 260 characters.
  EXPECT_EQ(pattern, directory + L"\\");
}

}  // namespace
}  // namespace test_support
