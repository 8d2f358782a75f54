/// The demonstration's launcher: it prints events as they come and throws when one does not.
#ifndef LAUNCHER_EXAMPLES_DEMO_HOST_H_
#define LAUNCHER_EXAMPLES_DEMO_HOST_H_

#include <windows.h>

#include <array>
#include <deque>
#include <functional>
#include <string>

#include "launcher/launcher.hpp"

namespace demo {

/// A copy of an event, in UTF-8.
struct Event {
  std::string source;
  std::string name;
  std::array<std::string, 8> arguments;
};

/// A loaded launcher.dll and one launcher object. Used from one thread.
class Host {
 public:
  /// Throws std::runtime_error when the DLL cannot be loaded or speaks another contract.
  explicit Host(const std::wstring& dllPath);

  ILauncher* operator->() const { return launcher.Get(); }

  std::string version() const;

  /// Copies a text result and hands it back to the launcher.
  std::string Take(IString* text) const;

  /// Polls the applications and fetches events until one fits, prints every event on the way and
  /// returns the one that fits. Later events stay for the next call. Throws std::runtime_error
  /// with `description` when none has come after `kPatienceMilliseconds`.
  Event WaitForEvent(const std::string& description, const std::function<bool(const Event&)>& fits);

  /// Polls the applications until `holds` returns true. Throws like `WaitForEvent`.
  void WaitUntil(const std::string& description, const std::function<bool()>& holds);

  /// Far longer than anything here takes, even on a slow machine.
  static constexpr ULONGLONG kPatienceMilliseconds = 60000;

 private:
  void FetchEvents();
  void PollAfterPause();

  launcher_host::Launcher launcher;
  std::deque<Event> events;  // fetched, and not yet looked at
};

}  // namespace demo

#endif  // LAUNCHER_EXAMPLES_DEMO_HOST_H_
