// Ping batches as the host sees them: the event, the log lines, what is copied, and many at once.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <new>
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

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

Event ResultEvent(const wchar_t* batchId, const wchar_t* json) {
  return {L"", L"PingBatchResult", {batchId, json}};
}

/// Everything that is written to standard error from the start of the batch until it has ended.
std::string LogOfBatch(DllHost& host, const std::vector<const wchar_t*>& addresses) {
  StreamCapture log;
  host->PingBatch(L"batch", addresses.data(), addresses.size());
  host->WaitForThreads();
  log.Stop();
  return log.Text();
}

TEST(PingBatch, ResultIsOneEvent) {
  DllHost host;
  const PingHelper helper(host.Module(), PingReply({23, 40}));
  const wchar_t* const addresses[] = {L"10.0.0.1", L"10.0.0.2"};
  EXPECT_TRUE(host->PingBatch(L"first batch", addresses, 2));
  host->WaitForThreads();
  EXPECT_EQ(host.Notifications().CallCount(), 1);
  EXPECT_THAT(host.Drain(), ElementsAre(ResultEvent(L"first batch",
                                                    L"[\n"
                                                    L"\t{\n"
                                                    L"\t\t\"ipAddress\": \"10.0.0.1\",\n"
                                                    L"\t\t\"roundTripMSEC\": 23\n"
                                                    L"\t},\n"
                                                    L"\t{\n"
                                                    L"\t\t\"ipAddress\": \"10.0.0.2\",\n"
                                                    L"\t\t\"roundTripMSEC\": 40\n"
                                                    L"\t}\n"
                                                    L"]\n")));
}

TEST(PingBatch, EmptyBatchStartsAThreadAndPostsAnEmptyArray) {
  DllHost host;
  const PingHelper helper(host.Module(), PingReply({}));
  IMPORT_HOOK(CreateThread) creates(host.Module());
  EXPECT_TRUE(host->PingBatch(L"", nullptr, 0));
  host->WaitForThreads();
  EXPECT_EQ(creates.CallCount(), 1U);
  EXPECT_THAT(host.Drain(), ElementsAre(ResultEvent(L"", L"[\n]\n")));
}

// Every allocation of the call in turn.
TEST(PingBatch, ThrowsWhenMemoryRunsOutAndStartsNothing) {
  DllHost host;
  // No thread is started, so that all allocations are the call's.
  IMPORT_HOOK(CreateThread) creates(host.Module());
  creates.FailAlways(static_cast<HANDLE>(nullptr), ERROR_NOT_ENOUGH_MEMORY);
  AllocationTracker memory(host.Module());
  const wchar_t* const addresses[] = {L"10.0.0.1", L"10.0.0.2"};
  EXPECT_TRUE(host->PingBatch(L"batch", addresses, 2));
  const std::size_t count = memory.Count();
  ASSERT_GT(count, 0U);
  for (std::size_t failed = 0; failed < count; ++failed) {
    memory.FailOne(failed);
    EXPECT_THROW(host->PingBatch(L"batch", addresses, 2), std::bad_alloc) << failed;
    memory.FailNone();
  }
  // The one that found memory.
  EXPECT_EQ(creates.CallCount(), 1U);
  host->WaitForThreads();
  EXPECT_EQ(host.Notifications().CallCount(), 0);
  EXPECT_TRUE(host.Drain().empty());
}

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

TEST(PingBatch, ArgumentsAreCopied) {
  DllHost host;
  const ScopedHandle gate = MakeManualResetEvent();
  const PingHelper helper(host.Module(), [&](const std::wstring& request) {
    EXPECT_TRUE(WaitFor(gate.Get(), kPatienceMs));
    Reply(request, PingReply({23}));
  });
  wchar_t batchId[] = L"batch";
  wchar_t address[] = L"10.0.0.1";
  const wchar_t* addresses[] = {address};
  host->PingBatch(batchId, addresses, 1);
  batchId[0] = L'X';
  address[0] = L'X';
  addresses[0] = nullptr;
  SetEvent(gate.Get());
  host->WaitForThreads();
  EXPECT_THAT(
      host.Drain(),
      ElementsAre(ResultEvent(
          L"batch",
          L"[\n\t{\n\t\t\"ipAddress\": \"10.0.0.1\",\n\t\t\"roundTripMSEC\": 23\n\t}\n]\n")));
}

