// The exchange with the helper program: the pipe, the request, the reply, and what is left when one
// of them fails.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/helper_installation.h"
#include "tests/support/import_redirector.h"
#include "tests/support/ping_helper.h"
#include "tests/support/stream_capture.h"
#include "tests/support/text.h"
// After the Windows headers that it relies on.
#include <objbase.h>

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr wchar_t kNoTime[] =
    L"[\n\t{\n\t\t\"ipAddress\": \"10.0.0.1\",\n\t\t\"roundTripMSEC\": 0\n\t}\n]\n";
constexpr wchar_t kSevenMsec[] =
    L"[\n\t{\n\t\t\"ipAddress\": \"10.0.0.1\",\n\t\t\"roundTripMSEC\": 7\n\t}\n]\n";

/// One batch from its start to its result: the event's JSON text.
std::wstring PingOne(DllHost& host) {
  const wchar_t* const addresses[] = {L"10.0.0.1"};
  host->PingBatch(L"batch", addresses, 1);
  const std::optional<Event> event = host.WaitForEvent(L"PingBatchResult");
  host->WaitForThreads();
  return event ? event->arg[1] : L"<no event>";
}

/// Watches what the library does with a batch's pipe, and changes what it is answered.
class PipeCalls {
 public:
  using Read = std::function<BOOL(HANDLE, void*, DWORD, DWORD*)>;

  explicit PipeCalls(HMODULE module)
      : creates(module,
                [this](LPCWSTR name, DWORD openMode, DWORD pipeMode, DWORD instances, DWORD out,
                       DWORD in, DWORD timeout, SECURITY_ATTRIBUTES* security) {
                  pipeName = name;
                  EXPECT_EQ(openMode, 3U);
                  EXPECT_EQ(pipeMode, 6U);
                  EXPECT_EQ(instances, 255U);
                  EXPECT_EQ(out, 1024U);
                  EXPECT_EQ(in, 1024U);
                  EXPECT_EQ(timeout, 1000U);
                  EXPECT_EQ(security, nullptr);
                  Note("CreateNamedPipeW");
                  pipe = creates.CallOriginal(name, openMode, pipeMode, instances, out, in, timeout,
                                              security);
                  return pipe;
                }),
        connects(module,
                 [this](HANDLE handle, OVERLAPPED* overlapped) {
                   Note(handle, "ConnectNamedPipe");
                   EXPECT_EQ(overlapped, nullptr);
                   if (connectError) {
                     SetLastError(*connectError);
                     return FALSE;
                   }
                   const BOOL connected = connects.CallOriginal(handle, overlapped);
                   connectResult = connected ? ERROR_SUCCESS : GetLastError();
                   return connected;
                 }),
        reads(
            module,
            [this](HANDLE handle, void* buffer, DWORD size, DWORD* count, OVERLAPPED* overlapped) {
              Note(handle, "ReadFile");
              SetEvent(reading.Get());
              EXPECT_EQ(size, 1024U);
              EXPECT_NE(count, nullptr);
              EXPECT_EQ(overlapped, nullptr);
              if (read) return read(handle, buffer, size, count);
              return reads.CallOriginal(handle, buffer, size, count, overlapped);
            }),
        disconnects(module,
                    [this](HANDLE handle) {
                      Note(handle, "DisconnectNamedPipe");
                      return disconnects.CallOriginal(handle);
                    }),
        closes(module, [this](HANDLE handle) {
          Note(handle, "CloseHandle");
          return closes.CallOriginal(handle);
        }) {}

  /// Adds a call that is not the pipe's.
  void Note(const char* call) { calls.emplace_back(call); }

  // What the library is answered; the system's answers by default. Set before the batch starts.
  std::optional<DWORD> connectError;
  Read read;

  // To be read after the batch has ended.
  const std::vector<std::string>& Names() const { return calls; }
  const std::wstring& PipeName() const { return pipeName; }
  /// ERROR_SUCCESS, or the error of the real ConnectNamedPipe.
  DWORD ConnectResult() const { return connectResult; }

