// The DLL as a file and its four exports.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/allocation_tracker.h"
#include "tests/support/dll_host.h"
#include "tests/support/line_hook.h"
#include "tests/support/pe_file.h"
#include "tests/support/stream_capture.h"

namespace test_support {
namespace {

using testing::ElementsAre;

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

TEST(CoreExports, DestroyingNullDoesNothing) {
  const LauncherDll dll;
  const AllocationTracker memory(dll.Module());
  const LineHook lines(dll.Module(), [](const std::string&, FILE*) {});
  dll.destroyLauncher(nullptr);
  EXPECT_EQ(lines.Count(), 0u);
  EXPECT_EQ(memory.Count(), 0u);
}

TEST(CoreExports, ThePluginPointerIsHandedBackAndNeverDereferenced) {
  const LauncherDll dll;
  static std::vector<void*> received;
  received.clear();
  void* const plugins[] = {reinterpret_cast<void*>(std::uintptr_t{0x12}), nullptr};
  for (void* const plugin : plugins) {
    ILauncher* const launcher =
        dll.createLauncher(plugin, [](void* argument) { received.push_back(argument); });
    ASSERT_NE(launcher, nullptr);
    launcher->PostEvent(L"s", L"n", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                        nullptr);
    dll.destroyLauncher(launcher);
  }
  EXPECT_THAT(received, ElementsAre(plugins[0], plugins[1]));
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

}  // namespace
}  // namespace test_support
