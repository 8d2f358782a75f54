// Where the diagnostic log goes in builds without Windows: into memory, for tests to read.
#ifndef LAUNCHER_TESTS_NATIVE_CAPTURED_LOG_H_
#define LAUNCHER_TESTS_NATIVE_CAPTURED_LOG_H_

#include <string>

namespace launcher {

/// The lines since the last call, as UTF-8. One thread.
std::string TakeLog();

}  // namespace launcher

#endif  // LAUNCHER_TESTS_NATIVE_CAPTURED_LOG_H_
