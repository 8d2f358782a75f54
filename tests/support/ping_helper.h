// The helper program's side of ping batches, played by the test.
#ifndef LAUNCHER_TESTS_SUPPORT_PING_HELPER_H_
#define LAUNCHER_TESTS_SUPPORT_PING_HELPER_H_

#include <windows.h>
// windows.h first.
#include <shellapi.h>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/helper_installation.h"
#include "tests/support/import_redirector.h"
#include "tests/support/scoped_handle.h"

namespace test_support {

/// A helper's reply: these times as little-endian numbers, then zeros up to 1024 bytes.
std::string PingReply(const std::vector<std::uint32_t>& times);

/// The pipe that a request names in its third field.
std::wstring PipeNameOf(const std::wstring& request);

/// Connects to the pipe of a batch; an empty handle when there is none.
ScopedHandle ConnectToBatch(const std::wstring& request);

/// Writes one message. Whether that was possible.
bool WriteMessage(const ScopedHandle& pipe, const std::string& bytes);

/// Waits until everything that was written has been read, or the library has left.
void WaitUntilRead(const ScopedHandle& pipe);

/// What a helper does: connects, writes one message, and leaves when it was read. One that leaves
/// before the library has connected is taken for none.
void Reply(const std::wstring& request, const std::string& bytes);

/// How the library started the helper: its record with the pointers as they were, and copies of the
/// texts.
struct HelperStart {
  SHELLEXECUTEINFOW info;
  std::wstring verb;
  std::wstring file;
  std::wstring request;
};

/// Redirects ShellExecuteExW of the module: in place of a process a thread of the test answers each
/// request. Make sure that the module's threads are done with it before it is destroyed.
class PingHelper {
 public:
  using Answer = std::function<void(const std::wstring& request)>;

  PingHelper(HMODULE module, Answer requestAnswer);
  /// Answers every request with this message, then leaves.
  PingHelper(HMODULE module, const std::string& reply);
  PingHelper(const PingHelper&) = delete;
  PingHelper& operator=(const PingHelper&) = delete;
  ~PingHelper();

  const HelperInstallation& Installation() const { return installation; }
  std::vector<HelperStart> Starts() const;
  /// Waits until `count` requests have come; whether they came in time.
  bool WaitForStarts(std::size_t count, unsigned int timeoutMs) const;

 private:
  BOOL Start(SHELLEXECUTEINFOW* info);

  HelperInstallation installation;
  Answer answer;
  mutable std::mutex mutex;
  mutable std::condition_variable started;
  std::vector<HelperStart> starts;
  std::vector<std::thread> threads;
  IMPORT_HOOK(ShellExecuteExW) hook;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_PING_HELPER_H_
