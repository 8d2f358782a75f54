// How a game is found through the registry.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tests/host/apps/game_probe.h"
#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/fake_processor.h"
#include "tests/support/game_installation.h"
#include "tests/support/helper_installation.h"
#include "tests/support/import_redirector.h"
#include "tests/support/log_of.h"
#include "tests/support/registry_calls.h"
#include "tests/support/registry_fixture.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::EndsWith;

const std::string kRegistryLines =
    "BaseApp::GetParameter: Parameter probeMethod not set, returning empty\n"
    "AshgroveApp::_SetupGame: Using probe method registry\n"
    "BaseApp::GetParameter: Parameter registryKey not set, returning empty\n"
    "AshgroveApp::_SetupGame: Using registry key SOFTWARE\\Hollin Games\\Ashgrove 4\n";

/// A host before any game is installed.
class AppsRegistryProbe : public testing::Test {
 protected:
  bool IsInstalled(const wchar_t* id = kBrennaId) { return host->IsInstalled(id); }

  /// The lines of a probe, which has to end as expected.
  std::string Probe(bool expected, const wchar_t* id = kBrennaId) {
    return LogOf([&] { EXPECT_EQ(IsInstalled(id), expected); });
  }

  std::wstring Parameter(const wchar_t* name) { return host.GetParameter(kBrennaId, name); }

  const EnvironmentVariable fakeX86{L"KOVLAUNCH_FAKE_X86", std::nullopt};
  DllHost host;
};

TEST_F(AppsRegistryProbe, SuccessIsLoggedStepByStep) {
  GameInstallation game;
  game.Directory().WriteFile(L"version.json", "{\"version\": 7}");
  game.Directory().WriteFile(L"pb\\pbcl.dll", "");
  game.Directory().MakeDirectory(L"Update\\Xpack0");
  game.Registry().CreateKey(std::wstring(kBrennaKey) + L"\\Xpack0");
  EXPECT_EQ(Probe(true),
            kRegistryLines +
                "BaseApp::GetParameter: Parameter binaryName not set, returning empty\n"
                "BaseApp::SetParameter: Setting parameter APP_VERSION to {\"version\": 7}\n"
                "BaseApp::SetParameter: Setting parameter PUNKBUSTER_INSTALLED to 1\n"
                "BaseApp::SetParameter: Setting parameter EXPANSIONS_INSTALLED to Xpack0\n");
}

// The lines of the look-up say why; the operations add none.
TEST_F(AppsRegistryProbe, MissingKeyFails) {
  const std::string lines = kRegistryLines +
                            "AshgroveApp::_SetupGame: Probe failed, unable to open "
                            "SOFTWARE\\Hollin Games\\Ashgrove 4 (2)\n";
  EXPECT_EQ(Probe(false), lines);
  EXPECT_EQ(LogOf([&] { EXPECT_FALSE(host->Kill(kBrennaId, false)); }), lines);
  EXPECT_EQ(LogOf([&] { EXPECT_FALSE(host->IsRunning(kBrennaId)); }), lines);
  EXPECT_EQ(LogOf([&] { EXPECT_EQ(host.GetVersion(kBrennaId), L"NOT_INSTALLED"); }), lines);
  EXPECT_EQ(LogOf([&] { EXPECT_EQ(host.GetExtraArguments(kBrennaId), L"NOT_INSTALLED"); }), lines);
}

TEST_F(AppsRegistryProbe, MissingExecutableFails) {
  const GameInstallation game(kBrennaKey, L"ag4_x86.exe");
  const std::string line =
      "AshgroveApp::_SetupGame: stat() failed, for path " + Narrow(game.InstallDir()) + "ag4.exe";
  EXPECT_EQ(Probe(false),
            kRegistryLines +
                "BaseApp::GetParameter: Parameter binaryName not set, returning empty\n" + line +
                " with error 2)\n");
  FileStatusHook status(host.Module(), [](const wchar_t*, struct _stat64*) {
    errno = EACCES;
    return -1;
  });
  EXPECT_THAT(Probe(false), EndsWith(line + " with error 13)\n"));
}

