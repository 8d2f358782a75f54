// Ping batches as the host sees them: the event, the log lines, what is copied, and many at once.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/allocation_tracker.h"
#include "tests/support/dll_host.h"
#include "tests/support/import_redirector.h"
#include "tests/support/ping_helper.h"
#include "tests/support/stream_capture.h"
#include "tests/support/text.h"
// After the Windows headers that it relies on.
#include <objbase.h>

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

TEST(PingBatch, AddressesAreNeitherCheckedNorEscaped) {
  DllHost host;
  const PingHelper helper(host.Module(), PingReply({1, 2, 3, 4}));
  const wchar_t* const addresses[] = {L"\"a\\b\"\n", L"", L"c|d", L"\u00e4\u20ac\U0001F600"};
  host->PingBatch(L"\"id\"", addresses, 4);
  const std::optional<Event> event = host.WaitForEvent(L"PingBatchResult");
  host->WaitForThreads();
  ASSERT_TRUE(event);
  EXPECT_EQ(event->arg[0], L"\"id\"");
  EXPECT_EQ(event->arg[1],
            L"[\n"
            L"\t{\n\t\t\"ipAddress\": \"\"a\\b\"\n\",\n\t\t\"roundTripMSEC\": 1\n\t},\n"
            L"\t{\n\t\t\"ipAddress\": \"\",\n\t\t\"roundTripMSEC\": 2\n\t},\n"
            L"\t{\n\t\t\"ipAddress\": \"c|d\",\n\t\t\"roundTripMSEC\": 3\n\t},\n"
            L"\t{\n\t\t\"ipAddress\": \"\u00e4\u20ac\U0001F600\",\n\t\t\"roundTripMSEC\": 4\n\t}\n"
            L"]\n");
  const std::wstring request = helper.Starts().at(0).request;
  EXPECT_TRUE(request.ends_with(L"}|\"a\\b\"\n||c|d|\u00e4\u20ac\U0001F600|")) << Narrow(request);
}

// The helper answers when the host's texts are gone.
TEST(PingBatch, ResultIsOneEventWithCopiesOfTheHostsTexts) {
  DllHost host;
  const ScopedHandle gate = MakeManualResetEvent();
  const PingHelper helper(host.Module(), [&](const std::wstring& request) {
    EXPECT_TRUE(WaitFor(gate.Get(), kPatienceMs));
    Reply(request, PingReply({23, 40}));
  });
  wchar_t batchId[] = L"first batch";
  wchar_t address[] = L"10.0.0.1";
  const wchar_t* addresses[] = {address, L"10.0.0.2"};
  EXPECT_TRUE(host->PingBatch(batchId, addresses, 2));
  batchId[0] = L'X';
  address[0] = L'X';
  addresses[0] = nullptr;
  SetEvent(gate.Get());
  host->WaitForThreads();
  EXPECT_EQ(host.Notifications().CallCount(), 1);
  EXPECT_THAT(host.Drain(), ElementsAre(Event{L"",
                                              L"PingBatchResult",
                                              {L"first batch",
                                               L"[\n"
                                               L"\t{\n"
                                               L"\t\t\"ipAddress\": \"10.0.0.1\",\n"
                                               L"\t\t\"roundTripMSEC\": 23\n"
                                               L"\t},\n"
                                               L"\t{\n"
                                               L"\t\t\"ipAddress\": \"10.0.0.2\",\n"
                                               L"\t\t\"roundTripMSEC\": 40\n"
                                               L"\t}\n"
                                               L"]\n"}}));
}

