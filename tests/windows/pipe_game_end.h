// What the tests of the library's end of a game's pipe have in common.
#ifndef LAUNCHER_TESTS_WINDOWS_PIPE_GAME_END_H_
#define LAUNCHER_TESTS_WINDOWS_PIPE_GAME_END_H_

#include <string>

#include "tests/support/pipe_server.h"

namespace launcher {

inline constexpr DWORD kPatienceMs = 20000;
inline constexpr wchar_t kPipeName[] = LR"(\\.\pipe\launcher_windows_tests)";
inline constexpr char kPipePath[] = R"(\\.\pipe\launcher_windows_tests)";

/// Bytes that may hold zeroes, from a literal.
template <std::size_t size>
std::string RawBytes(const char (&literal)[size]) {
  return {literal, size - 1};
}

}  // namespace launcher

#endif  // LAUNCHER_TESTS_WINDOWS_PIPE_GAME_END_H_