// The key is closed after a failed query alone, and after its line.
TEST_F(AppsRegistryProbe, RegistryCallsAndTheirFailures) {
  const GameInstallation game;
  RegistryCalls registry(host.Module(), 255);
  const std::string open = R"(open SOFTWARE\Hollin Games\Ashgrove 4)";
  EXPECT_TRUE(IsInstalled());
  EXPECT_THAT(registry.Take(), ElementsAre(open, "query Install Dir"));
  std::filesystem::remove(game.InstallDir() + kBrennaX64Name);
  EXPECT_FALSE(IsInstalled());
  EXPECT_THAT(registry.Take(), ElementsAre(open, "query Install Dir"));

  const StreamCapture log;
  std::string logAtClose;
  registry.OnClose([&] { logAtClose = log.Text(); });
  registry.FailQueries(ERROR_KEY_DELETED, ERROR_INVALID_FUNCTION);
  EXPECT_FALSE(IsInstalled());
  EXPECT_THAT(registry.Take(), ElementsAre(open, "query Install Dir failed", "close"));
  EXPECT_THAT(logAtClose, EndsWith("AshgroveApp::_SetupGame: Probe failed, unable to query "
                                   "Install Dir (1018)\n"));
  EXPECT_EQ(log.Text(), logAtClose);
  registry.FailOpens(ERROR_ACCESS_DENIED, ERROR_INVALID_FUNCTION);
  EXPECT_FALSE(IsInstalled());
  EXPECT_THAT(registry.Take(), ElementsAre(open + " failed"));
  EXPECT_THAT(log.Text(), EndsWith("AshgroveApp::_SetupGame: Probe failed, unable to open "
                                   "SOFTWARE\\Hollin Games\\Ashgrove 4 (5)\n"));
}

TEST_F(AppsRegistryProbe, KeyOfThe64BitViewIsNotSeen) {
  const TempDirectory directory;
  directory.WriteFile(kBrennaX64Name, "");
  const std::wstring path = LR"(SOFTWARE\Hollin Games 64-bit view)";
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                            KEY_WRITE | KEY_WOW64_64KEY, nullptr, &key, nullptr),
            ERROR_SUCCESS);
  const std::wstring value = directory.Path();
  RegSetValueExW(key, L"Install Dir", 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                 static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
  RegCloseKey(key);
  host->SetParameter(kBrennaId, L"registryKey", path.c_str());
  EXPECT_FALSE(IsInstalled());
  RegDeleteKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), KEY_WOW64_64KEY, 0);
}

TEST_F(AppsRegistryProbe, ParameterReplacesTheKeyUnlessItIsEmpty) {
  const GameInstallation game(LR"(SOFTWARE\Hollin Games\Moved)", kBrennaX64Name);
  host->SetParameter(kBrennaId, L"registryKey", LR"(SOFTWARE\Hollin Games\Moved)");
  EXPECT_THAT(
      Probe(true),
      testing::HasSubstr(
          "BaseApp::GetParameter: Return paramter registryKey => SOFTWARE\\Hollin Games\\Moved\n"
          "AshgroveApp::_SetupGame: Using registry key SOFTWARE\\Hollin Games\\Moved\n"));
  host->SetParameter(kBrennaId, L"registryKey", L"");
  EXPECT_FALSE(IsInstalled());
}

// The processor is asked for right after the method.
TEST_F(AppsRegistryProbe, EveryMethodButPathMeansTheRegistry) {
  const GameInstallation game;
  for (const wchar_t* const method :
       {L"", L"registry", L"Path", L"PATH", L"path ", L" path", L"paths", L"pat", L"file"}) {
    host->SetParameter(kBrennaId, L"probeMethod", method);
    const StreamCapture log;
    std::string logBefore;
    IMPORT_HOOK(GetNativeSystemInfo) systemInfo(host.Module());
    systemInfo.SetReplacement([&](SYSTEM_INFO* info) {
      logBefore = log.Text();
      systemInfo.CallOriginal(info);
    });
    EXPECT_TRUE(IsInstalled());
    EXPECT_EQ(logBefore,
              "BaseApp::GetParameter: Return paramter probeMethod => " + Narrow(method) + "\n");
    EXPECT_TRUE(log.Text().starts_with(logBefore +
                                       "AshgroveApp::_SetupGame: Using probe method registry\n"));
  }
}

