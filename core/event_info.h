// One event for the host: ten texts.
#ifndef LAUNCHER_CORE_EVENT_INFO_H_
#define LAUNCHER_CORE_EVENT_INFO_H_

#include <array>
#include <cstddef>
#include <memory>
#include <string_view>

#include "launcher/launcher.h"

namespace launcher {

class EventInfo;

struct EventDeleter {
  void operator()(EventInfo* event) const noexcept;
};

/// An event that nobody else owns.
using EventPtr = std::unique_ptr<EventInfo, EventDeleter>;

/// The texts of an event in slot order. A default-constructed value has all ten empty.
struct EventFields {
  static constexpr std::size_t kArgumentCount = 8;

  std::wstring_view source;
  std::wstring_view name;
  std::array<std::wstring_view, kArgumentCount> arguments;
};

/// An event and its texts in one block of memory, unchangeable once made. Any thread may read it.
class EventInfo final : public IEventInfo {
 public:
  /// Copies the texts. Throws std::bad_alloc.
  static EventPtr Create(const EventFields& fields);

  /// As `Create`, and with room for `length` characters as `arguments[argument]`, which the caller
  /// writes to `room`: a long text need not be made first and copied then. Throws std::bad_alloc.
  static EventPtr CreateWithRoom(const EventFields& fields, std::size_t argument,
                                 std::size_t length, wchar_t*& room);

  /// Copies terminated texts; null arguments read as empty. Null when memory runs out.
  static EventPtr CreateIfMemory(const wchar_t* source, const wchar_t* name, const wchar_t* arg0,
                                 const wchar_t* arg1, const wchar_t* arg2, const wchar_t* arg3,
                                 const wchar_t* arg4, const wchar_t* arg5, const wchar_t* arg6,
                                 const wchar_t* arg7) noexcept;

  EventInfo(const EventInfo&) = delete;
  EventInfo& operator=(const EventInfo&) = delete;

  const wchar_t* GetSource() override { return texts[kSource]; }
  const wchar_t* GetName() override { return texts[kName]; }
  const wchar_t* GetArg0() override { return texts[kArguments]; }
  const wchar_t* GetArg1() override { return texts[kArguments + 1]; }
  const wchar_t* GetArg2() override { return texts[kArguments + 2]; }
  const wchar_t* GetArg3() override { return texts[kArguments + 3]; }
  const wchar_t* GetArg4() override { return texts[kArguments + 4]; }
  const wchar_t* GetArg5() override { return texts[kArguments + 5]; }
  const wchar_t* GetArg6() override { return texts[kArguments + 6]; }
  const wchar_t* GetArg7() override { return texts[kArguments + 7]; }

 private:
  friend class EventQueue;
  friend struct EventDeleter;

  static constexpr std::size_t kSource = 0;
  static constexpr std::size_t kName = 1;
  static constexpr std::size_t kArguments = 2;
  static constexpr std::size_t kTextCount = kArguments + EventFields::kArgumentCount;

  // The texts follow the object in memory, and `extraCharacters` of room from `end` on.
  static EventPtr Make(const EventFields& fields, std::size_t extraCharacters, wchar_t*& end);

  // Copies the texts to `cursor` and moves it on. An empty one points at the terminator of another.
  EventInfo(const EventFields& fields, wchar_t*& cursor);
  ~EventInfo() = default;

  const wchar_t* texts[kTextCount];
  // The link of the queue that holds the event, so that queuing needs no memory and cannot fail.
  EventInfo* next = nullptr;
};

}  // namespace launcher

#endif  // LAUNCHER_CORE_EVENT_INFO_H_
