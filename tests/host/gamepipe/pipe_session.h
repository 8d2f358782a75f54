// What the tests of a game's pipe have in common.
#ifndef LAUNCHER_TESTS_HOST_GAMEPIPE_PIPE_SESSION_H_
#define LAUNCHER_TESTS_HOST_GAMEPIPE_PIPE_SESSION_H_

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/host/gamepipe/pipe_scripted.h"
#include "tests/support/dll_host.h"
#include "tests/support/stream_capture.h"

namespace test_support {

// The one game that shares its pipe with no other.
inline constexpr wchar_t kGameId[] = L"SOLANO-GAME";

inline Event StateChanged(const std::wstring& source, const std::wstring& state) {
  return {source, L"StateChanged", {state}};
}

inline Event Ready(const std::wstring& source = kGameId) { return StateChanged(source, L"READY"); }

inline Event GameIsGone(const std::wstring& source = kGameId) {
  return StateChanged(source, L"GAMEISGONE");
}

/// Bytes that may hold zeroes, from a literal.
template <std::size_t size>
std::string RawBytes(const char (&literal)[size]) {
  return {literal, size - 1};
}

/// A launcher whose games have no pipes, except that a test may script one of them. Each
/// notification is noted as "notify" among the calls. Diagnostic lines are caught.
class PipeSession : public testing::Test {
 protected:
  using Calls = std::vector<std::string>;

  PipeSession() {
    host.Notifications().SetInsideCall([this] { pipe.Note("notify"); });
  }

  void SetUp() override {
    host.Create();
    ForgetLog();
  }

  void TearDown() override { host.Destroy(); }

  /// One poll; the calls that it made.
  Calls Poll() {
    pipe.TakeCalls();
    host->PollApps();
    return pipe.TakeCalls();
  }

  /// Connects and starts the first read, which stays outstanding.
  void Connect() {
    pipe.Offer();
    host->PollApps();
    host->PollApps();
    pipe.Refuse(ERROR_FILE_NOT_FOUND);
    host.Drain();
    pipe.TakeCalls();
    ForgetLog();
  }

  bool Send(const wchar_t* command, const wchar_t* arg0 = L"", const wchar_t* arg1 = L"",
            const wchar_t* arg2 = L"", const wchar_t* arg3 = L"") {
    return host->SendCommand(kGameId, command, arg0, arg1, arg2, arg3);
  }

  /// The lines since the last time.
  std::string TakeLog() {
    const std::string text = log.Text(logMark);
    logMark += text.size();
    return text;
  }
  void ForgetLog() { logMark = log.Mark(); }

  StreamCapture log{StreamCapture::Stream::kError};
  std::size_t logMark = 0;
  DllHost host{DllHost::Creation::kLater};
  ScriptedPipe pipe{host.Module(), R"(\\.\pipe\solano_pellmar)"};
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_HOST_GAMEPIPE_PIPE_SESSION_H_
