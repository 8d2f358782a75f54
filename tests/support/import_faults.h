// Makes any one call of any import of a module fail.
#ifndef LAUNCHER_TESTS_SUPPORT_IMPORT_FAULTS_H_
#define LAUNCHER_TESTS_SUPPORT_IMPORT_FAULTS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/import_redirector.h"

namespace test_support {

/// How a call fails: what it returns and what it leaves behind.
struct CallFailure {
  enum class Code { kNone, kLastError, kErrno };

  std::uint64_t result = 0;
  Code code = Code::kNone;
  int value = 0;
  /// For calls that close something: it is closed all the same, only the answer is a failure.
  bool stillWorks = false;
};

/// Redirects many imports of a module at once, whatever their types, counts their calls and makes
/// chosen ones fail. At most one at a time. An ImportHook that was made before it is called by it
/// in place of the original.
///
/// All arguments and results are taken as integers and pointers, up to twelve: enough for every
/// function that the library imports, and wrong for functions with floating-point arguments and for
/// those that look at their caller's frame (`setjmp`, unwinding).
class ImportFaults {
 public:
  using Arguments = std::array<std::uint64_t, 12>;

  /// Told of every call that reaches the original, on the calling thread.
  class Observer {
   public:
    virtual void BeforeCall(const std::string& function, const Arguments& arguments) = 0;
    virtual void AfterCall(const std::string& function, const Arguments& arguments,
                           std::uint64_t result) = 0;

   protected:
    ~Observer() = default;
  };

  ImportFaults(HMODULE module, std::vector<std::string> functions,
               Observer* callObserver = nullptr);
  ImportFaults(const ImportFaults&) = delete;
  ImportFaults& operator=(const ImportFaults&) = delete;
  ~ImportFaults();

  /// Which calls of a function are meant; none for all.
  using Condition = bool (*)(const Arguments&);

  /// Begins to count again from 0 and forgets the failure.
  void Reset();
  /// Of the calls of `function` that are made from now on and fulfil the condition, those with the
  /// numbers `first` to `last` (from 0) fail. A call for another function, before `Reset`, lets that one
  /// fail as well: their calls are then numbered together.
  void Fail(const std::string& function, std::size_t first, std::size_t last,
            const CallFailure& failure, Condition condition = nullptr);
  /// How often a call was made to fail since `Reset`.
  std::size_t FailedCount() const;
  /// All calls of a function since `Reset`, failed ones included.
  std::size_t Count(const std::string& function) const;

 private:
  std::size_t IndexOf(const std::string& function) const;

  std::vector<std::string> names;
  std::optional<ImportRedirector> redirector;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_IMPORT_FAULTS_H_