/// A registered directory that the library takes as it is: every file seems to be there.
class AppsRegisteredDirectory : public AppsRegistryProbe {
 protected:
  /// The working directory that a launch hands to the helper.
  std::wstring WorkDirOfText(DWORD type, const std::wstring& data) {
    const auto* const begin = reinterpret_cast<const unsigned char*>(data.data());
    return WorkDirOf(type,
                     std::vector<unsigned char>(begin, begin + data.size() * sizeof(wchar_t)));
  }
  std::wstring WorkDirOf(DWORD type, const std::vector<unsigned char>& data) {
    RegistryFixture registry;
    registry.SetBytes(kSolanoKey, L"Install Dir", type, data);
    const HelperInstallation helper;
    const ShellRecorder shell(host.Module());
    if (!host->Launch(kSolanoId, L"", false, L"", L"", L"", L"")) return L"<not launched>";
    const std::wstring line = shell.Calls().at(0).parameters;
    const std::size_t end = line.rfind(L'|');
    const std::size_t begin = line.rfind(L'|', end - 1) + 1;
    return line.substr(begin, end - begin);
  }

  FileStatusHook status{host.Module(), [](const wchar_t*, struct _stat64*) { return 0; }};
};

TEST_F(AppsRegisteredDirectory, GetsItsBackslash) {
  EXPECT_EQ(WorkDirOfText(REG_SZ, LR"(C:\game)"), LR"(C:\game\)");
  EXPECT_EQ(WorkDirOfText(REG_SZ, LR"(C:\game\)"), LR"(C:\game\)");
  EXPECT_EQ(WorkDirOfText(REG_SZ, L"C:/game/"), LR"(C:/game/\)");
  EXPECT_EQ(WorkDirOfText(REG_SZ, std::wstring(1, L'\0')), LR"(\)");
}

// 255 bytes hold 127 characters and half of one, the terminator included. Data of any type is taken
// as text up to the first zero; a missing half of a character is zero, too.
TEST_F(AppsRegisteredDirectory, DataOfAnyShapeIsText) {
  const std::wstring longest(127, L'd');
  EXPECT_EQ(WorkDirOfText(REG_SZ, longest.substr(1) + L'\0'), longest.substr(1) + L"\\");
  EXPECT_EQ(WorkDirOfText(REG_BINARY, longest), longest + L"\\");
  EXPECT_EQ(WorkDirOf(REG_BINARY, {'a', 0, 'b'}), L"ab\\");
  EXPECT_EQ(WorkDirOfText(REG_MULTI_SZ, std::wstring(L"one\0two\0", 9)), L"one\\");
  EXPECT_EQ(WorkDirOf(REG_BINARY, std::vector<unsigned char>()), L"\\");
  EXPECT_EQ(WorkDirOf(REG_DWORD, {'A', 0, 'B', 0}), L"AB\\");
  EXPECT_EQ(WorkDirOfText(REG_EXPAND_SZ, std::wstring(L"%windir%\0", 9)), L"%windir%\\");

  RegistryFixture registry;
  registry.SetText(kSolanoKey, L"Install Dir", longest);
  EXPECT_THAT(Probe(false, kSolanoId),
              EndsWith("AshgroveApp::_SetupGame: Probe failed, unable to query "
                       "Install Dir (234)\n"));
}

// What the processor is decides which of the two executables is looked for.
TEST_F(AppsRegistryProbe, ProcessorChoosesTheExecutable) {
  const GameInstallation game;
  game.Directory().WriteFile(L"ag4_x86.exe", "");
  const auto x64First = ElementsAre("ag4.exe", "ag4_x86.exe");
  const auto x86First = ElementsAre("ag4_x86.exe", "ag4.exe");
  EXPECT_THAT(WantedNames(host, kBrennaId), x64First);
  // Intel and IA32 on Win64; ARM, Itanium, AMD64, ARM64 and an unknown one.
  for (const WORD processor : std::vector<WORD>{0, 10, 5, 6, 9, 12, 0xFFFF}) {
    const FakeProcessor fake(host.Module(), processor);
    const bool isX86 = processor == 0 || processor == 10;
    EXPECT_THAT(WantedNames(host, kBrennaId),
                ElementsAre(isX86 ? "ag4_x86.exe" : "ag4.exe", isX86 ? "ag4.exe" : "ag4_x86.exe"))
        << processor;
  }
  // The variable counts whatever its value is.
  for (const wchar_t* const value : {L"", L"0", L"1", L"no"}) {
    fakeX86.Set(value);
    EXPECT_THAT(WantedNames(host, kBrennaId), x86First) << Narrow(value);
  }
}

