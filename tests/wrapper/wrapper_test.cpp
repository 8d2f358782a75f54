// launcher.hpp, as a host uses it.
#include "launcher/launcher.hpp"
// launcher.h first.
#include "launcher/launcher_c.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/dll_host.h"
#include "tests/support/growth.h"
#include "tests/support/scoped_handle.h"
#include "tests/support/temp_directory.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using launcher_host::Event;
using launcher_host::EventHandlers;
using launcher_host::Launcher;
using launcher_host::LoadError;
using launcher_host::LoopEnd;
using launcher_host::LoopOptions;

TEST(WrapperConstants, AreThoseOfTheCHeader) {
  EXPECT_EQ(launcher_host::kAbiVersion, LAUNCHER_ABI_VERSION);
  const std::pair<const wchar_t*, const wchar_t*> texts[] = {
      {launcher_host::app::kBrennaCte, LAUNCHER_APP_BRENNA_CTE},
      {launcher_host::app::kBrenna, LAUNCHER_APP_BRENNA},
      {launcher_host::app::kOstrel, LAUNCHER_APP_OSTREL},
      {launcher_host::app::kSolano, LAUNCHER_APP_SOLANO},
      {launcher_host::app::kTamsinBeta2, LAUNCHER_APP_TAMSIN_BETA2},
      {launcher_host::app::kTamsinCte, LAUNCHER_APP_TAMSIN_CTE},
      {launcher_host::app::kTamsinMainline, LAUNCHER_APP_TAMSIN_MAINLINE},
      {launcher_host::app::kTavr, LAUNCHER_APP_TAVR},
      {launcher_host::event_name::kStateChanged, LAUNCHER_EVENT_STATE_CHANGED},
      {launcher_host::event_name::kPingBatchResult, LAUNCHER_EVENT_PING_BATCH_RESULT},
      {launcher_host::event_name::kQueryServerResult, LAUNCHER_EVENT_QUERY_SERVER_RESULT},
      {launcher_host::state::kPending, LAUNCHER_STATE_PENDING},
      {launcher_host::state::kReady, LAUNCHER_STATE_READY},
      {launcher_host::state::kGameIsGone, LAUNCHER_STATE_GAME_IS_GONE},
      {launcher_host::parameter::kAppVersion, LAUNCHER_PARAMETER_APP_VERSION},
      {launcher_host::parameter::kPunkBusterInstalled, LAUNCHER_PARAMETER_PUNKBUSTER_INSTALLED},
      {launcher_host::parameter::kExpansionsInstalled, LAUNCHER_PARAMETER_EXPANSIONS_INSTALLED},
      {launcher_host::parameter::kProbeMethod, LAUNCHER_PARAMETER_PROBE_METHOD},
      {launcher_host::parameter::kRegistryKey, LAUNCHER_PARAMETER_REGISTRY_KEY},
      {launcher_host::parameter::kBinaryName, LAUNCHER_PARAMETER_BINARY_NAME},
      {launcher_host::parameter::kWorkingDirectory, LAUNCHER_PARAMETER_WORKING_DIRECTORY},
      {launcher_host::parameter::kBinaryPath, LAUNCHER_PARAMETER_BINARY_PATH},
      {launcher_host::parameter::kExtraArguments, LAUNCHER_PARAMETER_EXTRA_ARGUMENTS},
      {launcher_host::parameter::kOstrelLocalHostEnabled,
       LAUNCHER_PARAMETER_OSTREL_LOCAL_HOST_ENABLED},
      {launcher_host::kProbePath, LAUNCHER_PROBE_PATH},
      {launcher_host::kNotInstalled, LAUNCHER_NOT_INSTALLED},
      {launcher_host::kInvalidAppId, LAUNCHER_INVALID_APP_ID},
      {launcher_host::kQuerySuccess, LAUNCHER_QUERY_SUCCESS}};
  for (const auto& [wrapper, c] : texts) EXPECT_STREQ(wrapper, c);
}

