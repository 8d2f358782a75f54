// How a game is found through the registry.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/host/apps/game_probe.h"
#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/fake_process_list.h"
#include "tests/support/fake_processor.h"
#include "tests/support/game_installation.h"
#include "tests/support/helper_installation.h"
#include "tests/support/import_redirector.h"
#include "tests/support/log_of.h"
#include "tests/support/registry_fixture.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

const std::string kRegistryMethodLines =
    "BaseApp::GetParameter: Parameter probeMethod not set, returning empty\n"
    "AshgroveApp::_SetupGame: Using probe method registry\n"
    "BaseApp::GetParameter: Parameter registryKey not set, returning empty\n";

const std::string kMissingKeyLines =
    kRegistryMethodLines +
    "AshgroveApp::_SetupGame: Using registry key SOFTWARE\\Hollin Games\\Ashgrove 4\n"
    "AshgroveApp::_SetupGame: Probe failed, unable to open "
    "SOFTWARE\\Hollin Games\\Ashgrove 4 (2)\n";

/// The working directory that a launch hands to the helper: what the library holds as the game's
/// directory.
std::wstring LaunchedWorkDir(DllHost& host, const wchar_t* id) {
  const HelperInstallation helper;
  const ShellRecorder shell(host.Module());
  if (!host->Launch(id, L"", false, L"", L"", L"", L"")) return L"<not launched>";
  const std::wstring line = shell.Calls().at(0).parameters;
  const std::size_t end = line.rfind(L'|');
  const std::size_t begin = line.rfind(L'|', end - 1) + 1;
  return line.substr(begin, end - begin);
}

TEST(AppsRegistryProbe, SuccessIsLoggedStepByStep) {
  GameInstallation game;
  game.Directory().WriteFile(L"version.json", "{\"version\": 7}");
  game.Directory().WriteFile(L"pb\\pbcl.dll", "");
  game.Directory().MakeDirectory(L"Update\\Xpack0");
  game.Registry().CreateKey(std::wstring(kBrennaKey) + L"\\Xpack0");
  DllHost host;
  bool installed = false;
  EXPECT_EQ(LogOf([&] { installed = host->IsInstalled(kBrennaId); }),
            kRegistryMethodLines +
                "AshgroveApp::_SetupGame: Using registry key SOFTWARE\\Hollin Games\\Ashgrove 4\n"
                "BaseApp::GetParameter: Parameter binaryName not set, returning empty\n"
                "BaseApp::SetParameter: Setting parameter APP_VERSION to {\"version\": 7}\n"
                "BaseApp::SetParameter: Setting parameter PUNKBUSTER_INSTALLED to 1\n"
                "BaseApp::SetParameter: Setting parameter EXPANSIONS_INSTALLED to Xpack0\n");
  EXPECT_TRUE(installed);
}

// The lines of the look-up say why.
TEST(AppsRegistryProbe, OperationsOfAMissingGameAddNoLine) {
  DllHost host;
  for (const bool flag : {false, true}) {
    EXPECT_EQ(LogOf([&] { EXPECT_FALSE(host->Kill(kBrennaId, flag)); }), kMissingKeyLines) << flag;
  }
  EXPECT_EQ(LogOf([&] { EXPECT_FALSE(host->IsRunning(kBrennaId)); }), kMissingKeyLines);
  EXPECT_EQ(LogOf([&] { EXPECT_EQ(host.GetVersion(kBrennaId), L"NOT_INSTALLED"); }),
            kMissingKeyLines);
  EXPECT_EQ(LogOf([&] { EXPECT_EQ(host.GetExtraArguments(kBrennaId), L"NOT_INSTALLED"); }),
            kMissingKeyLines);
}