// A game with one executable then has none, and its directory is looked for instead.
TEST_F(AppsRegistryProbe, VariableLeavesAnOnlyExecutableWithoutAName) {
  fakeX86.Set(L"1");
  const GameInstallation game(kSolanoKey, L"other.exe");
  EXPECT_TRUE(IsInstalled(kSolanoId));
  std::filesystem::remove_all(game.Directory().Path());
  EXPECT_THAT(Probe(false, kSolanoId),
              EndsWith("AshgroveApp::_SetupGame: stat() failed, for path " +
                       Narrow(game.InstallDir()) + " with error 2)\n"));
}

// The parameter replaces the executable; the name of the other one stays what the last probe that got
// so far has made it, also when probes failed later.
TEST_F(AppsRegistryProbe, OtherExecutableSurvives) {
  const GameInstallation game(kBrennaKey, L"special.exe");
  const auto setParameter = [&](const wchar_t* name, const wchar_t* value) {
    host->SetParameter(kBrennaId, name, value);
  };
  setParameter(L"binaryName", L"special.exe");
  EXPECT_THAT(WantedNames(host, kBrennaId), ElementsAre("special.exe"));
  // The path method leaves it alone, also with a faked processor.
  ChoosePaths(host, kBrennaId, L"", game.InstallDir() + L"special.exe", L"special.exe");
  EXPECT_THAT(WantedNames(host, kBrennaId), ElementsAre("special.exe"));
  fakeX86.Set(L"1");
  EXPECT_THAT(WantedNames(host, kBrennaId), ElementsAre("special.exe"));
  fakeX86.Set(std::nullopt);

  setParameter(L"probeMethod", L"registry");
  setParameter(L"binaryName", L"");
  EXPECT_FALSE(IsInstalled());  // finds no ag4.exe
  setParameter(L"binaryName", L"special.exe");
  EXPECT_THAT(WantedNames(host, kBrennaId), ElementsAre("special.exe", "ag4_x86.exe"));

  setParameter(L"registryKey", L"SOFTWARE\\none");
  EXPECT_FALSE(IsInstalled());
  setParameter(L"probeMethod", L"path");
  EXPECT_THAT(WantedNames(host, kBrennaId), ElementsAre("special.exe", "ag4_x86.exe"));
}

TEST_F(AppsRegistryProbe, PathOfTheExecutableIsCutTo259Characters) {
  const GameInstallation game;
  const std::size_t length = 260 - game.InstallDir().size();
  host->SetParameter(kBrennaId, L"binaryName", std::wstring(length, L'b').c_str());
  const std::string path = Narrow(game.InstallDir()) + std::string(length, 'b');
  EXPECT_THAT(Probe(false), EndsWith("AshgroveApp::_SetupGame: stat() failed, for path " +
                                     path.substr(0, 259) + " with error 2)\n"));
}

TEST_F(AppsRegistryProbe, VersionIsTheWholeFileOrEmpty) {
  const GameInstallation game;
  host->SetParameter(kBrennaId, L"APP_VERSION", L"old");
  EXPECT_EQ(host.GetVersion(kBrennaId), L"");
  EXPECT_EQ(Parameter(L"APP_VERSION"), L"");
  game.Directory().WriteFile(L"version.json", "{\r\n  \"n\": \"\xC3\xBC\"\n}\n\n");
  EXPECT_EQ(host.GetVersion(kBrennaId), L"{\r\n  \"n\": \"\u00fc\"\n}\n\n");
  EXPECT_EQ(Parameter(L"APP_VERSION"), L"{\r\n  \"n\": \"\u00fc\"\n}\n\n");
}

