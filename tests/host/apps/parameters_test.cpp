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

TEST(AppsParameters, UnsetOneReadsAsEmptyAndIsLogged) {
  DllHost host;
  std::wstring value = L"untouched";
  EXPECT_EQ(LogOf([&] { value = host.GetParameter(L"TAVR-GAME", L"binaryName"); }),
            "BaseApp::GetParameter: Parameter binaryName not set, returning empty\n");
  EXPECT_EQ(value, L"");
}

TEST(AppsParameters, SetAndReadAreLogged) {
  DllHost host;
  bool set = false;
  EXPECT_EQ(LogOf([&] { set = host->SetParameter(L"TAVR-GAME", L"mood", L"blue sky"); }),
            "BaseApp::SetParameter: Setting parameter mood to blue sky\n");
  EXPECT_TRUE(set);
  std::wstring value;
  EXPECT_EQ(LogOf([&] { value = host.GetParameter(L"TAVR-GAME", L"mood"); }),
            "BaseApp::GetParameter: Return paramter mood => blue sky\n");
  EXPECT_EQ(value, L"blue sky");
}

TEST(AppsParameters, EmptyValueCountsAsSet) {
  DllHost host;
  host->SetParameter(L"SOLANO-GAME", L"mood", L"");
  std::wstring value = L"untouched";
  EXPECT_EQ(LogOf([&] { value = host.GetParameter(L"SOLANO-GAME", L"mood"); }),
            "BaseApp::GetParameter: Return paramter mood => \n");
  EXPECT_EQ(value, L"");
}

TEST(AppsParameters, SecondValueReplacesTheFirst) {
  DllHost host;
  host->SetParameter(L"BRENNA-GAME", L"mood", L"first");
  host->SetParameter(L"BRENNA-GAME", L"mood", L"second");
  EXPECT_EQ(host.GetParameter(L"BRENNA-GAME", L"mood"), L"second");
}

TEST(AppsParameters, NamesAreComparedExactly) {
  DllHost host;
  host->SetParameter(L"BRENNA-GAME", L"mood", L"blue");
  EXPECT_EQ(host.GetParameter(L"BRENNA-GAME", L"Mood"), L"");
  EXPECT_EQ(host.GetParameter(L"BRENNA-GAME", L"moo"), L"");
  EXPECT_EQ(host.GetParameter(L"BRENNA-GAME", L"mood "), L"");
}

TEST(AppsParameters, TextBeyondAsciiIsKeptAndLoggedWhole) {
  DllHost host;
  const std::wstring value = L"\u00fc\u4e2d\U0001f600";
  EXPECT_EQ(LogOf([&] { host->SetParameter(L"BRENNA-GAME", L"na\u00efve", value.c_str()); }),
            "BaseApp::SetParameter: Setting parameter na\xC3\xAFve to "
            "\xC3\xBC\xE4\xB8\xAD\xF0\x9F\x98\x80\n");
  EXPECT_EQ(host.GetParameter(L"BRENNA-GAME", L"na\u00efve"), value);
}

TEST(AppsParameters, LongValueIsKeptAndLoggedWhole) {
  DllHost host;
  const std::wstring value(100000, L'v');
  std::string line = "BaseApp::SetParameter: Setting parameter long to ";
  line.append(value.size(), 'v').append("\n");
  EXPECT_EQ(LogOf([&] { host->SetParameter(L"BRENNA-GAME", L"long", value.c_str()); }), line);
  EXPECT_EQ(host.GetParameter(L"BRENNA-GAME", L"long"), value);
}

TEST(AppsParameters, EveryApplicationHasItsOwn) {
  DllHost host;
  for (const wchar_t* const id : kAllAppIds) {
    EXPECT_TRUE(host->SetParameter(id, L"whose", id));
  }
  for (const wchar_t* const id : kAllAppIds) {
    EXPECT_EQ(host.GetParameter(id, L"whose"), id);
  }
}

TEST(AppsParameters, NothingIsKnownToBeginWith) {
  DllHost host;
  for (const wchar_t* const id : kAllAppIds) {
    for (const wchar_t* const name :
         {L"APP_VERSION", L"PUNKBUSTER_INSTALLED", L"EXPANSIONS_INSTALLED", L"EXTRA_ARGUMENTS"}) {
      EXPECT_EQ(LogOf([&] { host.GetParameter(id, name); }),
                "BaseApp::GetParameter: Parameter " + Narrow(name) + " not set, returning empty\n");
    }
  }
}

// Instances are told by their addresses, 16 digits each.
const auto kLauncherLine =
    AllOf(StartsWith("AppLauncher::~AppLauncher: Destroying instance 0"),
          SizeIs(sizeof("AppLauncher::~AppLauncher: Destroying instance") + 16));
const auto kAppLine = AllOf(StartsWith("BaseApp::~BaseApp: Destroying instance 0"),
                            SizeIs(sizeof("BaseApp::~BaseApp: Destroying instance") + 16));

TEST(AppsEnd, EveryApplicationIsDestroyedWithALine) {
  DllHost host;
  const std::string log = LogOf([&] { host.Destroy(); });
  EXPECT_THAT(Lines(log), ElementsAre(kLauncherLine, kAppLine, kAppLine, kAppLine, kAppLine,
                                      kAppLine, kAppLine, kAppLine, kAppLine));
}

// A game that is still connected loses its pipe before its part as an application goes. Its place
// among the others also shows their order.
TEST(AppsEnd, PipeGoesBeforeTheApplication) {
  DllHost host;
  PipeServer game(LR"(\\.\pipe\solano_pellmar)");
  host->PollApps();
  ASSERT_TRUE(game.Accept(kPatienceMs));
  const std::string log = LogOf([&] { host.Destroy(); });
  EXPECT_THAT(Lines(log),
              ElementsAre(kLauncherLine, kAppLine, kAppLine,
                          kAppLine,  // BRENNA-CTE-GAME, BRENNA-GAME, OSTREL-APP
                          StartsWith("PellmarAppBase::Disconnect: Deleting PipeClient 0"),
                          kAppLine,  // SOLANO-GAME
                          kAppLine, kAppLine, kAppLine, kAppLine));
}

}  // namespace
}  // namespace test_support