TEST(AppsRegistryProbe, MissingValueFailsAndClosesTheKeyAfterTheLine) {
  RegistryFixture registry;
  registry.CreateKey(kSolanoKey);
  DllHost host;
  StreamCapture log;
  HKEY opened = nullptr;
  std::vector<std::pair<HKEY, bool>> closes;
  IMPORT_HOOK(RegOpenKeyExW) opens(host.Module());
  opens.SetReplacement([&](HKEY root, LPCWSTR path, DWORD options, REGSAM access, HKEY* key) {
    const LSTATUS status = opens.CallOriginal(root, path, options, access, key);
    opened = *key;
    return status;
  });
  IMPORT_HOOK(RegCloseKey) closing(host.Module());
  closing.SetReplacement([&](HKEY key) {
    closes.emplace_back(key, log.Text().ends_with("unable to query Install Dir (2)\n"));
    return closing.CallOriginal(key);
  });
  EXPECT_FALSE(host->IsInstalled(kSolanoId));
  log.Stop();
  EXPECT_EQ(log.Text(),
            kRegistryMethodLines +
                "AshgroveApp::_SetupGame: Using registry key SOFTWARE\\Hollin Games\\Ashgrove 3\n"
                "AshgroveApp::_SetupGame: Probe failed, unable to query Install Dir (2)\n");
  EXPECT_THAT(closes, ElementsAre(std::pair(opened, true)));
}

TEST(AppsRegistryProbe, LinesNameTheStatus) {
  const GameInstallation game;
  DllHost host;
  {
    IMPORT_HOOK(RegOpenKeyExW) opens(host.Module());
    opens.FailAlways(ERROR_ACCESS_DENIED, ERROR_INVALID_FUNCTION);
    EXPECT_THAT(LogOf([&] { host->IsInstalled(kBrennaId); }),
                EndsWith("AshgroveApp::_SetupGame: Probe failed, unable to open "
                         "SOFTWARE\\Hollin Games\\Ashgrove 4 (5)\n"));
  }
  IMPORT_HOOK(RegQueryValueExW) queries(host.Module());
  queries.FailAlways(ERROR_KEY_DELETED, ERROR_INVALID_FUNCTION);
  EXPECT_THAT(LogOf([&] { host->IsInstalled(kBrennaId); }),
              EndsWith("AshgroveApp::_SetupGame: Probe failed, unable to query "
                       "Install Dir (1018)\n"));
}

TEST(AppsRegistryProbe, RegistryCallArguments) {
  const GameInstallation game(kSolanoKey, kSolanoName);
  DllHost host;
  std::wstring openedPath;
  HKEY opened = nullptr;
  IMPORT_HOOK(RegOpenKeyExW) opens(host.Module());
  opens.SetReplacement([&](HKEY root, LPCWSTR path, DWORD options, REGSAM access, HKEY* key) {
    openedPath = path;
    EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
    EXPECT_EQ(options, 0U);
    EXPECT_EQ(access, 0x20219U);
    const LSTATUS status = opens.CallOriginal(root, path, options, access, key);
    opened = *key;
    return status;
  });
  IMPORT_HOOK(RegQueryValueExW) queries(host.Module());
  queries.SetReplacement(
      [&](HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
        EXPECT_EQ(key, opened);
        EXPECT_STREQ(name, L"Install Dir");
        EXPECT_EQ(reserved, nullptr);
        EXPECT_EQ(*size, 255U);
        return queries.CallOriginal(key, name, reserved, type, data, size);
      });
  IMPORT_HOOK(RegCloseKey) closes(host.Module());
  EXPECT_TRUE(host->IsInstalled(kSolanoId));
  EXPECT_EQ(openedPath, LR"(SOFTWARE\Hollin Games\Ashgrove 3)");
  EXPECT_EQ(opens.CallCount(), 1U);
  EXPECT_EQ(queries.CallCount(), 1U);
  // A success leaves the key open.
  EXPECT_EQ(closes.CallCount(), 0U);
}

TEST(AppsRegistryProbe, KeyOfThe64BitViewIsNotSeen) {
  const TempDirectory directory;
  directory.WriteFile(kSolanoName, "");
  const std::wstring path = LR"(SOFTWARE\Hollin Games 64-bit view)";
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                            KEY_WRITE | KEY_WOW64_64KEY, nullptr, &key, nullptr),
            ERROR_SUCCESS);
  const std::wstring value = directory.Path();
  RegSetValueExW(key, L"Install Dir", 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                 static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
  RegCloseKey(key);
  DllHost host;
  host->SetParameter(kSolanoId, L"registryKey", path.c_str());
  EXPECT_FALSE(host->IsInstalled(kSolanoId));
  RegDeleteKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), KEY_WOW64_64KEY, 0);
}

