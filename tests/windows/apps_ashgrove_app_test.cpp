// What classes of games rely on.

#include "apps/ashgrove_app.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/game_installation.h"
#include "tests/support/log_of.h"
#include "tests/support/text.h"
#include "tests/windows/recording_sink.h"

namespace launcher {
namespace {

using test_support::GameInstallation;
using test_support::LogOf;
using test_support::PointerText;
using test_support::RegistryFixture;
using testing::ElementsAre;

constexpr wchar_t kKey[] = LR"(SOFTWARE\Hollin Games\Unit)";

class SomeGame final : public AshgroveApp {
 public:
  explicit SomeGame(EventSink& sink)
      : AshgroveApp(sink, nullptr, LR"(\\.\pipe\launcher_unit_game)", L"SOME-GAME") {}
  bool SetupGame() override {
    return _SetupGame(kKey, L"Install Dir", L"some.exe", L"some_x86.exe");
  }
  std::wstring GetParameter(const wchar_t* name) override {
    asked.emplace_back(name);
    return AshgroveApp::GetParameter(name);
  }

  using AshgroveApp::GetInstallDir;
  using AshgroveApp::probed;
  using AshgroveApp::probedByRegistry;

  std::vector<std::wstring> asked;
};

class AshgroveAppTest : public testing::Test {
 protected:
  /// The parameters that a probe asks for.
  std::vector<std::wstring> Probe(bool expected) {
    game.asked.clear();
    EXPECT_EQ(game.IsInstalled(), expected);
    return game.asked;
  }

  RecordingSink sink;
  SomeGame game{sink};
};

// A class of games may compute its parameters: probing asks through the virtual operation.
TEST_F(AshgroveAppTest, ProbingAsksForParametersInOrder) {
  EXPECT_THAT(Probe(false), ElementsAre(L"probeMethod", L"registryKey"));
  {
    RegistryFixture registry;
    registry.CreateKey(kKey);
    EXPECT_THAT(Probe(false), ElementsAre(L"probeMethod", L"registryKey"));
  }
  const GameInstallation installation(kKey, L"some.exe");
  EXPECT_THAT(Probe(true), ElementsAre(L"probeMethod", L"registryKey", L"binaryName"));
  EXPECT_EQ(game.GetVersion(), L"");
  EXPECT_EQ(game.asked.back(), L"APP_VERSION");
  EXPECT_EQ(game.GetExtraArguments(), L"");
  EXPECT_EQ(game.asked.back(), L"EXTRA_ARGUMENTS");
  game.SetParameter(L"probeMethod", L"path");
  EXPECT_THAT(Probe(false),
              ElementsAre(L"probeMethod", L"workingDirectory", L"binaryPath", L"binaryName"));
}

TEST_F(AshgroveAppTest, RemembersWhatWasEverFoundOut) {
  const auto found = [&] { return std::pair(game.probedByRegistry, game.probed); };
  game.SetParameter(L"probeMethod", L"path");
  Probe(false);
  EXPECT_EQ(found(), std::pair(false, false));
  game.SetParameter(L"probeMethod", L"registry");
  Probe(false);
  EXPECT_EQ(found(), std::pair(true, false));
  std::wstring directory;
  {
    const GameInstallation installation(kKey, L"some.exe");
    directory = installation.InstallDir();
    Probe(true);
  }
  // A failure clears neither the flags nor the directory.
  Probe(false);
  EXPECT_EQ(found(), std::pair(true, true));
  EXPECT_EQ(game.GetInstallDir(), directory);
}

TEST_F(AshgroveAppTest, IsDestroyedWholeThroughEitherBase) {
  for (const bool throughPipeSide : {false, true}) {
    auto* const other = new SomeGame(sink);
    BaseApp* const app = other;
    PellmarAppBase* const pipeSide = other;
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

}  // namespace
}  // namespace launcher