// The time spans the whole thread, and the result is posted between its text and the times.
TEST(PingBatch, LogLines) {
  DllHost host;
  const PingHelper helper(host.Module(), PingReply({23, 0xFFFFFFFF}));
  const std::string calls =
      "AppLauncher::PingBatch: Starting new batch\n"
      "AppLauncher::PingBatch: Creating PingInfo for 10.0.0.1\n"
      "AppLauncher::PingBatch: Creating PingInfo for \u00e4\u20ac%s\n";
  const std::string result =
      "AppLauncher::PingThreadWrap: Calling ping thread\n"
      "AppLauncher::PingThreadWrap: JSON:\n"
      "[\n"
      "\t{\n"
      "\t\t\"ipAddress\": \"10.0.0.1\",\n"
      "\t\t\"roundTripMSEC\": 23\n"
      "\t},\n"
      "\t{\n"
      "\t\t\"ipAddress\": \"\u00e4\u20ac%s\",\n"
      "\t\t\"roundTripMSEC\": 4294967295\n"
      "\t}\n"
      "]\n"
      "\n\n";
  const std::string times =
      "AppLauncher::PingThreadWrap: Ping from IP 10.0.0.1 is 23 msec\n"
      "AppLauncher::PingThreadWrap: Ping from IP \u00e4\u20ac%s is -1 msec\n";
  StreamCapture log;
  std::vector<std::string> logs;
  IMPORT_HOOK(GetTickCount) counter(host.Module());
  counter.SetReplacement([&] {
    logs.push_back(log.Text());
    return logs.size() == 1 ? DWORD{5000} : DWORD{5317};
  });
  host.Notifications().SetInsideCall([&] { logs.push_back(log.Text()); });
  const wchar_t* const addresses[] = {L"10.0.0.1", L"\u00e4\u20ac%s"};
  host->PingBatch(L"batch", addresses, 2);
  host->WaitForThreads();
  log.Stop();
  EXPECT_THAT(logs, ElementsAre(calls, calls + result, calls + result + times));
  EXPECT_EQ(log.Text(),
            calls + result + times + "AppLauncher::PingThreadWrap: Ping took 317 msec\n");
}

TEST(PingBatch, DurationIsUnsignedAndRightWhenTheTickCounterWraps) {
  for (const auto& [begin, end, shown] :
       {std::tuple(0xFFFFFFF0U, 0x00000010U, "32"), std::tuple(1U, 0x90000001U, "2415919104")}) {
    DllHost host;
    const PingHelper helper(host.Module(), PingReply({}));
    IMPORT_HOOK(GetTickCount) counter(host.Module());
    counter.SetReplacement(
        [&, first = begin, last = end] { return DWORD{counter.CallCount() == 1 ? first : last}; });
    StreamCapture log;
    host->PingBatch(L"batch", nullptr, 0);
    host->WaitForThreads();
    log.Stop();
    EXPECT_EQ(Lines(log.Text()).back(),
              "AppLauncher::PingThreadWrap: Ping took " + std::string(shown) + " msec");
    EXPECT_EQ(counter.CallCount(), 2U);
  }
}

TEST(PingBatch, ThreadFreesItsContextFirst) {
  DllHost host;
  const PingHelper helper(host.Module(), PingReply({7}));
  std::atomic<void*> context = nullptr;
  std::vector<std::string> steps;
  IMPORT_HOOK(CreateThread) creates(host.Module());
  creates.SetReplacement([&](SECURITY_ATTRIBUTES* security, SIZE_T stackSize,
                             LPTHREAD_START_ROUTINE procedure, void* argument, DWORD flags,
                             DWORD* id) {
    context = argument;
    return creates.CallOriginal(security, stackSize, procedure, argument, flags, id);
  });
  ImportHook<"free", void(void*)> frees(host.Module());
  frees.SetReplacement([&](void* memory) {
    void* expected = memory;
    if (memory != nullptr && context.compare_exchange_strong(expected, nullptr)) {
      steps.emplace_back("free");
    }
    frees.CallOriginal(memory);
  });
  IMPORT_HOOK(CoCreateGuid) names(host.Module());
  names.SetReplacement([&](GUID* name) {
    steps.emplace_back("name");
    return names.CallOriginal(name);
  });
  const wchar_t* const addresses[] = {L"10.0.0.1"};
  host->PingBatch(L"batch", addresses, 1);
  host->WaitForThreads();
  EXPECT_THAT(steps, ElementsAre("free", "name"));
}

