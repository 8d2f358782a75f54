// The header for C hosts says the same as the one for C++ hosts: each slot has the same name, number and
// types. Types are compared by the compiler, numbers at run time.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "launcher/launcher.h"
// launcher.h first.
#include "launcher/launcher_c.h"
#include "tests/support/slot_of.h"

namespace {

// A C++ type as the C header spells it.
template <typename Type>
struct InC {
  using type = Type;
};
template <>
struct InC<IString*> {
  using type = launcher_string_t*;
};
template <>
struct InC<IEventInfo*> {
  using type = launcher_event_t*;
};
template <>
struct InC<unsigned long long> {
  using type = std::uint64_t;
};

template <typename Object>
struct ObjectInC;
template <>
struct ObjectInC<ILauncher> {
  using type = launcher_t;
};
template <>
struct ObjectInC<IString> {
  using type = launcher_string_t;
};
template <>
struct ObjectInC<IEventInfo> {
  using type = launcher_event_t;
};

// A member function as a function of C that takes the object first.
template <typename Member>
struct FunctionInC;
template <typename Object, typename Result, typename... Arguments>
struct FunctionInC<Result (Object::*)(Arguments...)> {
  using type = typename InC<Result>::type (*)(typename ObjectInC<Object>::type*,
                                              typename InC<Arguments>::type...);
};

using test_support::SlotOf;

#define EXPECT_SAME_SLOT(Interface, slots_type, name, number)                                      \
  do {                                                                                             \
    static_assert(                                                                                 \
        std::is_same_v<FunctionInC<decltype(&Interface::name)>::type, decltype(slots_type::name)>, \
        #name " has other types in launcher_c.h");                                                 \
    EXPECT_EQ(SlotOf(&Interface::name), std::size_t{number}) << #Interface "::" #name;             \
    EXPECT_EQ(offsetof(slots_type, name) / sizeof(void*), std::size_t{number}) << #slots_type;     \
  } while (false)

TEST(CHeader, TheLauncherHasTheSameSlots) {
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, PostEvent, 0);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, GetNextEvent, 1);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, FreeEvent, 2);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, FreeString, 3);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, WaitForThreads, 4);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, PingBatch, 5);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, IsInstalled, 6);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, GetVersion, 7);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, GetParameter, 8);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, GetExtraArguments, 9);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, GetLauncherVersion, 10);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, SendCommand, 11);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, Kill, 12);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, Launch, 13);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, IsRunning, 14);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, SetParameter, 15);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, QueryServer, 16);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, PollApps, 17);
  EXPECT_SAME_SLOT(ILauncher, launcher_slots_t, Destroy, 18);
  EXPECT_EQ(sizeof(launcher_slots_t), 19 * sizeof(void*));
}

TEST(CHeader, AStringHasTheSameSlots) {
  EXPECT_SAME_SLOT(IString, launcher_string_slots_t, GetString, 0);
  EXPECT_SAME_SLOT(IString, launcher_string_slots_t, Destroy, 1);
  EXPECT_EQ(sizeof(launcher_string_slots_t), 2 * sizeof(void*));
}

TEST(CHeader, AnEventHasTheSameSlots) {
  EXPECT_SAME_SLOT(IEventInfo, launcher_event_slots_t, GetSource, 0);
  EXPECT_SAME_SLOT(IEventInfo, launcher_event_slots_t, GetName, 1);
  EXPECT_SAME_SLOT(IEventInfo, launcher_event_slots_t, GetArg0, 2);
  EXPECT_SAME_SLOT(IEventInfo, launcher_event_slots_t, GetArg1, 3);
  EXPECT_SAME_SLOT(IEventInfo, launcher_event_slots_t, GetArg2, 4);
  EXPECT_SAME_SLOT(IEventInfo, launcher_event_slots_t, GetArg3, 5);
  EXPECT_SAME_SLOT(IEventInfo, launcher_event_slots_t, GetArg4, 6);
  EXPECT_SAME_SLOT(IEventInfo, launcher_event_slots_t, GetArg5, 7);
  EXPECT_SAME_SLOT(IEventInfo, launcher_event_slots_t, GetArg6, 8);
  EXPECT_SAME_SLOT(IEventInfo, launcher_event_slots_t, GetArg7, 9);
  EXPECT_EQ(sizeof(launcher_event_slots_t), 10 * sizeof(void*));
}

TEST(CHeader, TheNotifierIsTheSame) {
  EXPECT_TRUE((std::is_same_v<NotifyCallback, launcher_notify_t>));
}

}  // namespace