std::string FailureOf(const std::wstring& path) {
  LoadError error;
  EXPECT_FALSE(Launcher::Load(path, error));
  return launcher_host::Describe(error, "X");
}

TEST(WrapperLoading, SaysWhyThereIsNoLauncher) {
  const TempDirectory work;
  EXPECT_EQ(CountOf(FailureOf(work.Join(L"none.dll")), "cannot load X: "), 1U);
  EXPECT_EQ(FailureOf(work.WriteFile(L"text.dll", "no DLL")),
            "cannot load X: it is no DLL for 64-bit programs (error 193)");
  EXPECT_EQ(FailureOf(L"kernel32.dll"),
            "X is no launcher: it does not export g_LauncherABIVersion");
  LoadError other;
  other.kind = LoadError::Kind::kOtherContract;
  other.abiVersion = 7;
  EXPECT_EQ(launcher_host::Describe(other, "X"), "X has ABI version 7, this program knows 1");
}

TEST(WrapperText, ConvertsBothWays) {
  const std::wstring wide = L"\x00E9\x20AC\xD83D\xDE00";
  EXPECT_EQ(launcher_host::ToUtf8(wide), "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(launcher_host::ToWide("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), wide);
  EXPECT_EQ(launcher_host::ToUtf8(L"\xD83D"), "\xEF\xBF\xBD");
  EXPECT_EQ(launcher_host::ToWide("\xFF"), L"\xFFFD");
}

class Wrapper : public testing::Test {
 protected:
  Wrapper() { EXPECT_TRUE(launcher) << launcher_host::Describe(error); }

  LoadError error;
  Launcher launcher = Launcher::Load(LauncherDllPath(), error);
};

TEST_F(Wrapper, TakesTextsInBothEncodings) {
  EXPECT_STREQ(launcher.Version(), L"162");
  EXPECT_EQ(launcher.GetLauncherVersion().Utf8(), "162");
  const std::string utf8 = "\xC3\xA9";
  const std::wstring wide = L"\x00E9";
  EXPECT_TRUE(launcher.SetParameter(launcher_host::app::kSolano, utf8, "one"));
  EXPECT_EQ(launcher.GetParameter("SOLANO-GAME", wide).Utf8(), "one");
  EXPECT_TRUE(launcher.SetParameter(L"SOLANO-GAME", std::string_view(utf8), wide));
  EXPECT_STREQ(launcher.GetParameter("SOLANO-GAME", utf8.c_str()).Wide(), L"\x00E9");
  EXPECT_STREQ(launcher.GetVersion("NONE").Wide(), launcher_host::kInvalidAppId);
  EXPECT_STREQ(launcher.GetExtraArguments("NONE").Wide(), launcher_host::kInvalidAppId);
  EXPECT_FALSE(launcher.IsInstalled("NONE"));
  EXPECT_FALSE(launcher.IsRunning("NONE"));
  EXPECT_FALSE(launcher.Kill("NONE"));
  EXPECT_FALSE(launcher.Launch("NONE"));
  EXPECT_FALSE(launcher.SendCommand("NONE", "command", "word"));
}

TEST_F(Wrapper, EventsCarryEveryText) {
  launcher.PostEvent("source", "name", "0", "1", "2", "3", "4", "5", "6", "7");
  EXPECT_EQ(WaitForSingleObject(launcher.WakeEvent(), 0), WAIT_OBJECT_0);
  const Event event = launcher.NextEvent();
  ASSERT_TRUE(event);
  EXPECT_EQ(event.SourceUtf8(), "source");
  EXPECT_EQ(event.NameUtf8(), "name");
  for (int i = 0; i < Event::kArgumentCount; ++i) {
    EXPECT_EQ(event.ArgumentUtf8(i), std::to_string(i));
  }
  EXPECT_STREQ(event.Argument(8), L"");
  const Event none = launcher.NextEvent();
  EXPECT_FALSE(none);
  EXPECT_STREQ(none.Source(), L"");
}

