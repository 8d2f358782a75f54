// The native program, with a test in place of the browser.
#ifndef LAUNCHER_TESTS_BROWSER_HOST_NATIVE_PROGRAM_H_
#define LAUNCHER_TESTS_BROWSER_HOST_NATIVE_PROGRAM_H_

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "tests/support/scoped_handle.h"
#include "tests/support/temp_directory.h"

namespace test_support {

using Json = nlohmann::json;

inline constexpr char kExtension[] = "chrome-extension://abcdefghijklmnopabcdefghijklmnop";
inline constexpr char kPage[] = "https://games.example";
inline constexpr char kTrustedPage[] = "https://trusted.example";

/// Started with pipes for its standard input and output; its standard error stream is the test's
/// own. After a minute it is ended, so that a test that waits for it fails and does not hang.
class NativeProgram {
 public:
  explicit NativeProgram(const std::wstring& arguments);
  NativeProgram(const NativeProgram&) = delete;
  NativeProgram& operator=(const NativeProgram&) = delete;
  ~NativeProgram();

  /// Bytes as they stand.
  void Write(const std::string& bytes);
  /// A message with its length before it.
  void Send(const std::string& text);
  /// The next message; nothing when the stream ends first.
  std::optional<std::string> Receive();
  Json ReceiveJson();
  /// Messages until one is an event of this name.
  Json ReceiveEvent(const std::string& name);
  /// Sends a request with a new id and returns the answer to it; events that come first are kept
  /// for `ReceiveEvent`.
  Json Call(const std::string& method, const Json& params = Json::object());
  /// The same for a request that must fail: the error's code.
  std::string CallForError(const std::string& method, const Json& params = Json::object());

  void CloseInput() { input.Reset(); }
  void CloseOutput() { output.Reset(); }
  /// Waits for the end of the program.
  DWORD ExitCode();

 private:
  static void CALLBACK End(void* process, BOOLEAN byTimer);
  bool Read(char* bytes, std::size_t size);

  HANDLE deadline = nullptr;
  ScopedHandle process;
  ScopedHandle input;
  ScopedHandle output;
  std::vector<Json> events;
  int nextId = 1;
};

/// Writes the list of origins and starts programs that use it.
class NativeProgramTest : public testing::Test {
 protected:
  NativeProgramTest();

  /// The command line for the listed extension.
  std::wstring Arguments() const { return Arguments(kExtension); }
  std::wstring Arguments(const std::string& extension) const;
  /// Says hello as a page of this origin, and returns the answer.
  static Json Hello(NativeProgram& program, const std::string& origin = kPage);

  TempDirectory work;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_BROWSER_HOST_NATIVE_PROGRAM_H_
