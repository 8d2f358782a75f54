#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "apps/ashgrove_app.h"
#include "core/event_info.h"
#include "tests/support/game_installation.h"
#include "tests/support/import_redirector.h"
#include "tests/support/log_of.h"
#include "tests/support/registry_fixture.h"
#include "tests/support/temp_directory.h"
#include "tests/support/text.h"

namespace launcher {
namespace {

using test_support::GameInstallation;
using test_support::LogOf;
using test_support::PointerText;
using test_support::RegistryFixture;
using test_support::TempDirectory;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t kKey[] = LR"(SOFTWARE\Hollin Games\Unit)";

class RecordingSink final : public EventSink {
 public:
  void PostEvent(const wchar_t* source, const wchar_t* name, const wchar_t* arg0, const wchar_t*,
                 const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*,
                 const wchar_t*) override {
    posted.push_back(std::wstring(source) + L" " + name + L" " + arg0);
  }
  void QueueEvent(EventPtr event) override { queued.push_back(std::move(event)); }

  std::vector<std::wstring> posted;
  std::vector<EventPtr> queued;
};

class SomeGame final : public AshgroveApp {
 public:
  explicit SomeGame(EventSink& sink)
      : AshgroveApp(sink, nullptr, LR"(\\.\pipe\launcher_unit_game)", L"SOME-GAME") {}
  bool SetupGame() override {
    ++setups;
    return _SetupGame(kKey, L"Install Dir", L"some.exe", L"some_x86.exe");
  }
  std::wstring GetParameter(const wchar_t* name) override {
    asked.emplace_back(name);
    return AshgroveApp::GetParameter(name);
  }

  using AshgroveApp::GetInstallDir;
  using AshgroveApp::probed;
  using AshgroveApp::probedByRegistry;