  /// Waits until the library begins to read.
  void WaitForRead() const { EXPECT_TRUE(WaitFor(reading.Get(), kPatienceMs)); }

  /// The pipe that the library has left open, to be closed by the test.
  ScopedHandle TakePipe() const { return ScopedHandle(pipe); }

 private:
  void Note(HANDLE handle, const char* call) {
    if (handle == pipe) Note(call);
  }

  std::wstring pipeName;
  HANDLE pipe = INVALID_HANDLE_VALUE;
  DWORD connectResult = MAXDWORD;
  ScopedHandle reading = MakeManualResetEvent();
  std::vector<std::string> calls;
  IMPORT_HOOK(CreateNamedPipeW) creates;
  IMPORT_HOOK(ConnectNamedPipe) connects;
  IMPORT_HOOK(ReadFile) reads;
  IMPORT_HOOK(DisconnectNamedPipe) disconnects;
  IMPORT_HOOK(CloseHandle) closes;
};

/// Gives the library this identifier in place of new ones.
class FixedGuid {
 public:
  explicit FixedGuid(HMODULE module)
      : hook(module, [](GUID* guid) {
          *guid = {0x0A2B4C6D, 0x1E2F, 0x3A4B, {0x8C, 0x9D, 0x01, 0x23, 0x45, 0x67, 0x89, 0xEF}};
          return S_OK;
        }) {}

 private:
  IMPORT_HOOK(CoCreateGuid) hook;
};

TEST(PingExchange, EveryBatchHasAPipeOfItsOwn) {
  DllHost host;
  const PingHelper helper(host.Module(), PingReply({7}));
  for (int i = 0; i < 3; ++i) PingOne(host);
  std::set<std::wstring> names;
  for (const HelperStart& start : helper.Starts()) {
    const std::wstring name = PipeNameOf(start.request);
    names.insert(name);
    // A GUID in registry form, in capitals.
    ASSERT_EQ(name.size(), 9U + 38U);
    EXPECT_EQ(name.substr(0, 10), L"\\\\.\\pipe\\{");
    EXPECT_EQ(name.find_first_not_of(L"0123456789ABCDEF-", 10), 46U) << Narrow(name);
    EXPECT_EQ(name.back(), L'}');
    for (const std::size_t hyphen : {18U, 23U, 28U, 33U}) EXPECT_EQ(name[hyphen], L'-');
  }
  EXPECT_THAT(names, SizeIs(3));
}

TEST(PingExchange, HelperIsStartedThroughTheShell) {
  DllHost host;
  const PingHelper helper(host.Module(), PingReply({7}));
  EXPECT_EQ(PingOne(host), kSevenMsec);
  ASSERT_THAT(helper.Starts(), SizeIs(1));
  const HelperStart start = helper.Starts()[0];
  EXPECT_EQ(start.info.cbSize, 112U);
  EXPECT_EQ(start.info.fMask, 0x100400U);
  EXPECT_EQ(start.verb, L"open");
  EXPECT_EQ(start.file, helper.Installation().HelperPath());
  EXPECT_EQ(start.info.nShow, 1);
  // The rest is zero: no window, no directory, no process handle, ...
  SHELLEXECUTEINFOW zeroed = {};
  zeroed.cbSize = start.info.cbSize;
  zeroed.fMask = start.info.fMask;
  zeroed.lpVerb = start.info.lpVerb;
  zeroed.lpFile = start.info.lpFile;
  zeroed.lpParameters = start.info.lpParameters;
  zeroed.nShow = start.info.nShow;
  EXPECT_EQ(std::memcmp(&start.info, &zeroed, sizeof(zeroed)), 0);
}