TEST_F(AppsRegistryProbe, VersionThatDoesNotFitInMemoryIsAnEmptyOne) {
  const GameInstallation game;
  // Nothing else asks for so much memory.
  constexpr std::size_t kLength = 54321;
  game.Directory().WriteFile(L"version.json", std::string(kLength, 'v'));
  // Memory for the file's bytes, then for the text that is made of them.
  for (const std::size_t refused : {0U, 1U}) {
    std::size_t requests = 0;
    {
      ImportHook<"malloc", void*(std::size_t)> memory(host.Module());
      memory.SetReplacement([&](std::size_t size) -> void* {
        if (size >= kLength && requests++ == refused) return nullptr;
        return memory.CallOriginal(size);
      });
      EXPECT_TRUE(IsInstalled()) << refused;
    }
    EXPECT_EQ(requests, refused + 1) << refused;
    EXPECT_EQ(Parameter(L"APP_VERSION"), L"") << refused;
    EXPECT_EQ(host.GetVersion(kBrennaId), std::wstring(kLength, L'v')) << refused;
  }
}

TEST_F(AppsRegistryProbe, FilesAreLookedForInOrder) {
  const GameInstallation game;
  std::vector<std::wstring> steps;
  FileStatusHook status(host.Module());
  status.SetReplacement([&](const wchar_t* path, struct _stat64* data) {
    steps.emplace_back(std::wstring(L"stat ") + path);
    return status.CallOriginal(path, data);
  });
  FileOpenHook open(host.Module());
  open.SetReplacement([&](const wchar_t* path, const wchar_t* mode) {
    steps.emplace_back(std::wstring(L"open ") + path + L" " + mode);
    return open.CallOriginal(path, mode);
  });
  EXPECT_TRUE(IsInstalled());
  EXPECT_THAT(steps, ElementsAre(L"stat " + game.InstallDir() + L"ag4.exe",
                                 L"open " + game.InstallDir() + L"version.json rb",
                                 L"stat " + game.InstallDir() + L"\\pb\\pbcl.dll"));
}

TEST_F(AppsRegistryProbe, PunkBusterIsRecognisedByItsFile) {
  const GameInstallation game;
  const auto found = [&] {
    EXPECT_TRUE(IsInstalled());
    return Parameter(L"PUNKBUSTER_INSTALLED");
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

TEST_F(AppsRegistryProbe, NothingIsCachedAndAFailureLeavesTheParameters) {
  EXPECT_EQ(host.GetVersion(kBrennaId), L"NOT_INSTALLED");
  GameInstallation game;
  game.Directory().WriteFile(L"version.json", "one");
  EXPECT_EQ(host.GetVersion(kBrennaId), L"one");
  game.Directory().WriteFile(L"version.json", "two");
  game.Directory().WriteFile(L"pb\\pbcl.dll", "");
  game.Directory().MakeDirectory(L"Update\\Xpack1");
  game.Registry().CreateKey(std::wstring(kBrennaKey) + L"\\Xpack1");
  EXPECT_EQ(host.GetVersion(kBrennaId), L"two");
  std::filesystem::remove_all(game.Directory().Path());
  EXPECT_EQ(host.GetVersion(kBrennaId), L"NOT_INSTALLED");
  EXPECT_EQ(Parameter(L"APP_VERSION"), L"two");
  EXPECT_EQ(Parameter(L"PUNKBUSTER_INSTALLED"), L"1");
  EXPECT_EQ(Parameter(L"EXPANSIONS_INSTALLED"), L"Xpack1");
}

// Each of these looks the installation up first; polling and commands do not.
TEST_F(AppsRegistryProbe, OperationsThatDependOnTheInstallationLookItUp) {
  const GameInstallation game(kSolanoKey, kSolanoName);
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

TEST_F(AppsRegistryProbe, ExtraArgumentsAreTheHosts) {
  host->SetParameter(kBrennaId, L"EXTRA_ARGUMENTS", L"-windowed");
  EXPECT_EQ(host.GetExtraArguments(kBrennaId), L"NOT_INSTALLED");
  const GameInstallation game;
  EXPECT_EQ(host.GetExtraArguments(kBrennaId), L"-windowed");
  host->SetParameter(kBrennaId, L"EXTRA_ARGUMENTS", L"");
  EXPECT_EQ(host.GetExtraArguments(kBrennaId), L"");
}

}  // namespace
}  // namespace test_support