TEST(AppsRegistryProbe, ParameterReplacesTheKey) {
  const GameInstallation game(LR"(SOFTWARE\Hollin Games\Moved)", kSolanoName);
  DllHost host;
  EXPECT_FALSE(host->IsInstalled(kSolanoId));
  host->SetParameter(kSolanoId, L"registryKey", LR"(SOFTWARE\Hollin Games\Moved)");
  EXPECT_THAT(
      LogOf([&] { EXPECT_TRUE(host->IsInstalled(kSolanoId)); }),
      HasSubstr("BaseApp::GetParameter: Return paramter registryKey => "
                "SOFTWARE\\Hollin Games\\Moved\n"
                "AshgroveApp::_SetupGame: Using registry key SOFTWARE\\Hollin Games\\Moved\n"));
  // An empty one means the game's own key.
  host->SetParameter(kSolanoId, L"registryKey", L"");
  EXPECT_THAT(
      LogOf([&] { EXPECT_FALSE(host->IsInstalled(kSolanoId)); }),
      HasSubstr(
          "AshgroveApp::_SetupGame: Using registry key SOFTWARE\\Hollin Games\\Ashgrove 3\n"));
}

TEST(AppsRegistryProbe, EveryMethodButPathMeansTheRegistry) {
  const GameInstallation game;
  DllHost host;
  for (const wchar_t* const method :
       {L"", L"registry", L"Path", L"PATH", L"path ", L" path", L"paths", L"pat", L"file"}) {
    host->SetParameter(kBrennaId, L"probeMethod", method);
    const std::string log = LogOf([&] { EXPECT_TRUE(host->IsInstalled(kBrennaId)); });
    EXPECT_TRUE(log.starts_with("BaseApp::GetParameter: Return paramter probeMethod => " +
                                Narrow(method) +
                                "\nAshgroveApp::_SetupGame: Using probe method registry\n"))
        << log;
  }
}

TEST(AppsRegistryProbe, ProcessorIsAskedForAfterTheMethod) {
  const GameInstallation game;
  DllHost host;
  StreamCapture log;
  std::string logBefore;
  IMPORT_HOOK(GetNativeSystemInfo) systemInfo(host.Module());
  systemInfo.SetReplacement([&](SYSTEM_INFO* info) {
    logBefore = log.Text();
    systemInfo.CallOriginal(info);
  });
  EXPECT_TRUE(host->IsInstalled(kBrennaId));
  log.Stop();
  EXPECT_EQ(logBefore, "BaseApp::GetParameter: Parameter probeMethod not set, returning empty\n");
  EXPECT_EQ(systemInfo.CallCount(), 1U);
}

TEST(AppsRegistryProbe, DirectoryGetsItsBackslash) {
  const std::wstring key = kSolanoKey;
  DllHost host;
  FileStatusHook status(host.Module(), [](const wchar_t*, struct _stat64*) { return 0; });
  const std::pair<const wchar_t*, const wchar_t*> cases[] = {
      {LR"(C:\nowhere\game)", LR"(C:\nowhere\game\)"},
      {LR"(C:\nowhere\game\)", LR"(C:\nowhere\game\)"},
      {L"C:/nowhere/game/", LR"(C:/nowhere/game/\)"},
      {L"", LR"(\)"}};
  for (const auto& [registered, expected] : cases) {
    RegistryFixture registry;
    registry.SetText(key, L"Install Dir", registered);
    EXPECT_EQ(LaunchedWorkDir(host, kSolanoId), expected);
  }
}

// 255 bytes hold 127 characters and half of one, the terminator included.
TEST(AppsRegistryProbe, DirectoryOf126CharactersIsTheLongest) {
  DllHost host;
  FileStatusHook status(host.Module(), [](const wchar_t*, struct _stat64*) { return 0; });
  RegistryFixture registry;
  const std::wstring longest = L"C:\\" + std::wstring(123, L'd');
  registry.SetText(kSolanoKey, L"Install Dir", longest);
  EXPECT_EQ(LaunchedWorkDir(host, kSolanoId), longest + L"\\");

  registry.SetText(kSolanoKey, L"Install Dir", longest + L"d");
  EXPECT_THAT(LogOf([&] { EXPECT_FALSE(host->IsInstalled(kSolanoId)); }),
              EndsWith("AshgroveApp::_SetupGame: Probe failed, unable to query "
                       "Install Dir (234)\n"));
}