// The request names every address, and the first 256 get a time. Nothing limits the length of either,
// of the text or of its line in the log.
TEST(PingExchange, RequestAndResultNameEveryAddress) {
  for (const unsigned int count : {0U, 1U, 256U, 257U, 1100U}) {
    SCOPED_TRACE(count);
    DllHost host;
    // Little-endian numbers, beginning with 0x12345600, which is 305419776.
    std::string reply;
    for (unsigned int i = 0; i < 256; ++i)
      reply += static_cast<char>(i) + std::string("\x56\x34\x12");
    const FixedGuid guid(host.Module());
    const PipeCalls pipe(host.Module());
    const PingHelper helper(host.Module(), reply);
    const std::wstring name = LR"(\\.\pipe\{0A2B4C6D-1E2F-3A4B-8C9D-0123456789EF})";
    std::vector<std::wstring> texts;
    std::wstring request = L"ICMP|500|" + name + L"|";
    std::wstring json = L"[\n";
    for (unsigned int i = 0; i < count; ++i) {
      texts.push_back(L"a server far away, number " + std::to_wstring(i));
      request += texts.back() + L"|";
      json += L"\t{\n\t\t\"ipAddress\": \"" + texts.back() + L"\",\n\t\t\"roundTripMSEC\": " +
              (i < 256 ? std::to_wstring(305419776 + i) : L"0") + L"\n" +
              (i + 1 < count ? L"\t},\n" : L"\t}\n");
    }
    json += L"]\n";
    std::vector<const wchar_t*> addresses;
    for (const std::wstring& text : texts) addresses.push_back(text.c_str());
    StreamCapture log;
    host->PingBatch(L"batch", addresses.data(), count);
    const std::optional<Event> event = host.WaitForEvent(L"PingBatchResult");
    host->WaitForThreads();
    log.Stop();
    ASSERT_TRUE(event);
    EXPECT_TRUE(event->arg[1] == json);
    EXPECT_EQ(pipe.PipeName(), name);
    ASSERT_THAT(helper.Starts(), SizeIs(1));
    EXPECT_TRUE(helper.Starts()[0].request == request);
    EXPECT_EQ(CountOf(log.Text(), "AppLauncher::PingThreadWrap: JSON:\n" + Narrow(json) + "\n\n"),
              1U);
  }
}

// One of 1024 bytes is the only good one.
TEST(PingExchange, OtherRepliesAreRefused) {
  const std::vector<std::string> cases[] = {{},
                                            {std::string(1023, '\x01')},
                                            {std::string(1025, '\x01')},
                                            {std::string(512, '\x01'), std::string(512, '\x01')}};
  for (const std::vector<std::string>& messages : cases) {
    DllHost host;
    const PipeCalls pipe(host.Module());
    const PingHelper helper(host.Module(), [&](const std::wstring& request) {
      const ScopedHandle end = ConnectToBatch(request);
      EXPECT_TRUE(end);
      // Failures are the library's leaving, after the first message.
      for (const std::string& message : messages) WriteMessage(end, message);
      pipe.WaitForRead();
      WaitUntilRead(end);
    });
    EXPECT_EQ(PingOne(host), kNoTime);
    EXPECT_THAT(pipe.Names(),
                ElementsAre("CreateNamedPipeW", "ConnectNamedPipe", "ReadFile", "CloseHandle"));
  }
}

// What a read says of itself counts, not what it leaves in the buffer.
TEST(PingExchange, FailedAndShortReadsAreRefused) {
  const struct {
    DWORD size;
    BOOL succeeded;
  } cases[] = {{1024, FALSE}, {0, TRUE}, {1, TRUE}, {1023, TRUE}};
  for (const auto& [size, succeeded] : cases) {
    DllHost host;
    PipeCalls pipe(host.Module());
    pipe.read = [&](HANDLE, void* buffer, DWORD capacity, DWORD* count) {
      std::memset(buffer, 1, capacity);
      *count = size;
      SetLastError(ERROR_MORE_DATA);
      return succeeded;
    };
    const PingHelper helper(host.Module(), PingReply({7}));
    EXPECT_EQ(PingOne(host), kNoTime) << size;
    EXPECT_THAT(pipe.Names(),
                ElementsAre("CreateNamedPipeW", "ConnectNamedPipe", "ReadFile", "CloseHandle"));
  }
}

