// Memory that the system may still write to when a pipe is closed: the record and the buffer of an
// operation stay until the system is done with them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "tests/host/gamepipe/pipe_session.h"

namespace test_support {
namespace {

using testing::ElementsAre;

class PipeMemory : public PipeSession {
 protected:
  PipeMemory() {
    frees.SetReplacement([this](void* block) {
      const auto* const begin = static_cast<const char*>(block);
      if (begin != nullptr) freed.emplace_back(begin, begin + _msize(block));
      frees.CallOriginal(block);
    });
  }

  void SetUp() override {
    PipeSession::SetUp();
    Connect();
    freed.clear();
  }

  /// Whether the DLL has freed a block that holds this address.
  bool IsFreed(const void* address) const {
    return std::any_of(freed.begin(), freed.end(), [&](const auto& block) {
      return block.first <= address && address < block.second;
    });
  }

  /// Ends the connection.
  void LoseGame() {
    pipe.NextReadFails(ERROR_BROKEN_PIPE);
    pipe.CompleteRead("");
    host->PollApps();
    EXPECT_THAT(host.Drain(), ElementsAre(GameIsGone()));
  }

  std::vector<std::pair<const char*, const char*>> freed;
  IMPORT_HOOK(free) frees{host.Module()};
};

TEST_F(PipeMemory, StaysUntilTheLastOperationHasEnded) {
  pipe.NextWriteStaysOutstanding();
  Send(L"X");
  const void* const memory[] = {pipe.ReadBuffer(), pipe.ReadOverlapped(), pipe.WriteBuffer(),
                                pipe.WriteOverlapped()};
  const auto areFreed = [&](bool expected) {
    for (const void* const address : memory) EXPECT_EQ(IsFreed(address), expected);
  };
  // What was freed before may have been where these are now.
  freed.clear();
  host.Destroy();
  areFreed(false);
  host.Create();
  host->PollApps();
  areFreed(false);
  pipe.FailRead(ERROR_OPERATION_ABORTED);
  host->PollApps();
  areFreed(false);
  pipe.FailWrite(ERROR_OPERATION_ABORTED);
  host->PollApps();
  areFreed(true);
}

TEST_F(PipeMemory, OfSeveralConnectionsEndsForEachByItself) {
  const void* const first = pipe.ReadBuffer();
  auto* const firstRecord = const_cast<OVERLAPPED*>(pipe.ReadOverlapped());
  pipe.NextWriteStaysOutstanding();
  Send(L"X");
  pipe.FailWrite(ERROR_BROKEN_PIPE);
  pipe.Offer();
  host->PollApps();  // loses the game, finds the next one
  host->PollApps();
  const void* const second = pipe.ReadBuffer();
  ASSERT_NE(first, second);
  freed.clear();
  pipe.NextWriteStaysOutstanding();
  Send(L"X");
  pipe.FailWrite(ERROR_BROKEN_PIPE);
  pipe.Refuse(ERROR_FILE_NOT_FOUND);
  host->PollApps();
  EXPECT_FALSE(IsFreed(first));
  EXPECT_FALSE(IsFreed(second));
  firstRecord->Internal = ERROR_OPERATION_ABORTED;
  host->PollApps();
  EXPECT_TRUE(IsFreed(first));
  EXPECT_FALSE(IsFreed(second));
  pipe.FailRead(ERROR_OPERATION_ABORTED);
  host->PollApps();
  EXPECT_TRUE(IsFreed(second));
}

TEST_F(PipeMemory, GoesAtOnceWhenNothingIsOutstanding) {
  const void* const buffer = pipe.ReadBuffer();
  const void* const record = pipe.ReadOverlapped();
  pipe.FailRead(ERROR_BROKEN_PIPE);
  host->PollApps();
  EXPECT_TRUE(IsFreed(buffer));
  EXPECT_TRUE(IsFreed(record));
}

TEST_F(PipeMemory, OfAReadThatEndedUnseenGoesAtOnce) {
  const void* const record = pipe.ReadOverlapped();
  pipe.CompleteRead("KE");
  host.Destroy();
  EXPECT_TRUE(IsFreed(record));
}

// The system never took it, although its record looks like that of a running one.
TEST_F(PipeMemory, OfARefusedReadGoesAtOnce) {
  const void* const record = pipe.ReadOverlapped();
  LoseGame();
  EXPECT_TRUE(IsFreed(record));
}

TEST_F(PipeMemory, OfARefusedWriteGoesAtOnce) {
  pipe.NextWriteFails(ERROR_NO_DATA);
  Send(L"X");
  const void* const record = pipe.WriteOverlapped();
  pipe.FailRead(ERROR_BROKEN_PIPE);
  host->PollApps();
  EXPECT_TRUE(IsFreed(record));
}

}  // namespace
}  // namespace test_support