std::vector<unsigned char> BytesOf(const std::wstring& text) {
  const auto* const begin = reinterpret_cast<const unsigned char*>(text.data());
  return {begin, begin + text.size() * sizeof(wchar_t)};
}

TEST(AppsRegistryProbe, DataOfAnyShapeIsReadAsText) {
  DllHost host;
  FileStatusHook status(host.Module(), [](const wchar_t*, struct _stat64*) { return 0; });
  const auto workDirOf = [&](DWORD type, const std::vector<unsigned char>& bytes) {
    RegistryFixture registry;
    registry.SetBytes(kSolanoKey, L"Install Dir", type, bytes);
    return LaunchedWorkDir(host, kSolanoId);
  };
  // Without a terminator, as long as fits.
  const std::wstring longest(127, L'd');
  EXPECT_EQ(workDirOf(REG_BINARY, BytesOf(longest)), longest + L"\\");
  EXPECT_EQ(workDirOf(REG_SZ, BytesOf(L"C:\\g")), L"C:\\g\\");
  // Half a character at the end, its other half is zero.
  EXPECT_EQ(workDirOf(REG_BINARY, {'a', 0, 'b'}), L"ab\\");
  std::vector<unsigned char> odd = BytesOf(longest);
  odd.push_back('e');
  EXPECT_EQ(workDirOf(REG_BINARY, odd), longest + L"e\\");
  // Up to the first zero.
  EXPECT_EQ(workDirOf(REG_MULTI_SZ, BytesOf(std::wstring(L"one\0two\0", 9))), L"one\\");
  EXPECT_EQ(workDirOf(REG_BINARY, {}), L"\\");
  // A number, and a text with a variable that nobody expands.
  EXPECT_EQ(workDirOf(REG_DWORD, {'A', 0, 'B', 0}), L"AB\\");
  EXPECT_EQ(workDirOf(REG_EXPAND_SZ, BytesOf(std::wstring(L"%windir%\0", 9))), L"%windir%\\");
}

TEST(AppsRegistryProbe, MissingExecutableFails) {
  GameInstallation game(kBrennaKey, L"ag4_x86.exe");
  DllHost host;
  IMPORT_HOOK(RegCloseKey) closes(host.Module());
  bool installed = true;
  EXPECT_EQ(LogOf([&] { installed = host->IsInstalled(kBrennaId); }),
            kRegistryMethodLines +
                "AshgroveApp::_SetupGame: Using registry key SOFTWARE\\Hollin Games\\Ashgrove 4\n"
                "BaseApp::GetParameter: Parameter binaryName not set, returning empty\n"
                "AshgroveApp::_SetupGame: stat() failed, for path " +
                Narrow(game.InstallDir()) + "ag4.exe with error 2)\n");
  EXPECT_FALSE(installed);
  // The key stays open all the same.
  EXPECT_EQ(closes.CallCount(), 0U);
}

TEST(AppsRegistryProbe, StatLineNamesTheErrorNumber) {
  const GameInstallation game;
  DllHost host;
  FileStatusHook status(host.Module(), [](const wchar_t*, struct _stat64*) {
    errno = EACCES;
    return -1;
  });
  EXPECT_THAT(LogOf([&] { EXPECT_FALSE(host->IsInstalled(kBrennaId)); }),
              EndsWith("AshgroveApp::_SetupGame: stat() failed, for path " +
                       Narrow(game.InstallDir()) + "ag4.exe with error 13)\n"));
}

// What the processor is decides which of the two executables is looked for.
TEST(AppsRegistryProbe, ProcessorChoosesTheExecutable) {
  const EnvironmentVariable notFaked(L"KOVLAUNCH_FAKE_X86", std::nullopt);
  const GameInstallation game;
  game.Directory().WriteFile(L"ag4_x86.exe", "");
  DllHost host;
  EXPECT_THAT(WantedNames(host, kBrennaId), ElementsAre("ag4.exe", "ag4_x86.exe"));
  for (const WORD x86 : std::initializer_list<WORD>{0, 10}) {
    const FakeProcessor processor(host.Module(), x86);
    EXPECT_THAT(WantedNames(host, kBrennaId), ElementsAre("ag4_x86.exe", "ag4.exe")) << x86;
  }
  // ARM, Itanium, AMD64, ARM64 and an unknown one.
  for (const WORD other : std::initializer_list<WORD>{5, 6, 9, 12, 0xFFFF}) {
    const FakeProcessor processor(host.Module(), other);
    EXPECT_THAT(WantedNames(host, kBrennaId), ElementsAre("ag4.exe", "ag4_x86.exe")) << other;
  }
}