/// Plays a helper that has connected and answered before the shell returns.
class FirstHelper {
 public:
  explicit FirstHelper(
      HMODULE module, const std::function<void()>& note = [] {})
      : hook(module, [this, note](SHELLEXECUTEINFOW* info) {
          note();
          end = ConnectToBatch(info->lpParameters);
          EXPECT_TRUE(WriteMessage(end, PingReply({7})));
          return TRUE;
        }) {}

 private:
  HelperInstallation installation;
  ScopedHandle end;
  IMPORT_HOOK(ShellExecuteExW) hook;
};

// Each call is made once. The identifier is written into a buffer of 256 characters.
TEST(PingExchange, HelperMayConnectFirst) {
  DllHost host;
  PipeCalls pipe(host.Module());
  GUID made = {};
  IMPORT_HOOK(CoCreateGuid) creates(host.Module());
  creates.SetReplacement([&](GUID* guid) {
    pipe.Note("CoCreateGuid");
    const HRESULT result = creates.CallOriginal(guid);
    made = *guid;
    return result;
  });
  IMPORT_HOOK(StringFromGUID2) texts(host.Module());
  texts.SetReplacement([&](REFGUID guid, LPOLESTR text, int size) {
    pipe.Note("StringFromGUID2");
    EXPECT_EQ(std::memcmp(&made, &guid, sizeof(GUID)), 0);
    EXPECT_EQ(size, 256);
    return texts.CallOriginal(guid, text, size);
  });
  IMPORT_HOOK(GetEnvironmentVariableW) variables(host.Module());
  variables.SetReplacement([&](auto... arguments) {
    pipe.Note("GetEnvironmentVariableW");
    return variables.CallOriginal(arguments...);
  });
  ImportHook<"_wstat64", int(const wchar_t*, void*)> status(host.Module());
  status.SetReplacement([&](auto... arguments) {
    pipe.Note("_wstat64");
    return status.CallOriginal(arguments...);
  });
  const FirstHelper helper(host.Module(), [&] { pipe.Note("ShellExecuteExW"); });
  EXPECT_EQ(PingOne(host), kSevenMsec);
  EXPECT_EQ(pipe.ConnectResult(), 535U);
  EXPECT_THAT(pipe.Names(),
              ElementsAre("CoCreateGuid", "StringFromGUID2", "CreateNamedPipeW",
                          "GetEnvironmentVariableW", "_wstat64", "ShellExecuteExW",
                          "ConnectNamedPipe", "ReadFile", "DisconnectNamedPipe", "CloseHandle"));
}

TEST(PingExchange, OtherFailuresToConnectCloseThePipe) {
  for (const DWORD error : {0UL, 232UL, 997UL}) {
    DllHost host;
    PipeCalls pipe(host.Module());
    pipe.connectError = error;
    const FirstHelper helper(host.Module());
    EXPECT_EQ(PingOne(host), kNoTime) << error;
    EXPECT_THAT(pipe.Names(), ElementsAre("CreateNamedPipeW", "ConnectNamedPipe", "CloseHandle"));
  }
}