TEST(PingBatch, DurationIsTakenWhenTheRecordsAreFreed) {
  const auto blocksAtTheEnd = [](std::size_t count) {
    DllHost host;
    const PingHelper helper(host.Module(), PingReply({}));
    const AllocationTracker memory(host.Module());
    std::size_t blocks = 0;
    IMPORT_HOOK(GetTickCount) counter(host.Module());
    counter.SetReplacement([&] {
      blocks = memory.Outstanding();
      return DWORD{0};
    });
    const std::vector<const wchar_t*> addresses(count, L"a server far away");
    host->PingBatch(L"batch", addresses.data(), count);
    host->WaitForThreads();
    return blocks;
  };
  EXPECT_EQ(blocksAtTheEnd(50), blocksAtTheEnd(1));
}

// An empty one has a worker, too.
TEST(PingBatch, HostIsNotifiedOnTheWorker) {
  DllHost host;
  const PingHelper helper(host.Module(), PingReply({7}));
  host->PingBatch(L"batch", nullptr, 0);
  host->WaitForThreads();
  ASSERT_THAT(host.Notifications().ThreadIds(), SizeIs(1));
  EXPECT_NE(host.Notifications().ThreadIds()[0], GetCurrentThreadId());
  EXPECT_THAT(host.Drain(), ElementsAre(Event{L"", L"PingBatchResult", {L"batch", L"[\n]\n"}}));
}

// The number in a reply follows from the address, so that a mix-up of batches shows.
TEST(PingBatch, TwentyAtOnce) {
  constexpr unsigned int kBatches = 20;
  DllHost host;
  const ScopedHandle gate = MakeManualResetEvent();
  const PingHelper helper(host.Module(), [&](const std::wstring& request) {
    const ScopedHandle end = ConnectToBatch(request);
    EXPECT_TRUE(WaitFor(gate.Get(), kPatienceMs));
    const std::size_t begin = request.find(L'|', request.find(L'}')) + 1;
    WriteMessage(end,
                 PingReply({static_cast<std::uint32_t>(std::stoul(request.substr(begin))) + 1000}));
    WaitUntilRead(end);
  });
  for (unsigned int i = 0; i < kBatches; ++i) {
    const std::wstring address = std::to_wstring(i);
    const wchar_t* const addresses[] = {address.c_str()};
    EXPECT_TRUE(host->PingBatch((L"batch " + address).c_str(), addresses, 1));
  }
  // All are under way, and the host is free for other calls.
  EXPECT_TRUE(helper.WaitForStarts(kBatches, kPatienceMs));
  EXPECT_EQ(host.Notifications().CallCount(), 0);
  host.Post(L"host", L"Own");
  EXPECT_EQ(host.Drain().size(), 1U);
  SetEvent(gate.Get());
  host->WaitForThreads();
  EXPECT_EQ(host.Notifications().CallCount(), 21);
  std::map<std::wstring, std::wstring> results;
  for (const Event& event : host.Drain()) results[event.arg[0]] = event.arg[1];
  ASSERT_THAT(results, SizeIs(kBatches));
  for (unsigned int i = 0; i < kBatches; ++i) {
    EXPECT_EQ(results[L"batch " + std::to_wstring(i)],
              L"[\n\t{\n\t\t\"ipAddress\": \"" + std::to_wstring(i) +
                  L"\",\n\t\t\"roundTripMSEC\": " + std::to_wstring(1000 + i) + L"\n\t}\n]\n");
  }
}

TEST(PingBatch, OneMayEndWhileAnotherWaits) {
  DllHost host;
  const ScopedHandle gate = MakeManualResetEvent();
  const PingHelper helper(host.Module(), [&](const std::wstring& request) {
    if (request.ends_with(L"|slow|")) {
      EXPECT_TRUE(WaitFor(gate.Get(), kPatienceMs));
    }
    Reply(request, PingReply({7}));
  });
  const wchar_t* const slow[] = {L"slow"};
  const wchar_t* const fast[] = {L"fast"};
  host->PingBatch(L"1", slow, 1);
  EXPECT_TRUE(helper.WaitForStarts(1, kPatienceMs));
  host->PingBatch(L"2", fast, 1);
  const std::optional<Event> first = host.WaitForEvent(L"PingBatchResult");
  SetEvent(gate.Get());
  const std::optional<Event> second = host.WaitForEvent(L"PingBatchResult");
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first->arg[0], L"2");
  EXPECT_EQ(second->arg[0], L"1");
  host->WaitForThreads();
}

}  // namespace
}  // namespace test_support