TEST(AppsRegistryProbe, VariableFakesAnX86ProcessorWhateverItsValue) {
  const GameInstallation game;
  game.Directory().WriteFile(L"ag4_x86.exe", "");
  DllHost host;
  for (const wchar_t* const value : {L"", L"0", L"1", L"no"}) {
    const EnvironmentVariable faked(L"KOVLAUNCH_FAKE_X86", value);
    EXPECT_THAT(WantedNames(host, kBrennaId), ElementsAre("ag4_x86.exe", "ag4.exe"))
        << Narrow(value);
  }
}

// A game without an x86 executable then has no executable, and its directory is looked for instead.
TEST(AppsRegistryProbe, VariableLeavesAnOnlyExecutableWithoutAName) {
  const EnvironmentVariable faked(L"KOVLAUNCH_FAKE_X86", L"1");
  const GameInstallation game(kSolanoKey, L"other.exe");
  DllHost host;
  EXPECT_TRUE(host->IsInstalled(kSolanoId));
  std::filesystem::remove_all(game.Directory().Path());
  EXPECT_THAT(LogOf([&] { EXPECT_FALSE(host->IsInstalled(kSolanoId)); }),
              EndsWith("AshgroveApp::_SetupGame: stat() failed, for path " +
                       Narrow(game.InstallDir()) + " with error 2)\n"));
}

// The parameter replaces the executable; the name of the other one stays what the last probe that got
// so far has made it, also when probes failed later.
TEST(AppsRegistryProbe, OtherExecutableSurvives) {
  const EnvironmentVariable notFaked(L"KOVLAUNCH_FAKE_X86", std::nullopt);
  const GameInstallation game(kBrennaKey, L"special.exe");
  const std::wstring program = game.InstallDir() + L"special.exe";
  DllHost host;
  host->SetParameter(kBrennaId, L"binaryName", L"special.exe");
  EXPECT_THAT(WantedNames(host, kBrennaId), ElementsAre("special.exe"));
  // The path method leaves it alone, also with a faked processor.
  ChoosePaths(host, kBrennaId, L"", program, L"special.exe");
  EXPECT_THAT(WantedNames(host, kBrennaId), ElementsAre("special.exe"));
  {
    const EnvironmentVariable faked(L"KOVLAUNCH_FAKE_X86", L"1");
    EXPECT_THAT(WantedNames(host, kBrennaId), ElementsAre("special.exe"));
  }

  host->SetParameter(kBrennaId, L"probeMethod", L"registry");
  host->SetParameter(kBrennaId, L"binaryName", L"");
  EXPECT_FALSE(host->IsInstalled(kBrennaId));  // finds no ag4.exe
  host->SetParameter(kBrennaId, L"binaryName", L"special.exe");
  EXPECT_THAT(WantedNames(host, kBrennaId), ElementsAre("special.exe", "ag4_x86.exe"));

  host->SetParameter(kBrennaId, L"registryKey", L"SOFTWARE\\none");
  EXPECT_FALSE(host->IsInstalled(kBrennaId));
  host->SetParameter(kBrennaId, L"probeMethod", L"path");
  EXPECT_THAT(WantedNames(host, kBrennaId), ElementsAre("special.exe", "ag4_x86.exe"));
}

TEST(AppsRegistryProbe, PathOfTheExecutableIsCutTo259Characters) {
  const GameInstallation game;
  DllHost host;
  host->SetParameter(kBrennaId, L"binaryName", std::wstring(300, L'b').c_str());
  const std::string path = Narrow(game.InstallDir()) + std::string(300, 'b');
  EXPECT_THAT(LogOf([&] { host->IsInstalled(kBrennaId); }),
              EndsWith("AshgroveApp::_SetupGame: stat() failed, for path " + path.substr(0, 259) +
                       " with error 2)\n"));
}