TEST_F(Wrapper, CanBeMoved) {
  Launcher other;
  EXPECT_FALSE(other);
  EXPECT_STREQ(other.Version(), L"");
  other = std::move(launcher);
  EXPECT_FALSE(launcher);  // NOLINT(bugprone-use-after-move): it is none now
  other.PostEvent("source", "name");
  EXPECT_TRUE(other.NextEvent());
  other = Launcher();
  EXPECT_FALSE(other);
}

TEST_F(Wrapper, TheLoopEndsForEachOfItsReasons) {
  LoopOptions options;
  launcher.PostEvent("source", "first");
  launcher.PostEvent("source", "second");
  launcher.PostEvent("source", "third");
  std::string seen;
  EXPECT_EQ(launcher.Run(options,
                         [&seen](const Event& event) {
                           seen += event.NameUtf8() + " ";
                           return event.NameUtf8() == "second";
                         }),
            LoopEnd::kHandled);
  EXPECT_EQ(seen, "first second ");
  EXPECT_EQ(launcher.NextEvent().NameUtf8(), "third");

  const auto never = [](const Event&) { return false; };
  options.limitMsec = 0;
  EXPECT_EQ(launcher.Run(options, never), LoopEnd::kTimedOut);

  const ScopedHandle stop(CreateEventW(nullptr, TRUE, TRUE, nullptr));
  options.limitMsec = launcher_host::kNoLimit;
  options.stop = stop.Get();
  EXPECT_EQ(launcher.Run(options, never), LoopEnd::kStopped);
}

TEST_F(Wrapper, TheLoopReceivesResults) {
  launcher.PingBatch("batch", std::vector<std::string>{});
  EXPECT_EQ(launcher.Run({}, [](const Event& event) { return event.IsPingResult(); }),
            LoopEnd::kHandled);
}

TEST_F(Wrapper, ResultsAreToldFromCommands) {
  launcher.PostEvent("", "PingBatchResult");
  EXPECT_TRUE(launcher.NextEvent().IsPingResult());
  launcher.PostEvent("SOLANO-GAME", "PingBatchResult");
  EXPECT_FALSE(launcher.NextEvent().IsPingResult());
  launcher.PostEvent("my request", "QueryServerResult");
  EXPECT_TRUE(launcher.NextEvent().IsQueryResult());
  launcher.PostEvent("SOLANO-GAME", "QueryServerResult");
  EXPECT_FALSE(launcher.NextEvent().IsQueryResult());
  launcher.PostEvent("SOLANO-GAME", "StateChanged", "READY");
  EXPECT_TRUE(launcher.NextEvent().IsState(L"SOLANO-GAME", L"READY"));
  const std::array<std::array<const char*, 3>, 3> others{{{"TAVR-GAME", "StateChanged", "READY"},
                                                          {"SOLANO-GAME", "Changed", "READY"},
                                                          {"SOLANO-GAME", "StateChanged", "GONE"}}};
  for (const auto& [source, name, state] : others) {
    launcher.PostEvent(source, name, state);
    EXPECT_FALSE(launcher.NextEvent().IsState(L"SOLANO-GAME", L"READY")) << source << name;
  }
}

TEST_F(Wrapper, HandlersAreCalledByName) {
  std::string calls;
  const auto note = [&calls](const char* name) {
    return [&calls, name](const Event&) { calls += std::string(name) + " "; };
  };
  EventHandlers handlers;
  const auto dispatch = [&](const char* source, const char* name) {
    launcher.PostEvent(source, name);
    return handlers.Dispatch(launcher.NextEvent());
  };
  EXPECT_FALSE(dispatch("", "anything"));
  handlers.On("Say", note("old"));
  handlers.On("Say", note("say"));
  handlers.On("PingBatchResult", note("command"));
  handlers.OnPingResult(note("ping"));
  handlers.OnQueryResult(note("query"));
  EXPECT_FALSE(dispatch("", "anything"));
  handlers.Otherwise(note("other"));
  EXPECT_TRUE(dispatch("SOLANO-GAME", "Say"));
  EXPECT_TRUE(dispatch("", "PingBatchResult"));
  EXPECT_TRUE(dispatch("SOLANO-GAME", "PingBatchResult"));
  EXPECT_TRUE(dispatch("request", "QueryServerResult"));
  EXPECT_TRUE(dispatch("SOLANO-GAME", "say"));
  EXPECT_EQ(calls, "say ping command query other ");
}

