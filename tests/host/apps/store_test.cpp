// The store client: whether it is installed, and how it is opened.

// The order matters.
// clang-format off
#include <winsock2.h>
#include <windows.h>
#include <tlhelp32.h>
// clang-format on

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/dll_host.h"
#include "tests/support/helper_installation.h"
#include "tests/support/import_redirector.h"
#include "tests/support/log_of.h"
#include "tests/support/registry_calls.h"
#include "tests/support/registry_fixture.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr wchar_t kId[] = L"OSTREL-APP";
constexpr wchar_t kKey[] = LR"(SOFTWARE\Ostrel)";
constexpr wchar_t kValue[] = L"ClientVersion";

TEST(AppsStore, VersionIsThatOfTheRegistry) {
  RegistryFixture registry;
  registry.SetText(kKey, kValue, L"9.4.1");
  DllHost host;
  bool installed = false;
  EXPECT_EQ(LogOf([&] { installed = host->IsInstalled(kId); }),
            "BaseApp::SetParameter: Setting parameter APP_VERSION to 9.4.1\n");
  EXPECT_TRUE(installed);
  std::wstring version;
  EXPECT_EQ(LogOf([&] { version = host.GetVersion(kId); }),
            "BaseApp::SetParameter: Setting parameter APP_VERSION to 9.4.1\n"
            "BaseApp::GetParameter: Return paramter APP_VERSION => 9.4.1\n");
  EXPECT_EQ(version, L"9.4.1");
  EXPECT_EQ(host.GetParameter(kId, L"PUNKBUSTER_INSTALLED"), L"");
  EXPECT_EQ(host.GetParameter(kId, L"EXPANSIONS_INSTALLED"), L"");
}

// The lines show the thread's last error, not the status that the registry returned. The key is
// closed after a failed query alone, and after its line.
TEST(AppsStore, RegistryCallsAndTheirFailures) {
  RegistryFixture fixture;
  fixture.SetText(kKey, kValue, L"9.4.1");
  DllHost host;
  RegistryCalls registry(host.Module(), 255);
  EXPECT_TRUE(host->IsInstalled(kId));
  EXPECT_THAT(registry.Take(), ElementsAre(R"(open SOFTWARE\Ostrel)", "query ClientVersion"));

  std::string logAtClose;
  registry.FailQueries(ERROR_FILE_NOT_FOUND, 4321);
  {
    const StreamCapture log;
    registry.OnClose([&] { logAtClose = log.Text(); });
    EXPECT_FALSE(host->IsInstalled(kId));
    EXPECT_EQ(log.Text(), logAtClose);
  }
  EXPECT_THAT(registry.Take(),
              ElementsAre(R"(open SOFTWARE\Ostrel)", "query ClientVersion failed", "close"));
  EXPECT_EQ(logAtClose,
            "OstrelApp::SetupGame: Failed to query registry value ClientVersion (4321)\n");
  registry.FailOpens(ERROR_FILE_NOT_FOUND, 1234);
  EXPECT_EQ(LogOf([&] { EXPECT_FALSE(host->IsInstalled(kId)); }),
            "OstrelApp::SetupGame: Failed to open registry key SOFTWARE\\Ostrel (1234)\n");
  EXPECT_THAT(registry.Take(), ElementsAre(R"(open SOFTWARE\Ostrel failed)"));
}

TEST(AppsStore, MissingKeyOrValueMeansNotInstalled) {
  DllHost host;
  EXPECT_FALSE(host->IsInstalled(kId));
  EXPECT_EQ(host.GetVersion(kId), L"NOT_INSTALLED");
  RegistryFixture registry;
  registry.SetText(kKey, nullptr, L"9.4.1");
  EXPECT_FALSE(host->IsInstalled(kId));
  EXPECT_EQ(host.GetVersion(kId), L"NOT_INSTALLED");
  registry.SetText(kKey, kValue, std::wstring());
  EXPECT_TRUE(host->IsInstalled(kId));
  EXPECT_EQ(host.GetVersion(kId), L"");
}