TEST(PingBatch, LogLines) {
  DllHost host;
  const PingHelper helper(host.Module(), PingReply({23, 0xFFFFFFFF}));
  IMPORT_HOOK(GetTickCount) counter(host.Module());
  counter.SetReplacement([&] { return counter.CallCount() == 1 ? DWORD{5000} : DWORD{5317}; });
  EXPECT_EQ(LogOfBatch(host, {L"10.0.0.1", L"\u00e4\u20ac%s"}),
            "AppLauncher::PingBatch: Starting new batch\n"
            "AppLauncher::PingBatch: Creating PingInfo for 10.0.0.1\n"
            "AppLauncher::PingBatch: Creating PingInfo for \u00e4\u20ac%s\n"
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
            "\n\n"
            "AppLauncher::PingThreadWrap: Ping from IP 10.0.0.1 is 23 msec\n"
            "AppLauncher::PingThreadWrap: Ping from IP \u00e4\u20ac%s is -1 msec\n"
            "AppLauncher::PingThreadWrap: Ping took 317 msec\n");
}

TEST(PingBatch, DurationIsUnsignedAndRightWhenTheTickCounterWraps) {
  for (const auto& [begin, end, shown] :
       {std::tuple(0xFFFFFFF0U, 0x00000010U, "32"), std::tuple(1U, 0x90000001U, "2415919104")}) {
    DllHost host;
    const PingHelper helper(host.Module(), PingReply({}));
    IMPORT_HOOK(GetTickCount) counter(host.Module());
    counter.SetReplacement(
        [&, first = begin, last = end] { return DWORD{counter.CallCount() == 1 ? first : last}; });
    EXPECT_EQ(Lines(LogOfBatch(host, {})).back(),
              "AppLauncher::PingThreadWrap: Ping took " + std::string(shown) + " msec");
    EXPECT_EQ(counter.CallCount(), 2U);
  }
}

TEST(PingBatch, DurationSpansTheWholeThread) {
  DllHost host;
  const PingHelper helper(host.Module(), PingReply({7}));
  StreamCapture log;
  std::vector<std::string> logsAtTicks;
  IMPORT_HOOK(GetTickCount) counter(host.Module());
  counter.SetReplacement([&] {
    logsAtTicks.push_back(log.Text());
    return DWORD{0};
  });
  const wchar_t* const addresses[] = {L"10.0.0.1"};
  host->PingBatch(L"batch", addresses, 1);
  host->WaitForThreads();
  log.Stop();
  ASSERT_THAT(logsAtTicks, SizeIs(2));
  EXPECT_TRUE(logsAtTicks[0].ends_with("Creating PingInfo for 10.0.0.1\n")) << logsAtTicks[0];
  EXPECT_TRUE(logsAtTicks[1].ends_with("Ping from IP 10.0.0.1 is 7 msec\n")) << logsAtTicks[1];
}

TEST(PingBatch, ResultIsPostedBetweenItsTextAndTheTimes) {
  DllHost host;
  const PingHelper helper(host.Module(), PingReply({7}));
  StreamCapture log;
  std::string logAtNotification;
  host.Notifications().SetInsideCall([&] { logAtNotification = log.Text(); });
  const wchar_t* const addresses[] = {L"10.0.0.1"};
  host->PingBatch(L"batch", addresses, 1);
  host->WaitForThreads();
  log.Stop();
  EXPECT_TRUE(logAtNotification.ends_with("\t\t\"roundTripMSEC\": 7\n\t}\n]\n\n\n"))
      << logAtNotification;
}

TEST(PingBatch, HostIsNotifiedOnTheWorker) {
  DllHost host;
  const PingHelper helper(host.Module(), PingReply({7}));
  host->PingBatch(L"batch", nullptr, 0);
  host->WaitForThreads();
  ASSERT_THAT(host.Notifications().ThreadIds(), SizeIs(1));
  EXPECT_NE(host.Notifications().ThreadIds()[0], GetCurrentThreadId());
}

// The number in a reply is told by the address, so that a mix-up of batches shows.
TEST(PingBatch, TwentyAtOnce) {
  constexpr unsigned int kBatches = 20;
  DllHost host;
  const ScopedHandle gate = MakeManualResetEvent();
  const PingHelper helper(host.Module(), [&](const std::wstring& request) {
    EXPECT_TRUE(WaitFor(gate.Get(), kPatienceMs));
    const std::size_t begin = request.find(L'|', request.find(L'}')) + 1;
    Reply(request,
          PingReply({static_cast<std::uint32_t>(std::stoul(request.substr(begin))) + 1000}));
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
