// The DLL as a file and its four exports.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>

#include "tests/support/allocation_tracker.h"
#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/line_hook.h"
#include "tests/support/pe_file.h"
#include "tests/support/stream_capture.h"

namespace test_support {
namespace {

using testing::ElementsAre;

TEST(CoreExports, AreExactlyFourNames) {
  std::vector<std::string> names;
  for (const PeFile::Export& exported : PeFile(LauncherDllPath()).Exports()) {
    names.push_back(exported.name);
  }
  EXPECT_THAT(names, ElementsAre("CreateLauncher", "DestroyLauncher", "g_LauncherABIVersion",
                                 "g_LauncherVersion"));
}

TEST(CoreExports, DataStandsInPlaceInTheFile) {
  const PeFile file(LauncherDllPath());
  const std::vector<PeFile::Export> exports = file.Exports();
  ASSERT_EQ(exports.size(), 4u);
  EXPECT_EQ(file.BytesAt(exports[2].address, 4), std::string("\x01\0\0\0", 4));
  EXPECT_EQ(file.BytesAt(exports[3].address, 8), std::string("1\0006\0002\0\0\0", 8));
}

TEST(CoreExports, DataIsReadThroughTheLoadedDll) {
  const LauncherDll dll;
  EXPECT_EQ(*dll.abiVersion, 1u);
  EXPECT_STREQ(dll.version, L"162");
}

TEST(CoreExports, TheDllIsA64BitOneWithRandomAddressesAndNoExecutableData) {
  const PeFile file(LauncherDllPath());
  EXPECT_EQ(file.Machine(), IMAGE_FILE_MACHINE_AMD64);
  // High-entropy addresses, relocation and data execution prevention.
  EXPECT_EQ(file.DllCharacteristics() & 0x160, 0x160);
  for (const PeFile::Section& section : file.Sections()) {
    const bool isWritable = (section.characteristics & IMAGE_SCN_MEM_WRITE) != 0;
    const bool isExecutable = (section.characteristics & IMAGE_SCN_MEM_EXECUTE) != 0;
    EXPECT_FALSE(isWritable && isExecutable) << section.name;
  }
}

// A plug-in directory holds this DLL alone, without a compiler's run-time libraries.
TEST(CoreExports, OnlyLibrariesOfTheSystemAreImported) {
  const std::set<std::string> system = {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll",
                                        "oleaut32.dll", "shell32.dll",  "user32.dll", "ws2_32.dll"};
  for (const Import& import : PeFile(LauncherDllPath()).Imports()) {
    std::string library = import.library;
    std::transform(library.begin(), library.end(), library.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    EXPECT_TRUE(system.contains(library)) << import.library << ' ' << import.function;
  }
}

TEST(CoreExports, TheVersionResourceNamesTheSameVersion) {
  const LauncherDll dll;
  const HRSRC resource = FindResourceW(dll.Module(), MAKEINTRESOURCEW(1), RT_VERSION);
  ASSERT_NE(resource, nullptr);
  const auto* const bytes =
      static_cast<const unsigned char*>(LockResource(LoadResource(dll.Module(), resource)));
  const std::size_t size = SizeofResource(dll.Module(), resource);
  const unsigned char signature[] = {0xBD, 0x04, 0xEF, 0xFE};
  const auto* const found = std::search(bytes, bytes + size, signature, signature + 4);
  ASSERT_LE(found + 24, bytes + size);
  // The structure's version, the file's version and the product's, in two halves each.
  const unsigned char expected[] = {0xBD, 0x04, 0xEF, 0xFE, 0, 0, 1,   0, 0, 0, 162, 0,
                                    0,    0,    0,    0,    0, 0, 162, 0, 0, 0, 0,   0};
  EXPECT_TRUE(std::equal(expected, expected + 24, found));
}

TEST(CoreExports, CreateLauncherAndDestroyLauncherMakeAndEndALauncher) {
  const LauncherDll dll;
  Notifier notifier;
  ILauncher* const launcher = dll.createLauncher(&notifier, &Notifier::Callback);
  ASSERT_NE(launcher, nullptr);
  EXPECT_EQ(TakeText(*launcher, launcher->GetLauncherVersion()), L"162");
  dll.destroyLauncher(launcher);
  EXPECT_EQ(notifier.CallCount(), 0);
}

TEST(CoreExports, DestroyingNullDoesNothing) {
  const LauncherDll dll;
  const AllocationTracker memory(dll.Module());
  const LineHook lines(dll.Module(), [](const std::string&, FILE*) {});
  dll.destroyLauncher(nullptr);
  EXPECT_EQ(lines.Count(), 0u);
  EXPECT_EQ(memory.Count(), 0u);
}

TEST(CoreExports, ThePluginPointerIsNeverDereferenced) {
  const LauncherDll dll;
  static void* received;
  received = nullptr;
  void* const plugin = reinterpret_cast<void*>(std::uintptr_t{0x12});
  ILauncher* const launcher =
      dll.createLauncher(plugin, [](void* argument) { received = argument; });
  ASSERT_NE(launcher, nullptr);
  launcher->PostEvent(L"s", L"n", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                      nullptr);
  EXPECT_EQ(received, plugin);
  dll.destroyLauncher(launcher);
}

TEST(CoreExports, ANullPluginIsHandedBackAsNull) {
  const LauncherDll dll;
  static int calls;
  calls = 0;
  ILauncher* const launcher = dll.createLauncher(nullptr, [](void* argument) {
    if (argument == nullptr) ++calls;
  });
  ASSERT_NE(launcher, nullptr);
  launcher->PostEvent(L"s", L"n", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                      nullptr);
  EXPECT_EQ(calls, 1);
  dll.destroyLauncher(launcher);
}

TEST(CoreExports, AHostWithoutANotifierPollsItsEvents) {
  const LauncherDll dll;
  ILauncher* const launcher = dll.createLauncher(nullptr, nullptr);
  ASSERT_NE(launcher, nullptr);
  launcher->PostEvent(L"s", L"n", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                      nullptr);
  IEventInfo* const event = launcher->GetNextEvent();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(TakeEvent(*launcher, event).name, L"n");
  dll.destroyLauncher(launcher);
}

// Every allocation of the creation in turn: null, and what was made until then is gone.
TEST(CoreExports, CreateLauncherReturnsNullWheneverMemoryRunsOut) {
  const StreamCapture errors;
  DllHost warmUp;
  warmUp.Destroy();
  AllocationTracker memory(warmUp.Module());
  std::size_t kept = 0;
  {
    ILauncher* const launcher = warmUp.Dll().createLauncher(nullptr, nullptr);
    warmUp.Dll().destroyLauncher(launcher);
    kept = memory.Outstanding();
    // The first exception of a thread leaves notes of the C++ run-time behind.
    memory.FailOne(0);
    EXPECT_EQ(warmUp.Dll().createLauncher(nullptr, nullptr), nullptr);
    memory.FailNone();
  }
  std::size_t failed = 0;
  for (;; ++failed) {
    ASSERT_LT(failed, 1000u);
    const std::size_t before = memory.Outstanding();
    memory.FailOne(failed);
    ILauncher* const launcher = warmUp.Dll().createLauncher(nullptr, nullptr);
    const bool wasReached = memory.Count() > failed;
    memory.FailNone();
    if (!wasReached) {
      ASSERT_NE(launcher, nullptr);
      warmUp.Dll().destroyLauncher(launcher);
      break;
    }
    if (launcher != nullptr) {
      // An allocation that the creation can do without.
      warmUp.Dll().destroyLauncher(launcher);
      continue;
    }
    // A finished launcher's games leave their command handlers behind on purpose; one that was
    // never finished can leave as many at most.
    EXPECT_LE(memory.Outstanding() - before, kept) << "allocation " << failed;
  }
  EXPECT_GT(failed, 8u);
}

}  // namespace
}  // namespace test_support