TEST(AppsRegistryProbe, VersionIsTheWholeFile) {
  const GameInstallation game;
  game.Directory().WriteFile(L"version.json", "{\r\n  \"n\": \"\xC3\xBC\"\n}\n\n");
  DllHost host;
  EXPECT_EQ(host.GetVersion(kBrennaId), L"{\r\n  \"n\": \"\u00fc\"\n}\n\n");
  EXPECT_EQ(host.GetParameter(kBrennaId, L"APP_VERSION"), L"{\r\n  \"n\": \"\u00fc\"\n}\n\n");
}

TEST(AppsRegistryProbe, MissingVersionIsAnEmptyOne) {
  const GameInstallation game;
  DllHost host;
  host->SetParameter(kBrennaId, L"APP_VERSION", L"old");
  EXPECT_TRUE(host->IsInstalled(kBrennaId));
  EXPECT_EQ(LogOf([&] { EXPECT_EQ(host.GetParameter(kBrennaId, L"APP_VERSION"), L""); }),
            "BaseApp::GetParameter: Return paramter APP_VERSION => \n");
  EXPECT_EQ(host.GetVersion(kBrennaId), L"");
}

TEST(AppsRegistryProbe, VersionThatDoesNotFitInMemoryIsAnEmptyOne) {
  const GameInstallation game;
  // Nothing else asks for so much memory.
  constexpr std::size_t kLength = 54321;
  game.Directory().WriteFile(L"version.json", std::string(kLength, 'v'));
  DllHost host;
  // Memory for the file's bytes, then for the text that is made of them.
  for (const std::size_t refused : {0U, 1U}) {
    std::size_t requests = 0;
    {
      ImportHook<"malloc", void*(std::size_t)> memory(host.Module());
      memory.SetReplacement([&](std::size_t size) -> void* {
        if (size >= kLength && requests++ == refused) return nullptr;
        return memory.CallOriginal(size);
      });
      EXPECT_TRUE(host->IsInstalled(kBrennaId)) << refused;
    }
    EXPECT_EQ(requests, refused + 1) << refused;
    EXPECT_EQ(host.GetParameter(kBrennaId, L"APP_VERSION"), L"") << refused;
    EXPECT_EQ(host.GetVersion(kBrennaId), std::wstring(kLength, L'v')) << refused;
  }
}

TEST(AppsRegistryProbe, VersionIsReadAfterTheExecutableWasFoundAndBeforePunkBuster) {
  const GameInstallation game;
  DllHost host;
  std::vector<std::wstring> steps;
  FileStatusHook status(host.Module());
  status.SetReplacement([&](const wchar_t* path, struct _stat64* data) {
    steps.emplace_back(std::wstring(L"stat ") + path);
    return status.CallOriginal(path, data);
  });
  ImportHook<"_wfopen", FILE*(const wchar_t*, const wchar_t*)> open(host.Module());
  open.SetReplacement([&](const wchar_t* path, const wchar_t* mode) {
    steps.emplace_back(std::wstring(L"open ") + path + L" " + mode);
    return open.CallOriginal(path, mode);
  });
  EXPECT_TRUE(host->IsInstalled(kBrennaId));
  EXPECT_THAT(steps, ElementsAre(L"stat " + game.InstallDir() + L"ag4.exe",
                                 L"open " + game.InstallDir() + L"version.json rb",
                                 L"stat " + game.InstallDir() + L"\\pb\\pbcl.dll"));
}

TEST(AppsRegistryProbe, PunkBusterIsRecognisedByItsFile) {
  const GameInstallation game;
  DllHost host;
  const auto found = [&] {
    EXPECT_TRUE(host->IsInstalled(kBrennaId));
    return host.GetParameter(kBrennaId, L"PUNKBUSTER_INSTALLED");
  };
  EXPECT_EQ(found(), L"0");
  const std::wstring file = game.Directory().WriteFile(L"pb\\pbcl.dll", "");
  EXPECT_EQ(found(), L"1");
  std::filesystem::remove(file);
  EXPECT_EQ(found(), L"0");
  // A directory of its name passes for it.
  game.Directory().MakeDirectory(L"pb\\pbcl.dll");
  EXPECT_EQ(found(), L"1");
}