TEST(AppsStore, VersionOf126CharactersIsTheLongest) {
  DllHost host;
  RegistryFixture registry;
  registry.SetText(kKey, kValue, std::wstring(126, L'9'));
  EXPECT_EQ(host.GetVersion(kId), std::wstring(126, L'9'));
  registry.SetText(kKey, kValue, std::wstring(127, L'9'));
  EXPECT_FALSE(host->IsInstalled(kId));
  EXPECT_EQ(host.GetVersion(kId), L"NOT_INSTALLED");
  // What an earlier look-up found survives.
  EXPECT_EQ(host.GetParameter(kId, L"APP_VERSION"), std::wstring(126, L'9'));
}

TEST(AppsStore, ProbingParametersOfGamesHaveNoEffect) {
  RegistryFixture registry;
  registry.SetText(kKey, kValue, L"9.4.1");
  DllHost host;
  host->SetParameter(kId, L"probeMethod", L"path");
  host->SetParameter(kId, L"registryKey", L"SOFTWARE\\none");
  EXPECT_EQ(LogOf([&] { EXPECT_TRUE(host->IsInstalled(kId)); }),
            "BaseApp::SetParameter: Setting parameter APP_VERSION to 9.4.1\n");
}

TEST(AppsStore, LaunchHandsItsLinkToTheHelper) {
  const HelperInstallation helper;
  RegistryFixture registry;
  registry.SetText(kKey, kValue, L"9.4.1");
  DllHost host;
  const ShellRecorder shell(host.Module());
  bool launched = false;
  EXPECT_EQ(LogOf([&] { launched = host->Launch(kId, L"library/ag4", true, L"", L"", L"", L""); }),
            "BaseApp::SetParameter: Setting parameter APP_VERSION to 9.4.1\n"
            "BaseApp::DoLaunch:102: Launching:\n"
            ">>> BinaryName:  \n"
            ">>> BinaryPath:  ostrel://library/ag4\n"
            ">>> CommandLine: \n"
            ">>> WorkDir:     \n"
            ">>> Success!\n");
  EXPECT_TRUE(launched);
  ASSERT_THAT(shell.Calls(), SizeIs(1));
  EXPECT_EQ(shell.Calls()[0].parameters, L"NO|SW_SHOWNA|ostrel://library/ag4|||");
  EXPECT_EQ(shell.Calls()[0].file, helper.HelperPath());
  // Neither the flag nor the further texts have an effect.
  EXPECT_TRUE(host->Launch(kId, L"", false, L"1", L"2", L"3", L"4"));
  EXPECT_EQ(shell.Calls().at(1).parameters, L"NO|SW_SHOWNA|ostrel://|||");
  EXPECT_THAT(host.Drain(), IsEmpty());
  EXPECT_EQ(host.Notifications().CallCount(), 0);
}

TEST(AppsStore, LaunchNeedsAnInstallation) {
  const HelperInstallation helper;
  DllHost host;
  const ShellRecorder shell(host.Module());
  IMPORT_HOOK(RegOpenKeyExW) opens(host.Module());
  opens.FailAlways(ERROR_FILE_NOT_FOUND, 77);
  bool launched = true;
  EXPECT_EQ(LogOf([&] { launched = host->Launch(kId, L"library", true, L"", L"", L"", L""); }),
            "OstrelApp::SetupGame: Failed to open registry key SOFTWARE\\Ostrel (77)\n");
  EXPECT_FALSE(launched);
  EXPECT_THAT(shell.Calls(), IsEmpty());
}

// The store client has no process that is followed, no pipe and no arguments.
TEST(AppsStore, OtherOperationsDoNothing) {
  RegistryFixture registry;
  registry.SetText(kKey, kValue, L"9.4.1");
  DllHost host;
  host->SetParameter(kId, L"EXTRA_ARGUMENTS", L"-x");
  IMPORT_HOOK(RegOpenKeyExW) opens(host.Module());
  IMPORT_HOOK(CreateToolhelp32Snapshot) snapshots(host.Module());
  const std::string log = LogOf([&] {
    EXPECT_FALSE(host->SendCommand(kId, L"c", L"a", L"", L"", L""));
    EXPECT_FALSE(host->Kill(kId, false));
    EXPECT_FALSE(host->Kill(kId, true));
    EXPECT_FALSE(host->IsRunning(kId));
    EXPECT_EQ(host.GetExtraArguments(kId), L"");
  });
  EXPECT_EQ(log, "");
  EXPECT_EQ(opens.CallCount(), 0U);
  EXPECT_EQ(snapshots.CallCount(), 0U);
}

}  // namespace
}  // namespace test_support
