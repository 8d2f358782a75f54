// Redirection of a loaded module's imports: observes the calls that the module makes to the system
// and to the C runtime, and makes chosen calls fail.
#ifndef LAUNCHER_TESTS_SUPPORT_IMPORT_REDIRECTOR_H_
#define LAUNCHER_TESTS_SUPPORT_IMPORT_REDIRECTOR_H_

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/scoped_handle.h"

namespace test_support {

struct Import {
  std::string library;
  std::string function;
};

/// The named imports of a loaded module.
std::vector<Import> ListImports(HMODULE module);

/// Writes into the import address table of one module and puts everything back at the end. No other
/// module of the process is touched, so the test itself still calls the originals.
class ImportRedirector {
 public:
  explicit ImportRedirector(HMODULE redirected) : module(redirected) {}
  ImportRedirector(const ImportRedirector&) = delete;
  ImportRedirector& operator=(const ImportRedirector&) = delete;
  ~ImportRedirector();

  /// Makes the module call `replacement` instead of the imported `function`, from whatever library
  /// it comes. Returns the original. Throws when the module does not import it.
  void* Redirect(const std::string& function, void* replacement);

  /// Nothing is put back at the end: what was redirected stays so as long as the module.
  void Keep() { changes.clear(); }

 private:
  struct Change {
    void** slot;
    void* original;
  };

  HMODULE module;
  std::vector<Change> changes;
};

/// A function's name as a template argument.
template <std::size_t size>
struct FunctionName {
  // Implicit, so that a literal can be given.
  constexpr FunctionName(const char (&literal)[size]) { std::copy_n(literal, size, text); }
  char text[size];
};

/// Redirects one import for a scope. Records the arguments of every call; by default each call then
/// goes to the original. `name` is what the module imports.
///
///     IMPORT_HOOK(RegOpenKeyExW) opens(host.Module());
///     opens.FailCall(1, ERROR_FILE_NOT_FOUND);           // the second call, counted from 0
///     ...
///     EXPECT_EQ(std::get<3>(opens.Calls().at(0)), 0x20219u);
///
/// Pointer arguments are recorded as pointers; what they point to is best checked in a replacement.
/// At most one hook of a name may exist at a time, and the module's threads must not be inside the
/// function when it ends.
template <FunctionName name, typename Function>
class ImportHook;

template <FunctionName name, typename Result, typename... Arguments>
class ImportHook<name, Result(Arguments...)> {
 public:
  using Replacement = std::function<Result(Arguments...)>;
  using Call = std::tuple<Arguments...>;

  explicit ImportHook(HMODULE module, Replacement initialReplacement = {})
      : replacement(std::move(initialReplacement)), redirector(module) {
    active = this;
    original = reinterpret_cast<Result (*)(Arguments...)>(
        redirector.Redirect(name.text, reinterpret_cast<void*>(&ImportHook::Entry)));
  }
  ImportHook(const ImportHook&) = delete;
  ImportHook& operator=(const ImportHook&) = delete;

  /// Every later call goes to `work` instead of the original; none for the original again.
  void SetReplacement(Replacement work) {
    const std::lock_guard guard(mutex);
    replacement = std::move(work);
  }

  /// The call with this number (from 0, those already made counted) does not reach the original;
  /// the thread's last error becomes `lastError` and the call returns `result`.
  template <typename Value>
  void FailCall(std::size_t number, Value result, DWORD lastError = ERROR_SUCCESS) {
    const std::lock_guard guard(mutex);
    failures[number] = [result, lastError](Arguments...) -> Result {
      SetLastError(lastError);
      return static_cast<Result>(result);
    };
  }

  /// Every later call fails so.
  template <typename Value>
  void FailAlways(Value result, DWORD lastError = ERROR_SUCCESS) {
    SetReplacement([result, lastError](Arguments...) -> Result {
      SetLastError(lastError);
      return static_cast<Result>(result);
    });
  }

  Result CallOriginal(Arguments... arguments) const { return original(arguments...); }

  /// The arguments of the calls so far, in order.
  std::vector<Call> Calls() const {
    const std::lock_guard guard(mutex);
    return calls;
  }
  std::size_t CallCount() const {
    const std::lock_guard guard(mutex);
    return calls.size();
  }

 private:
  static Result Entry(Arguments... arguments) {
    ImportHook& self = *active;
    Replacement work;
    {
      const std::lock_guard guard(self.mutex);
      const auto failure = self.failures.find(self.calls.size());
      work = failure == self.failures.end() ? self.replacement : failure->second;
      self.calls.emplace_back(arguments...);
    }
    // Recording may have changed what the original would leave alone.
    return work ? work(arguments...) : self.original(arguments...);
  }

  static inline std::atomic<ImportHook*> active = nullptr;

  mutable std::mutex mutex;
  std::vector<Call> calls;
  Replacement replacement;
  std::map<std::size_t, Replacement> failures;
  Result (*original)(Arguments...) = nullptr;
  // Last, so that the redirection ends before what it uses.
  ImportRedirector redirector;
};

template <FunctionName name, typename Result, typename... Arguments>
class ImportHook<name, Result(Arguments...) noexcept>
    : public ImportHook<name, Result(Arguments...)> {
 public:
  using ImportHook<name, Result(Arguments...)>::ImportHook;
};

/// The hook of a function that the headers declare under the imported name.
#define IMPORT_HOOK(function) ::test_support::ImportHook<#function, decltype(function)>

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_IMPORT_REDIRECTOR_H_
