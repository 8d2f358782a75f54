// The exchange with the helper program: the pipe, the request, the reply, and what is left when one
// of them fails.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
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
#include <sys/stat.h>

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// The name under which the run-time exports its file-status call.
using FileStatusHook = ImportHook<"_wstat64", int(const wchar_t*, struct _stat64*)>;

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

  // What the library is answered; the system's answers by default. Set before the batch starts.
  std::optional<DWORD> connectError;
  Read read;

  // To be read after the batch has ended.
  const std::vector<std::string>& OfThePipe() const { return calls; }
  const std::wstring& PipeName() const { return pipeName; }
  /// ERROR_SUCCESS, or the error of the real ConnectNamedPipe.
  DWORD ConnectResult() const { return connectResult; }

  /// Waits until the library begins to read.
  void WaitForRead() const { EXPECT_TRUE(WaitFor(reading.Get(), kPatienceMs)); }

  /// The pipe that the library has left open, to be closed by the test.
  ScopedHandle TakePipe() const { return ScopedHandle(pipe); }

 private:
  void Note(HANDLE handle, const char* call) {
    if (handle == pipe) calls.emplace_back(call);
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

TEST(PingExchange, RequestAndPipeHaveTheSameName) {
  DllHost host;
  const FixedGuid guid(host.Module());
  const PipeCalls pipe(host.Module());
  const PingHelper helper(host.Module(), PingReply({7}));
  const wchar_t* const addresses[] = {L"10.0.0.1", L"10.0.0.2"};
  host->PingBatch(L"batch", addresses, 2);
  host->WaitForThreads();
  EXPECT_EQ(pipe.PipeName(), L"\\\\.\\pipe\\{0A2B4C6D-1E2F-3A4B-8C9D-0123456789EF}");
  ASSERT_THAT(helper.Starts(), SizeIs(1));
  EXPECT_EQ(helper.Starts()[0].request,
            L"ICMP|500|\\\\.\\pipe\\{0A2B4C6D-1E2F-3A4B-8C9D-0123456789EF}|10.0.0.1|10.0.0.2|");
}

TEST(PingExchange, RequestOfAnEmptyBatchEndsWithThePipe) {
  DllHost host;
  const FixedGuid guid(host.Module());
  const PingHelper helper(host.Module(), PingReply({}));
  host->PingBatch(L"batch", nullptr, 0);
  host->WaitForThreads();
  ASSERT_THAT(helper.Starts(), SizeIs(1));
  EXPECT_EQ(helper.Starts()[0].request,
            L"ICMP|500|\\\\.\\pipe\\{0A2B4C6D-1E2F-3A4B-8C9D-0123456789EF}|");
}

TEST(PingExchange, IdentifierIsWrittenIntoABufferOf256) {
  DllHost host;
  GUID made = {};
  IMPORT_HOOK(CoCreateGuid) creates(host.Module());
  creates.SetReplacement([&](GUID* guid) {
    const HRESULT result = creates.CallOriginal(guid);
    made = *guid;
    return result;
  });
  GUID written = {};
  int capacity = 0;
  IMPORT_HOOK(StringFromGUID2) texts(host.Module());
  texts.SetReplacement([&](REFGUID guid, LPOLESTR text, int size) {
    written = guid;
    capacity = size;
    return texts.CallOriginal(guid, text, size);
  });
  const PingHelper helper(host.Module(), PingReply({7}));
  EXPECT_EQ(PingOne(host), kSevenMsec);
  EXPECT_EQ(creates.CallCount(), 1U);
  EXPECT_EQ(texts.CallCount(), 1U);
  EXPECT_EQ(std::memcmp(&made, &written, sizeof(GUID)), 0);
  EXPECT_EQ(capacity, 256);
}

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

TEST(PingExchange, PipeExistsBeforeTheHelperStarts) {
  DllHost host;
  bool offered = false;
  bool offeredBeforeTheDirectoryIsRead = false;
  const PingHelper helper(host.Module(), PingReply({7}));
  FileStatusHook status(host.Module());
  IMPORT_HOOK(CreateNamedPipeW) creates(host.Module());
  IMPORT_HOOK(GetEnvironmentVariableW)
  variables(host.Module(), [&](const wchar_t* name, wchar_t* value, DWORD size) {
    offeredBeforeTheDirectoryIsRead = creates.CallCount() == 1;
    return variables.CallOriginal(name, value, size);
  });
  status.SetReplacement([&](const wchar_t* path, struct _stat64* result) {
    offered = creates.CallCount() == 1;
    return status.CallOriginal(path, result);
  });
  EXPECT_EQ(PingOne(host), kSevenMsec);
  EXPECT_TRUE(offered);
  EXPECT_TRUE(offeredBeforeTheDirectoryIsRead);
}

TEST(PingExchange, PipeIsDisconnectedAndClosedAfterTheReply) {
  DllHost host;
  const PipeCalls pipe(host.Module());
  const PingHelper helper(host.Module(), PingReply({7}));
  EXPECT_EQ(PingOne(host), kSevenMsec);
  EXPECT_THAT(pipe.OfThePipe(),
              ElementsAre("ConnectNamedPipe", "ReadFile", "DisconnectNamedPipe", "CloseHandle"));
}

TEST(PingExchange, NumbersAreLittleEndianAndInTheOrderOfTheAddresses) {
  DllHost host;
  std::string reply("\x17\0\0\0\x78\x56\x34\x12\xFE\xFF\xFF\xFF\x00\x01\x00\x00\x99", 17);
  reply.resize(1024, '\x55');
  const PingHelper helper(host.Module(), reply);
  const wchar_t* const addresses[] = {L"10.0.0.1", L"10.0.0.2", L"10.0.0.3", L"10.0.0.4"};
  host->PingBatch(L"batch", addresses, 4);
  const std::optional<Event> event = host.WaitForEvent(L"PingBatchResult");
  ASSERT_TRUE(event);
  EXPECT_EQ(event->arg[1],
            L"[\n"
            L"\t{\n\t\t\"ipAddress\": \"10.0.0.1\",\n\t\t\"roundTripMSEC\": 23\n\t},\n"
            L"\t{\n\t\t\"ipAddress\": \"10.0.0.2\",\n\t\t\"roundTripMSEC\": 305419896\n\t},\n"
            L"\t{\n\t\t\"ipAddress\": \"10.0.0.3\",\n\t\t\"roundTripMSEC\": 4294967294\n\t},\n"
            L"\t{\n\t\t\"ipAddress\": \"10.0.0.4\",\n\t\t\"roundTripMSEC\": 256\n\t}\n"
            L"]\n");
}

// The first 256 addresses get a time. The request names them all, and nothing limits its length, that
// of the text or that of its line in the log.
TEST(PingExchange, MoreAddressesThanNumbers) {
  for (const unsigned int count : {1U, 256U, 257U, 1100U}) {
    SCOPED_TRACE(count);
    DllHost host;
    std::vector<std::uint32_t> times;
    for (std::uint32_t i = 0; i < 256; ++i) times.push_back(1000 + i);
    const FixedGuid guid(host.Module());
    const PingHelper helper(host.Module(), PingReply(times));
    std::vector<std::wstring> texts;
    std::vector<const wchar_t*> addresses;
    std::wstring request = L"ICMP|500|\\\\.\\pipe\\{0A2B4C6D-1E2F-3A4B-8C9D-0123456789EF}|";
    std::wstring json = L"[\n";
    for (unsigned int i = 0; i < count; ++i) {
      texts.push_back(L"a server far away, number " + std::to_wstring(i));
      request += texts.back() + L"|";
      json += L"\t{\n\t\t\"ipAddress\": \"" + texts.back() + L"\",\n\t\t\"roundTripMSEC\": " +
              (i < 256 ? std::to_wstring(1000 + i) : L"0") + L"\n" +
              (i + 1 < count ? L"\t},\n" : L"\t}\n");
    }
    json += L"]\n";
    for (const std::wstring& text : texts) addresses.push_back(text.c_str());
    StreamCapture log;
    host->PingBatch(L"batch", addresses.data(), count);
    const std::optional<Event> event = host.WaitForEvent(L"PingBatchResult");
    host->WaitForThreads();
    log.Stop();
    ASSERT_TRUE(event);
    EXPECT_TRUE(event->arg[1] == json);
    ASSERT_THAT(helper.Starts(), SizeIs(1));
    EXPECT_TRUE(helper.Starts()[0].request == request);
    EXPECT_EQ(CountOf(log.Text(), "AppLauncher::PingThreadWrap: JSON:\n" + Narrow(json) + "\n\n"),
              1U);
  }
}

/// A batch whose helper writes these messages, all of which the library must refuse.
void ExpectRefusal(const std::vector<std::string>& messages) {
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
  EXPECT_THAT(pipe.OfThePipe(), ElementsAre("ConnectNamedPipe", "ReadFile", "CloseHandle"));
}

TEST(PingExchange, ReplyOfOneByteTooFewIsRefused) { ExpectRefusal({std::string(1023, '\x01')}); }
TEST(PingExchange, ReplyOfOneByteTooManyIsRefused) { ExpectRefusal({std::string(1025, '\x01')}); }
TEST(PingExchange, ReplyInTwoMessagesIsRefused) {
  ExpectRefusal({std::string(512, '\x01'), std::string(512, '\x01')});
}
TEST(PingExchange, HelperThatLeavesWithoutAWordIsRefused) { ExpectRefusal({}); }

TEST(PingExchange, FailedReadIsRefusedWhateverItsSize) {
  DllHost host;
  PipeCalls pipe(host.Module());
  pipe.read = [](HANDLE, void* buffer, DWORD size, DWORD* count) {
    std::memset(buffer, 1, size);
    *count = size;
    SetLastError(ERROR_MORE_DATA);
    return FALSE;
  };
  const PingHelper helper(host.Module(), PingReply({7}));
  EXPECT_EQ(PingOne(host), kNoTime);
  EXPECT_THAT(pipe.OfThePipe(), ElementsAre("ConnectNamedPipe", "ReadFile", "CloseHandle"));
}

TEST(PingExchange, ShortReadIsRefusedThoughItSucceeds) {
  for (const DWORD size : {0U, 1U, 1023U}) {
    DllHost host;
    PipeCalls pipe(host.Module());
    pipe.read = [size](HANDLE, void* buffer, DWORD capacity, DWORD* count) {
      std::memset(buffer, 1, capacity);
      *count = size;
      return TRUE;
    };
    const PingHelper helper(host.Module(), PingReply({7}));
    EXPECT_EQ(PingOne(host), kNoTime) << size;
    EXPECT_THAT(pipe.OfThePipe(), ElementsAre("ConnectNamedPipe", "ReadFile", "CloseHandle"));
  }
}

/// Plays a helper that has connected and answered before the shell returns.
class FirstHelper {
 public:
  explicit FirstHelper(HMODULE module)
      : hook(module, [this](SHELLEXECUTEINFOW* info) {
          end = ConnectToBatch(info->lpParameters);
          EXPECT_TRUE(WriteMessage(end, PingReply({7})));
          return TRUE;
        }) {}

 private:
  HelperInstallation installation;
  ScopedHandle end;
  IMPORT_HOOK(ShellExecuteExW) hook;
};

TEST(PingExchange, HelperMayConnectFirst) {
  DllHost host;
  const PipeCalls pipe(host.Module());
  const FirstHelper helper(host.Module());
  EXPECT_EQ(PingOne(host), kSevenMsec);
  EXPECT_EQ(pipe.ConnectResult(), 535U);
  EXPECT_THAT(pipe.OfThePipe(),
              ElementsAre("ConnectNamedPipe", "ReadFile", "DisconnectNamedPipe", "CloseHandle"));
}

TEST(PingExchange, OtherFailuresToConnectCloseThePipe) {
  for (const DWORD error : {0UL, 232UL, 997UL}) {
    DllHost host;
    PipeCalls pipe(host.Module());
    pipe.connectError = error;
    const FirstHelper helper(host.Module());
    EXPECT_EQ(PingOne(host), kNoTime) << error;
    EXPECT_THAT(pipe.OfThePipe(), ElementsAre("ConnectNamedPipe", "CloseHandle"));
  }
}

TEST(PingExchange, HelperMayAnswerLate) {
  DllHost host;
  const ScopedHandle gate = MakeManualResetEvent();
  IMPORT_HOOK(ReadFile) reads(host.Module());
  const ScopedHandle reading = MakeManualResetEvent();
  reads.SetReplacement([&](HANDLE pipe, void* buffer, DWORD size, DWORD* count, OVERLAPPED* none) {
    SetEvent(reading.Get());
    return reads.CallOriginal(pipe, buffer, size, count, none);
  });
  const PingHelper helper(host.Module(), [&](const std::wstring& request) {
    const ScopedHandle end = ConnectToBatch(request);
    EXPECT_TRUE(WaitFor(gate.Get(), kPatienceMs));
    WriteMessage(end, PingReply({7}));
    WaitUntilRead(end);
  });
  const wchar_t* const addresses[] = {L"10.0.0.1"};
  host->PingBatch(L"batch", addresses, 1);
  EXPECT_TRUE(WaitFor(reading.Get(), kPatienceMs));
  EXPECT_EQ(host->GetNextEvent(), nullptr);
  SetEvent(gate.Get());
  const std::optional<Event> event = host.WaitForEvent(L"PingBatchResult");
  ASSERT_TRUE(event);
  EXPECT_EQ(event->arg[1], kSevenMsec);
  host->WaitForThreads();
}

TEST(PingExchange, MissingHelperIsLoggedAndLeavesThePipeOpen) {
  DllHost host;
  const HelperInstallation installation(HelperInstallation::Helper::kNone);
  const PipeCalls pipe(host.Module());
  const ShellRecorder shell(host.Module());
  StreamCapture log;
  EXPECT_EQ(PingOne(host), kNoTime);
  log.Stop();
  EXPECT_EQ(CountOf(log.Text(),
                    "AppLauncher::PingThreadWrap: Calling ping thread\n"
                    "AppLauncher::PingThreadProc: wstat of file " +
                        Narrow(installation.HelperPath()) +
                        " failed\n"
                        "AppLauncher::PingThreadWrap: JSON:\n"),
            1U)
      << log.Text();
  EXPECT_THAT(shell.Calls(), IsEmpty());
  EXPECT_THAT(pipe.OfThePipe(), IsEmpty());
  DWORD instances = 0;
  EXPECT_TRUE(GetNamedPipeHandleStateW(pipe.TakePipe().Get(), nullptr, &instances, nullptr, nullptr,
                                       nullptr, 0));
}

TEST(PingExchange, HelperPathIsBuiltFromTheDirectoryAsItStands) {
  DllHost host;
  const PipeCalls pipe(host.Module());
  const EnvironmentVariable directory(L"KOVLAUNCH_INSTDIR", L"Q:\\no such/directory\\");
  StreamCapture log;
  EXPECT_EQ(PingOne(host), kNoTime);
  log.Stop();
  EXPECT_EQ(CountOf(log.Text(),
                    "AppLauncher::PingThreadProc: wstat of file "
                    "Q:\\no such/directory\\\\helperx64.exe failed\n"),
            1U)
      << log.Text();
  pipe.TakePipe();
}

// Only whether something has the name is asked; what it is shows when it is started.
TEST(PingExchange, DirectoryOfTheHelpersNameIsTried) {
  DllHost host;
  const HelperInstallation installation(HelperInstallation::Helper::kNone);
  ASSERT_TRUE(CreateDirectoryW(installation.HelperPath().c_str(), nullptr));
  const PipeCalls pipe(host.Module());
  ShellRecorder shell(host.Module());
  shell.Fail(5);
  StreamCapture log;
  EXPECT_EQ(PingOne(host), kNoTime);
  log.Stop();
  EXPECT_EQ(CountOf(log.Text(), "wstat of file"), 0U) << log.Text();
  ASSERT_THAT(shell.Calls(), SizeIs(1));
  EXPECT_EQ(shell.Calls()[0].file, installation.HelperPath());
  pipe.TakePipe();
}

TEST(PingExchange, FailedStartIsNotLoggedAndLeavesThePipeOpen) {
  DllHost host;
  const HelperInstallation installation;
  const PipeCalls pipe(host.Module());
  ShellRecorder shell(host.Module());
  shell.Fail(5);
  StreamCapture log;
  EXPECT_EQ(PingOne(host), kNoTime);
  log.Stop();
  EXPECT_EQ(CountOf(log.Text(),
                    "AppLauncher::PingThreadWrap: Calling ping thread\n"
                    "AppLauncher::PingThreadWrap: JSON:\n"),
            1U)
      << log.Text();
  EXPECT_THAT(shell.Calls(), SizeIs(1));
  EXPECT_THAT(pipe.OfThePipe(), IsEmpty());
  DWORD instances = 0;
  EXPECT_TRUE(GetNamedPipeHandleStateW(pipe.TakePipe().Get(), nullptr, &instances, nullptr, nullptr,
                                       nullptr, 0));
}

TEST(PingExchange, WithoutAPipeNameNothingIsStarted) {
  DllHost host;
  IMPORT_HOOK(StringFromGUID2) texts(host.Module());
  texts.FailAlways(0);
  IMPORT_HOOK(CreateNamedPipeW) creates(host.Module());
  IMPORT_HOOK(GetEnvironmentVariableW) variables(host.Module());
  const HelperInstallation installation(HelperInstallation::Helper::kNone);
  const ShellRecorder shell(host.Module());
  StreamCapture log;
  EXPECT_EQ(PingOne(host), kNoTime);
  log.Stop();
  EXPECT_EQ(creates.CallCount(), 0U);
  EXPECT_EQ(variables.CallCount(), 0U);
  EXPECT_THAT(shell.Calls(), IsEmpty());
  EXPECT_EQ(CountOf(log.Text(), "AppLauncher::PingThreadProc"), 0U) << log.Text();
}

TEST(PingExchange, WithoutAPipeNothingIsStarted) {
  DllHost host;
  IMPORT_HOOK(CreateNamedPipeW) creates(host.Module());
  creates.FailAlways(INVALID_HANDLE_VALUE, ERROR_PIPE_BUSY);
  IMPORT_HOOK(CloseHandle) closes(host.Module());
  IMPORT_HOOK(GetEnvironmentVariableW) variables(host.Module());
  const HelperInstallation installation(HelperInstallation::Helper::kNone);
  const ShellRecorder shell(host.Module());
  StreamCapture log;
  EXPECT_EQ(PingOne(host), kNoTime);
  log.Stop();
  EXPECT_EQ(variables.CallCount(), 0U);
  EXPECT_THAT(shell.Calls(), IsEmpty());
  EXPECT_EQ(CountOf(log.Text(), "AppLauncher::PingThreadProc"), 0U) << log.Text();
  for (const auto& call : closes.Calls()) EXPECT_NE(std::get<0>(call), INVALID_HANDLE_VALUE);
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
