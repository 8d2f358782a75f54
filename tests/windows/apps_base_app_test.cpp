#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "apps/base_app.h"
#include "tests/support/helper_installation.h"
#include "tests/support/import_redirector.h"
#include "tests/support/log_of.h"
#include "tests/support/text.h"

namespace launcher {
namespace {

using test_support::HelperInstallation;
using test_support::LogOf;
using test_support::PointerText;
using test_support::ShellRecorder;
using testing::ElementsAre;

class NoSink final : public EventSink {
 public:
  void PostEvent(const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*,
                 const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*,
                 const wchar_t*) override {
    ADD_FAILURE();
  }
  void QueueEvent(EventPtr) override { ADD_FAILURE(); }
};

class SimpleApp : public BaseApp {
 public:
  explicit SimpleApp(EventSink& sink) : BaseApp(sink, nullptr, L"SOME-APP") {}
  bool IsInstalled() override { return false; }
  bool SendCommand(const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*,
                   const wchar_t*) override {
    return false;
  }
  bool Kill(bool) override { return false; }
  bool Launch(const wchar_t*, bool, const wchar_t*, const wchar_t*, const wchar_t*,
              const wchar_t*) override {
    return false;
  }
  bool IsRunning() override { return false; }
  void Poll() override {}
  std::wstring GetVersion() override { return {}; }
  std::wstring GetExtraArguments() override { return {}; }

  using BaseApp::DoLaunch;
};

HMODULE ThisProgram() { return GetModuleHandleW(nullptr); }

TEST(BaseApp, KeepsItsIdentifier) {
  NoSink sink;
  const SimpleApp app(sink);
  EXPECT_EQ(app.GetId(), L"SOME-APP");
}

TEST(BaseApp, LogsItsEndWithItsAddress) {
  NoSink sink;
  auto app = std::make_unique<SimpleApp>(sink);
  const std::string address = PointerText(static_cast<BaseApp*>(app.get()));
  EXPECT_EQ(LogOf([&] { app.reset(); }),
            "BaseApp::~BaseApp: Destroying instance " + address + "\n");
}

TEST(BaseApp, TellsEmptyAndUnsetParametersApartInTheLogAlone) {
  NoSink sink;
  SimpleApp app(sink);
  EXPECT_EQ(LogOf([&] { EXPECT_EQ(app.GetParameter(L"p"), L""); }),
            "BaseApp::GetParameter: Parameter p not set, returning empty\n");
  EXPECT_EQ(LogOf([&] { app.SetParameter(L"p", L""); }),
            "BaseApp::SetParameter: Setting parameter p to \n");
  EXPECT_EQ(LogOf([&] { EXPECT_EQ(app.GetParameter(L"p"), L""); }),
            "BaseApp::GetParameter: Return paramter p => \n");
  app.SetParameter(L"p", L"1");
  app.SetParameter(L"p", L"2");
  app.SetParameter(L"P", L"3");
  EXPECT_EQ(app.GetParameter(L"p"), L"2");
  EXPECT_EQ(app.GetParameter(L"P"), L"3");
}

TEST(DoLaunch, FieldsStandInTheirOrder) {
  const HelperInstallation helper;
  const ShellRecorder shell(ThisProgram());
  EXPECT_EQ(LogOf([] { EXPECT_TRUE(SimpleApp::DoLaunch(L"w", L"p", L"n", L"c", true)); }),
            "BaseApp::DoLaunch:102: Launching:\n"
            ">>> BinaryName:  n\n"
            ">>> BinaryPath:  p\n"
            ">>> CommandLine: c\n"
            ">>> WorkDir:     w\n"
            ">>> Success!\n");
  ASSERT_EQ(shell.Calls().size(), 1U);
  EXPECT_EQ(shell.Calls()[0].parameters, L"YES|SW_SHOWNA|p|n|w|c");
}

TEST(DoLaunch, EmptyFieldsLeaveTheirSeparators) {
  const HelperInstallation helper;
  const ShellRecorder shell(ThisProgram());
  EXPECT_TRUE(SimpleApp::DoLaunch(L"", L"", L"", L"", false));
  ASSERT_EQ(shell.Calls().size(), 1U);
  EXPECT_EQ(shell.Calls()[0].parameters, L"NO|SW_SHOWNA||||");
}

TEST(DoLaunch, HelperIsLookedForOnEveryCall) {
  const HelperInstallation first(HelperInstallation::Helper::kNone);
  const ShellRecorder shell(ThisProgram());
  EXPECT_FALSE(SimpleApp::DoLaunch(L"", L"", L"", L"", false));
  const HelperInstallation second;
  EXPECT_TRUE(SimpleApp::DoLaunch(L"", L"", L"", L"", false));
  ASSERT_EQ(shell.Calls().size(), 1U);
  EXPECT_EQ(shell.Calls()[0].file, second.HelperPath());
}

TEST(PostStateChange, LeavesTheOtherTextsOut) {
  class Recorder final : public EventSink {
   public:
    void PostEvent(const wchar_t* source, const wchar_t* name, const wchar_t* arg0,
                   const wchar_t* arg1, const wchar_t* arg2, const wchar_t* arg3,
                   const wchar_t* arg4, const wchar_t* arg5, const wchar_t* arg6,
                   const wchar_t* arg7) override {
      texts = {source, name, arg0};
      for (const wchar_t* const arg : {arg1, arg2, arg3, arg4, arg5, arg6, arg7}) {
        EXPECT_EQ(arg, nullptr);
      }
    }
    void QueueEvent(EventPtr) override { ADD_FAILURE(); }

    std::vector<std::wstring> texts;
  };
  Recorder sink;
  PostStateChange(sink, L"SOME-APP", L"PENDING");
  EXPECT_THAT(sink.texts, ElementsAre(L"SOME-APP", L"StateChanged", L"PENDING"));
}

}  // namespace
}  // namespace launcher