TEST(AppsRegistryProbe, NothingIsCached) {
  DllHost host;
  EXPECT_FALSE(host->IsInstalled(kBrennaId));
  EXPECT_EQ(host.GetVersion(kBrennaId), L"NOT_INSTALLED");
  {
    const GameInstallation game;
    game.Directory().WriteFile(L"version.json", "one");
    EXPECT_TRUE(host->IsInstalled(kBrennaId));
    EXPECT_EQ(host.GetVersion(kBrennaId), L"one");
    game.Directory().WriteFile(L"version.json", "two");
    EXPECT_EQ(host.GetVersion(kBrennaId), L"two");
    std::filesystem::remove(game.InstallDir() + kBrennaX64Name);
    EXPECT_FALSE(host->IsInstalled(kBrennaId));
  }
  EXPECT_FALSE(host->IsInstalled(kBrennaId));
  EXPECT_EQ(host.GetVersion(kBrennaId), L"NOT_INSTALLED");
}

TEST(AppsRegistryProbe, FailureLeavesTheParametersOfASuccess) {
  const GameInstallation game(kSolanoKey, kSolanoName);
  game.Directory().WriteFile(L"version.json", "one");
  game.Directory().WriteFile(L"pb\\pbcl.dll", "");
  game.Directory().MakeDirectory(L"Update\\Xpack1");
  DllHost host;
  EXPECT_TRUE(host->IsInstalled(kSolanoId));
  std::filesystem::remove_all(game.Directory().Path());
  EXPECT_FALSE(host->IsInstalled(kSolanoId));
  EXPECT_EQ(host.GetParameter(kSolanoId, L"APP_VERSION"), L"one");
  EXPECT_EQ(host.GetParameter(kSolanoId, L"PUNKBUSTER_INSTALLED"), L"1");
  EXPECT_EQ(host.GetParameter(kSolanoId, L"EXPANSIONS_INSTALLED"), L"Xpack1");
}

// Each of these looks the installation up first; polling and commands do not.
TEST(AppsRegistryProbe, OperationsThatDependOnTheInstallationLookItUp) {
  const GameInstallation game(kSolanoKey, kSolanoName);
  DllHost host;
  IMPORT_HOOK(RegOpenKeyExW) opens(host.Module());
  const auto lookUps = [&](const auto& operation) {
    const std::size_t before = opens.CallCount();
    operation();
    return opens.CallCount() - before;
  };
  const FakeProcessList processes(host.Module(), {});
  const HelperInstallation helper(HelperInstallation::Helper::kNone);
  EXPECT_EQ(lookUps([&] { host->IsInstalled(kSolanoId); }), 1U);
  EXPECT_EQ(lookUps([&] { host.GetVersion(kSolanoId); }), 1U);
  EXPECT_EQ(lookUps([&] { host.GetExtraArguments(kSolanoId); }), 1U);
  EXPECT_EQ(lookUps([&] { host->IsRunning(kSolanoId); }), 1U);
  EXPECT_EQ(lookUps([&] { host->Kill(kSolanoId, false); }), 1U);
  EXPECT_EQ(lookUps([&] { host->Launch(kSolanoId, L"", false, L"", L"", L"", L""); }), 1U);
  EXPECT_EQ(lookUps([&] { host->PollApps(); }), 0U);
  EXPECT_EQ(lookUps([&] { host->SendCommand(kSolanoId, L"c", L"", L"", L"", L""); }), 0U);
  EXPECT_EQ(lookUps([&] { host->SetParameter(kSolanoId, L"n", L"v"); }), 0U);
  EXPECT_EQ(lookUps([&] { host.GetParameter(kSolanoId, L"n"); }), 0U);
}

TEST(AppsRegistryProbe, ExtraArgumentsAreTheHosts) {
  DllHost host;
  host->SetParameter(kBrennaId, L"EXTRA_ARGUMENTS", L"-windowed");
  EXPECT_EQ(host.GetExtraArguments(kBrennaId), L"NOT_INSTALLED");
  const GameInstallation game;
  EXPECT_EQ(host.GetExtraArguments(kBrennaId), L"-windowed");
  host->SetParameter(kBrennaId, L"EXTRA_ARGUMENTS", L"");
  EXPECT_EQ(host.GetExtraArguments(kBrennaId), L"");
}

}  // namespace
}  // namespace test_support
