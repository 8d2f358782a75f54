// The log lines of one piece of work.
#ifndef LAUNCHER_TESTS_SUPPORT_LOG_OF_H_
#define LAUNCHER_TESTS_SUPPORT_LOG_OF_H_

#include <string>

#include "tests/support/stream_capture.h"

namespace test_support {

/// Everything that `work` writes to standard error, line ends included.
template <typename Work>
std::string LogOf(const Work& work) {
  const StreamCapture log(StreamCapture::Stream::kError);
  work();
  return log.Text();
}

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_LOG_OF_H_
