// Parameters of the applications, and their end.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/dll_host.h"
#include "tests/support/log_of.h"
#include "tests/support/pipe_server.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::SizeIs;
using testing::StartsWith;

// An empty name is a name, an empty value a value; long ones are kept and logged whole.
TEST(AppsParameters, SetAndReadAreLogged) {
  const struct {
    std::wstring name;
    std::wstring value;
  } cases[] = {{L"mood", L"blue sky"},
               {L"mood", L"another"},
               {L"mood", L""},
               {L"", L"of no name"},
               {L"na\u00efve", L"\u00fc\u4e2d\U0001f600"},
               {L"long", std::wstring(100000, L'v')}};
  DllHost host;
  for (const wchar_t* const id : {L"SOLANO-GAME", L"OSTREL-APP"}) {
    for (const auto& [name, value] : cases) {
      EXPECT_EQ(LogOf([&] { EXPECT_TRUE(host->SetParameter(id, name.c_str(), value.c_str())); }),
                "BaseApp::SetParameter: Setting parameter " + Narrow(name) + " to " +
                    Narrow(value) + "\n");
      EXPECT_EQ(
          LogOf([&] { EXPECT_EQ(host.GetParameter(id, name.c_str()), value); }),
          "BaseApp::GetParameter: Return paramter " + Narrow(name) + " => " + Narrow(value) + "\n");
    }
  }
}

TEST(AppsParameters, NamesAreComparedExactly) {
  DllHost host;
  host->SetParameter(L"BRENNA-GAME", L"mood", L"blue");
  for (const wchar_t* const name : {L"Mood", L"moo", L"mood ", L""}) {
    EXPECT_EQ(LogOf([&] { EXPECT_EQ(host.GetParameter(L"BRENNA-GAME", name), L""); }),
              "BaseApp::GetParameter: Parameter " + Narrow(name) + " not set, returning empty\n");
  }
}

TEST(AppsParameters, EveryApplicationHasItsOwnAndNothingIsKnownToBeginWith) {
  DllHost host;
  for (const wchar_t* const id : kAllAppIds) {
    for (const wchar_t* const name : {L"APP_VERSION", L"PUNKBUSTER_INSTALLED",
                                      L"EXPANSIONS_INSTALLED", L"EXTRA_ARGUMENTS", L"whose"}) {
      EXPECT_EQ(LogOf([&] { host.GetParameter(id, name); }),
                "BaseApp::GetParameter: Parameter " + Narrow(name) + " not set, returning empty\n");
    }
    EXPECT_TRUE(host->SetParameter(id, L"whose", id));
  }
  for (const wchar_t* const id : kAllAppIds) EXPECT_EQ(host.GetParameter(id, L"whose"), id);
}

// Applications are shown by their addresses, 16 digits each. A game that is still connected loses
// its pipe before its part as an application goes; its place shows the order, too.
TEST(AppsEnd, EveryApplicationIsDestroyedWithALine) {
  const auto appLine = AllOf(StartsWith("BaseApp::~BaseApp: Destroying instance 0"),
                             SizeIs(sizeof("BaseApp::~BaseApp: Destroying instance") + 16));
  DllHost host;
  const std::string launcherLine =
      "AppLauncher::~AppLauncher: Destroying instance " + PointerText(host.Launcher());
  PipeServer game(LR"(\\.\pipe\solano_pellmar)");
  host->PollApps();
  ASSERT_TRUE(game.Accept(kPatienceMs));
  const std::string log = LogOf([&] { host.Destroy(); });
  EXPECT_THAT(Lines(log),
              ElementsAre(launcherLine, appLine, appLine,
                          appLine,  // BRENNA-CTE-GAME, BRENNA-GAME, OSTREL-APP
                          StartsWith("PellmarAppBase::Disconnect: Deleting PipeClient 0"),
                          appLine,  // SOLANO-GAME
                          appLine, appLine, appLine, appLine));
}

}  // namespace
}  // namespace test_support
