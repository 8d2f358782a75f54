// Lines that the log cannot get memory for, and texts without a line end.
#include <gtest/gtest.h>

#include <string>

#include "core/log.h"
#include "tests/support/failing_malloc.h"
#include "tests/unit/log_capture.h"

namespace launcher {
namespace {

using test_support::FailingMalloc;

TEST(LogMemory, ANarrowLineWithoutMemoryIsCutTo512Characters) {
  const std::string text(600, 'x');
  LogCapture capture;
  std::size_t failures = 0;
  {
    const FailingMalloc noMemory(601);
    LogLine("%s", text.c_str());
    failures = noMemory.Count();
  }
  EXPECT_EQ(capture.Take(), std::string(512, 'x'));
  EXPECT_EQ(failures, 1u);
}

TEST(LogMemory, ALineThatFitsNeedsNone) {
  const std::string text(500, 'x');
  LogCapture capture;
  std::size_t failures = 0;
  {
    const FailingMalloc noMemory(FailingMalloc::kAnySize);
    LogLine("%s", text.c_str());
    LogLine(L"%s", L"wide");
    failures = noMemory.Count();
  }
  EXPECT_EQ(capture.Take(), text + "wide");
  EXPECT_EQ(failures, 0u);
}

TEST(LogText, MayEndInTheMiddleOfAPair) {
  LogCapture capture;
  LogLine(L"%s", L"a\xD83D");
  EXPECT_EQ(capture.Take(), "a\xEF\xBF\xBD");
}

TEST(LogText, MayBeginWithAPair) {
  LogCapture capture;
  LogLine(L"%s", L"\U0001F600");
  EXPECT_EQ(capture.Take(), "\xF0\x9F\x98\x80");
}

TEST(LogText, MayBeEmpty) {
  LogCapture capture;
  LogLine(L"%s", L"");
  LogLine("%s", "");
  EXPECT_EQ(capture.Take(), "");
}

}  // namespace
}  // namespace launcher