TEST_F(Wrapper, EventsAndTextsAreHandedBack) {
  EXPECT_EQ(GrowthOf([this] {
              launcher.PostEvent("", "lost");
              launcher.NextEvent();
              launcher.PostEvent("", "replaced");
              Event event = launcher.NextEvent();
              event = Event();
            }).blocks,
            0);
  EXPECT_EQ(GrowthOf([this] {
              launcher.GetLauncherVersion();
              launcher_host::String text = launcher.GetLauncherVersion();
              text = launcher.GetLauncherVersion();
            }).blocks,
            0);
}

/// The adapter that a host writes for its JSON library.
class NlohmannReader final : public launcher_host::JsonReader {
 public:
  bool Read(std::string_view json, launcher_host::JsonSink& sink) override {
    const auto document = nlohmann::ordered_json::parse(json, nullptr, false);
    if (document.is_discarded()) return false;
    Walk("", document, sink);
    return true;
  }

 private:
  static void Walk(const std::string& key, const nlohmann::ordered_json& value,
                   launcher_host::JsonSink& sink) {
    if (!value.is_structured()) {
      sink.Value(key, value.is_string() ? value.get<std::string>() : value.dump());
      return;
    }
    sink.Begin(key);
    for (const auto& [name, member] : value.items()) {
      Walk(value.is_object() ? name : "", member, sink);
    }
    sink.End();
  }
};

class WrapperResults : public Wrapper {
 protected:
  Event Result(const std::string& json) {
    launcher.PostEvent("", "PingBatchResult", "batch", json);
    return launcher.NextEvent();
  }

  NlohmannReader reader;
};

TEST_F(WrapperResults, PingTimesAreRead) {
  std::vector<launcher_host::PingTime> times;
  ASSERT_TRUE(ReadPingResult(Result(R"([{"ipAddress": "10.0.0.1", "roundTripMSEC": 23},
                                        {"ipAddress": "\u00E9", "roundTripMSEC": 4294967295}])"),
                             reader, times));
  ASSERT_EQ(times.size(), 2U);
  EXPECT_EQ(times[0].address, "10.0.0.1");
  EXPECT_EQ(times[0].milliseconds, 23U);
  EXPECT_EQ(times[1].address, "\xC3\xA9");
  EXPECT_EQ(times[1].milliseconds, launcher_host::kNoAnswerMsec);
  for (const char* const bad :
       {"", "[", R"([{"ipAddress": "", "roundTripMSEC": 4294967296}])",
        R"([{"ipAddress": "", "roundTripMSEC": -1}])", R"([{"roundTripMSEC": "1x"}])"}) {
    EXPECT_FALSE(ReadPingResult(Result(bad), reader, times)) << bad;
  }
}

std::string Server(const std::string& modeSection) {
  return R"({"status": "SUCCESS", "platform": "1", "persistedIdPart1": "2", "persistedIdPart2": "3",
    "gameId": "18446744073709551615", "gameMode": "Frontier0", "mapVariant": 4,
    "currentMap": "Harbour", "roundTime": "754", "defaultRoundTimeMultiplier": "100",
    "maxPlayers": 64, "waitingPlayers": 1, )" +
         modeSection + R"(
    "teamInfo": {"0": {"faction": 7, "players": {
      "1001": {"name": "Aldo", "tag": "RED", "rank": 5, "score": 4294967295, "kills": 21,
               "deaths": 4, "squad": 1, "role": 2},
      "1002": {"name": "Bryn", "tag": "", "rank": 6, "score": 0, "kills": 0, "deaths": 0,
               "squad": 0, "role": 0}}},
    "1": {"faction": 8, "players": {}}}})";
}