// Only whether something has the helper's name is asked; a directory may have it, too. What it is shows
// when it is started, and a failure then has no line.
TEST(PingExchange, HelperThatDoesNotStartLeavesThePipeOpen) {
  enum class Helper { kMissing, kMissingElsewhere, kDirectory, kFile };
  for (const Helper kind :
       {Helper::kMissing, Helper::kMissingElsewhere, Helper::kDirectory, Helper::kFile}) {
    DllHost host;
    const HelperInstallation installation(kind == Helper::kFile
                                              ? HelperInstallation::Helper::kEmptyFile
                                              : HelperInstallation::Helper::kNone);
    std::wstring path = installation.HelperPath();
    if (kind == Helper::kDirectory) installation.Directory().MakeDirectory(L"helperx64.exe");
    std::optional<EnvironmentVariable> elsewhere;
    if (kind == Helper::kMissingElsewhere) {
      elsewhere.emplace(L"KOVLAUNCH_INSTDIR", LR"(Q:\no such/directory\)");
      path = LR"(Q:\no such/directory\\helperx64.exe)";
    }
    const bool isThere = kind == Helper::kDirectory || kind == Helper::kFile;
    const PipeCalls pipe(host.Module());
    ShellRecorder shell(host.Module());
    shell.Fail(5);
    StreamCapture log;
    EXPECT_EQ(PingOne(host), kNoTime);
    log.Stop();
    const std::string line =
        "AppLauncher::PingThreadProc: wstat of file " + Narrow(path) + " failed\n";
    EXPECT_EQ(
        CountOf(log.Text(), "AppLauncher::PingThreadWrap: Calling ping thread\n" +
                                (isThere ? "" : line) + "AppLauncher::PingThreadWrap: JSON:\n"),
        1U)
        << log.Text();
    ASSERT_THAT(shell.Calls(), SizeIs(isThere ? 1 : 0));
    if (isThere) {
      EXPECT_EQ(shell.Calls()[0].file, path);
    }
    EXPECT_THAT(pipe.Names(), ElementsAre("CreateNamedPipeW"));
    DWORD instances = 0;
    EXPECT_TRUE(GetNamedPipeHandleStateW(pipe.TakePipe().Get(), nullptr, &instances, nullptr,
                                         nullptr, nullptr, 0));
  }
}

TEST(PingExchange, WithoutAPipeOrANameForItNothingIsStarted) {
  for (const bool hasName : {false, true}) {
    DllHost host;
    IMPORT_HOOK(StringFromGUID2) texts(host.Module());
    if (!hasName) texts.FailAlways(0);
    IMPORT_HOOK(CreateNamedPipeW) creates(host.Module());
    creates.FailAlways(INVALID_HANDLE_VALUE, ERROR_PIPE_BUSY);
    IMPORT_HOOK(CloseHandle) closes(host.Module());
    const HelperInstallation installation(HelperInstallation::Helper::kNone);
    const ShellRecorder shell(host.Module());
    StreamCapture log;
    EXPECT_EQ(PingOne(host), kNoTime);
    log.Stop();
    EXPECT_EQ(creates.CallCount(), hasName ? 1U : 0U);
    EXPECT_THAT(shell.Calls(), IsEmpty());
    EXPECT_EQ(CountOf(log.Text(), "AppLauncher::PingThreadProc"), 0U) << log.Text();
    for (const auto& call : closes.Calls()) EXPECT_NE(std::get<0>(call), INVALID_HANDLE_VALUE);
  }
}

TEST(PingExchange, RealHelperProcessAnswers) {
  DllHost host;
  const HelperInstallation installation(HelperInstallation::Helper::kKitProgram);
  const EnvironmentVariable mode(L"KIT_HELPER_PING_MODE", L"fixed");
  const PipeCalls pipe(host.Module());
  const wchar_t* const addresses[] = {L"10.0.0.1", L"a \"quoted\" name"};
  host->PingBatch(L"batch", addresses, 2);
  const std::optional<Event> event = host.WaitForEvent(L"PingBatchResult");
  ASSERT_TRUE(event);
  EXPECT_EQ(event->arg[1],
            L"[\n"
            L"\t{\n\t\t\"ipAddress\": \"10.0.0.1\",\n\t\t\"roundTripMSEC\": 1\n\t},\n"
            L"\t{\n\t\t\"ipAddress\": \"a \"quoted\" name\",\n\t\t\"roundTripMSEC\": 2\n\t}\n"
            L"]\n");
  EXPECT_THAT(installation.WaitForParameterLines(1, kPatienceMs),
              ElementsAre(L"ICMP|500|" + pipe.PipeName() + L"|10.0.0.1|a \"quoted\" name|"));
}

}  // namespace
}  // namespace test_support