  int setups = 0;
  std::vector<std::wstring> asked;
};

// A class of games may compute its parameters: probing asks through the virtual operation.
TEST(AshgroveApp, ProbingAsksForParametersInOrder) {
  const GameInstallation installation(kKey, L"some.exe");
  RecordingSink sink;
  SomeGame game(sink);
  EXPECT_TRUE(game.IsInstalled());
  EXPECT_THAT(game.asked, ElementsAre(L"probeMethod", L"registryKey", L"binaryName"));
  game.asked.clear();
  game.SetParameter(L"probeMethod", L"path");
  EXPECT_FALSE(game.IsInstalled());
  EXPECT_THAT(game.asked,
              ElementsAre(L"probeMethod", L"workingDirectory", L"binaryPath", L"binaryName"));
}

TEST(AshgroveApp, RemembersWhatWasEverFoundOut) {
  RecordingSink sink;
  SomeGame game(sink);
  const auto found = [&] { return std::pair(game.probedByRegistry, game.probed); };
  EXPECT_EQ(found(), std::pair(false, false));
  game.SetParameter(L"probeMethod", L"path");
  EXPECT_FALSE(game.IsInstalled());
  EXPECT_EQ(found(), std::pair(false, false));
  game.SetParameter(L"probeMethod", L"registry");
  EXPECT_FALSE(game.IsInstalled());
  EXPECT_EQ(found(), std::pair(true, false));
  {
    const GameInstallation installation(kKey, L"some.exe");
    EXPECT_TRUE(game.IsInstalled());
    EXPECT_EQ(found(), std::pair(true, true));
  }
  game.SetParameter(L"probeMethod", L"path");
  EXPECT_FALSE(game.IsInstalled());
  EXPECT_EQ(found(), std::pair(true, true));
}

TEST(AshgroveApp, FailedRegistryStepsAskForNothingMore) {
  RecordingSink sink;
  SomeGame game(sink);
  EXPECT_FALSE(game.IsInstalled());
  EXPECT_THAT(game.asked, ElementsAre(L"probeMethod", L"registryKey"));
  RegistryFixture registry;
  registry.CreateKey(kKey);
  game.asked.clear();
  EXPECT_FALSE(game.IsInstalled());
  EXPECT_THAT(game.asked, ElementsAre(L"probeMethod", L"registryKey"));
}

TEST(AshgroveApp, EveryOperationSetsTheGameUpOnceButPollAndSendCommand) {
  RecordingSink sink;
  SomeGame game(sink);
  const auto setups = [&](const auto& operation) {
    const int before = game.setups;
    operation();
    return game.setups - before;
  };
  EXPECT_EQ(setups([&] { EXPECT_FALSE(game.IsInstalled()); }), 1);
  EXPECT_EQ(setups([&] { EXPECT_FALSE(game.Kill(false)); }), 1);
  EXPECT_EQ(setups([&] { EXPECT_FALSE(game.Launch(L"", true, L"", L"", L"", L"")); }), 1);
  EXPECT_EQ(setups([&] { EXPECT_FALSE(game.IsRunning()); }), 1);
  EXPECT_EQ(setups([&] { EXPECT_EQ(game.GetVersion(), L"NOT_INSTALLED"); }), 1);
  EXPECT_EQ(setups([&] { EXPECT_EQ(game.GetExtraArguments(), L"NOT_INSTALLED"); }), 1);
  EXPECT_EQ(setups([&] { game.Poll(); }), 0);
  EXPECT_EQ(setups([&] { EXPECT_FALSE(game.SendCommand(L"c", L"", L"", L"", L"")); }), 0);
  EXPECT_THAT(sink.posted, IsEmpty());
}

TEST(AshgroveApp, VersionAndArgumentsAreParametersOfTheGame) {
  const GameInstallation installation(kKey, L"some.exe");
  installation.Directory().WriteFile(L"version.json", "v");
  RecordingSink sink;
  SomeGame game(sink);
  EXPECT_EQ(game.GetVersion(), L"v");
  EXPECT_EQ(game.asked.back(), L"APP_VERSION");
  EXPECT_EQ(game.GetExtraArguments(), L"");
  EXPECT_EQ(game.asked.back(), L"EXTRA_ARGUMENTS");
}

TEST(AshgroveApp, DirectoryStaysWhenTheExecutableIsMissing) {
  const GameInstallation installation(kKey, L"other.exe");
  RecordingSink sink;
  SomeGame game(sink);
  EXPECT_EQ(game.GetInstallDir(), L"");
  EXPECT_FALSE(game.IsInstalled());
  EXPECT_EQ(game.GetInstallDir(), installation.InstallDir());
}

TEST(AshgroveApp, DirectoryStaysWhenTheRegistryFails) {
  RecordingSink sink;
  SomeGame game(sink);
  std::wstring directory;
  {
    const GameInstallation installation(kKey, L"some.exe");
    EXPECT_TRUE(game.IsInstalled());
    directory = installation.InstallDir();
  }
  EXPECT_FALSE(game.IsInstalled());
  EXPECT_EQ(game.GetInstallDir(), directory);
}

TEST(AshgroveApp, EventsOfThePipeGoToTheSink) {
  RecordingSink sink;
  SomeGame game(sink);
  PellmarAppBase& pipeSide = game;
  EventFields fields;
  fields.name = L"Joined";
  EventPtr event = EventInfo::Create(fields);
  const EventInfo* const address = event.get();
  pipeSide.QueueEvent(std::move(event));
  ASSERT_EQ(sink.queued.size(), 1U);
  EXPECT_EQ(sink.queued[0].get(), address);
  EXPECT_THAT(sink.posted, IsEmpty());
}

TEST(AshgroveApp, IsDestroyedWholeThroughEitherBase) {
  RecordingSink sink;
  for (const bool throughPipeSide : {false, true}) {
    auto* const game = new SomeGame(sink);
    BaseApp* const app = game;
    PellmarAppBase* const pipeSide = game;
    const std::string line = "BaseApp::~BaseApp: Destroying instance " + PointerText(app) + "\n";
    EXPECT_EQ(LogOf([&] {
                if (throughPipeSide) {
                  delete pipeSide;
                } else {
                  delete app;
                }
              }),
              line);
  }
}

TEST(ListUpdateDirectories, JoinsTheNamesOfDirectories) {
  const TempDirectory directory;
  EXPECT_EQ(ListUpdateDirectories(directory.Path() + L"\\"), L"");
  directory.MakeDirectory(L"Update");
  EXPECT_EQ(ListUpdateDirectories(directory.Path() + L"\\"), L"");
  directory.WriteFile(L"Update\\file", "");
  directory.MakeDirectory(L"Update\\b1");
  EXPECT_EQ(ListUpdateDirectories(directory.Path() + L"\\"), L"b1");
  directory.MakeDirectory(L"Update\\b2");
  EXPECT_EQ(ListUpdateDirectories(directory.Path() + L"\\"), L"b1;b2");
}

TEST(ListRegisteredUpdates, TakesOnlyThoseThatAreKeys) {
  const TempDirectory directory;
  directory.MakeDirectory(L"Update\\b1");
  directory.MakeDirectory(L"Update\\b2");
  directory.MakeDirectory(L"Update\\b3");
  const std::wstring install = directory.Path() + L"\\";
  EXPECT_EQ(ListRegisteredUpdates(install, kKey), L"");
  RegistryFixture registry;
  registry.CreateKey(std::wstring(kKey) + L"\\b2");
  EXPECT_EQ(ListRegisteredUpdates(install, kKey), L"b2");
  registry.CreateKey(std::wstring(kKey) + L"\\b3");
  registry.SetText(kKey, L"b1", L"a value is no key");
  EXPECT_EQ(ListRegisteredUpdates(install, kKey), L"b2;b3");
}

TEST(ListRegisteredUpdates, KeyThatCannotBeOpenedDoesNotCount) {
  const TempDirectory directory;
  directory.MakeDirectory(L"Update\\b1");
  RegistryFixture registry;
  registry.CreateKey(std::wstring(kKey) + L"\\b1");
  IMPORT_HOOK(RegOpenKeyExW) opens(GetModuleHandleW(nullptr));
  opens.FailAlways(ERROR_ACCESS_DENIED);
  EXPECT_EQ(ListRegisteredUpdates(directory.Path() + L"\\", kKey), L"");
}

}  // namespace
}  // namespace launcher