TEST_F(WrapperResults, AServersStateIsRead) {
  launcher_host::ServerState state;
  ASSERT_TRUE(ReadQueryResult(
      Result(Server(R"("frontier": {"1": {"tickets": 340, "ticketsMax": 400}},)")), reader, state));
  EXPECT_EQ(state.status, "SUCCESS");
  EXPECT_EQ(state.platform, "1");
  EXPECT_EQ(state.persistedIdPart1, "2");
  EXPECT_EQ(state.persistedIdPart2, "3");
  EXPECT_EQ(state.gameId, "18446744073709551615");
  EXPECT_EQ(state.gameMode, "Frontier0");
  EXPECT_EQ(state.mapVariant, 4U);
  EXPECT_EQ(state.currentMap, "Harbour");
  EXPECT_EQ(state.roundTime, "754");
  EXPECT_EQ(state.defaultRoundTimeMultiplier, "100");
  EXPECT_EQ(state.maxPlayers, 64U);
  EXPECT_EQ(state.waitingPlayers, 1U);
  EXPECT_EQ(state.modeKind, "frontier");
  ASSERT_EQ(state.modeRows.size(), 1U);
  EXPECT_EQ(state.modeRows[0].name, "1");
  EXPECT_EQ(state.modeRows[0].values,
            (launcher_host::NamedNumbers{{"tickets", 340}, {"ticketsMax", 400}}));
  ASSERT_EQ(state.teams.size(), 2U);
  EXPECT_EQ(state.teams[0].faction, 7U);
  EXPECT_EQ(state.teams[1].faction, 8U);
  EXPECT_TRUE(state.teams[1].players.empty());
  ASSERT_EQ(state.teams[0].players.size(), 2U);
  const launcher_host::Player& player = state.teams[0].players[0];
  EXPECT_EQ(player.playerId, "1001");
  EXPECT_EQ(player.name, "Aldo");
  EXPECT_EQ(player.tag, "RED");
  EXPECT_EQ(player.rank, 5U);
  EXPECT_EQ(player.score, 4294967295U);
  EXPECT_EQ(player.kills, 21U);
  EXPECT_EQ(player.deaths, 4U);
  EXPECT_EQ(player.squad, 1U);
  EXPECT_EQ(player.role, 2U);
}

TEST_F(WrapperResults, ModesAreRead) {
  launcher_host::ServerState state;
  ASSERT_TRUE(ReadQueryResult(
      Result(Server(
          R"("armsLadder": {"maxArmsLadderLevel": 12, "players": {"1001": 3, "1002": 4}},)")),
      reader, state));
  EXPECT_EQ(state.modeKind, "armsLadder");
  ASSERT_EQ(state.modeRows.size(), 2U);
  EXPECT_EQ(state.modeRows[1].name, "1002");
  EXPECT_EQ(state.modeRows[1].values,
            (launcher_host::NamedNumbers{{"level", 4}, {"maxLevel", 12}}));
  ASSERT_TRUE(ReadQueryResult(Result(Server("")), reader, state));
  EXPECT_EQ(state.modeKind, "");
  EXPECT_TRUE(state.modeRows.empty());
  EXPECT_EQ(state.teams.size(), 2U);
}

TEST_F(WrapperResults, OddDocumentsDoNoHarm) {
  launcher_host::ServerState state;
  for (const char* const odd :
       {"7", "[]", "[[[[[7]]]]]", R"({"teamInfo": 7})", R"({"teamInfo": {"0": {"players": 7}}})",
        R"({"armsLadder": {"players": {"1": {"2": 3}}}})", R"({"x": {"y": 1}})"}) {
    ReadQueryResult(Result(odd), reader, state);
    std::vector<launcher_host::PingTime> times;
    ReadPingResult(Result(odd), reader, times);
  }
  EXPECT_FALSE(ReadQueryResult(Result(R"({"maxPlayers": "many"})"), reader, state));
}

}  // namespace
}  // namespace test_support
