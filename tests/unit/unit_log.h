// The diagnostic log in tests that run on Linux and on Windows.
#ifndef LAUNCHER_TESTS_UNIT_UNIT_LOG_H_
#define LAUNCHER_TESTS_UNIT_UNIT_LOG_H_

#ifdef _WIN32
#include <gtest/gtest.h>
#else
#include "tests/native/captured_log.h"
#endif

#include <string>

namespace launcher {

/// Everything that `work` writes to the log, line ends included.
template <typename Work>
std::string LogDuring(const Work& work) {
#ifdef _WIN32
  testing::internal::CaptureStderr();
  work();
  return testing::internal::GetCapturedStderr();
#else
  TakeLog();
  work();
  return TakeLog();
#endif
}

}  // namespace launcher

#endif  // LAUNCHER_TESTS_UNIT_UNIT_LOG_H_
