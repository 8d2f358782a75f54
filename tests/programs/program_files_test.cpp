// The programs that people get, as files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/dll_host.h"
#include "tests/support/pe_file.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

class ProgramFile : public testing::TestWithParam<const wchar_t*> {
 protected:
  std::wstring Path() const { return ProgramDirectory() + L"\\" + GetParam() + L".exe"; }
};

TEST_P(ProgramFile, HasRandomAddressesAndNoExecutableData) {
  const PeFile file(Path());
  EXPECT_EQ(file.Machine(), IMAGE_FILE_MACHINE_AMD64);
  EXPECT_EQ(file.DllCharacteristics() & 0x160, 0x160);
  EXPECT_TRUE(file.HasRelocations());
  for (const PeFile::Section& section : file.Sections()) {
    const bool isWritable = (section.characteristics & IMAGE_SCN_MEM_WRITE) != 0;
    const bool isExecutable = (section.characteristics & IMAGE_SCN_MEM_EXECUTE) != 0;
    EXPECT_FALSE(isWritable && isExecutable) << section.name;
  }
}

// How the stack protector and the checked calls of the C library end the program: `mov ecx, reason`
// and `int 29h`. The compiler's own stack protector would load a cryptographic provider at each
// start.
TEST_P(ProgramFile, GuardsItsStackAndItsBuffers) {
  using std::string_view_literals::operator""sv;
  const PeFile file(Path());
  EXPECT_TRUE(file.Holds("\xB9\x02\x00\x00\x00\xCD\x29"sv)) << "stack";
  EXPECT_TRUE(file.Holds("\xB9\x08\x00\x00\x00\xCD\x29"sv)) << "buffers";
  for (const Import& import : file.Imports()) {
    EXPECT_THAT(import.function, testing::Not(testing::StartsWith("Crypt")));
  }
}

TEST_P(ProgramFile, ItsSymbolsAreInAFileBesideIt) {
  const PeFile file(Path());
  for (const PeFile::Section& section : file.Sections()) {
    EXPECT_THAT(section.name, testing::Not(testing::StartsWith(".debug")));
  }
  EXPECT_TRUE(file.Holds(Narrow(GetParam()) + ".exe.debug"));
  EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(Path() + L".debug")));
}

TEST_P(ProgramFile, NeedsNoRunTimeOfTheCompiler) {
  for (const Import& import : PeFile(Path()).Imports()) {
    EXPECT_THAT(import.library, testing::Not(testing::AnyOf(testing::StartsWith("lib"),
                                                            testing::StartsWith("launcher"))));
  }
}

TEST_P(ProgramFile, SaysItsNameAndTheLaunchersVersion) {
  const std::wstring path = Path();
  std::vector<char> resource(GetFileVersionInfoSizeW(path.c_str(), nullptr));
  ASSERT_TRUE(
      GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(resource.size()), resource.data()));
  void* value = nullptr;
  UINT size = 0;
  ASSERT_TRUE(VerQueryValueW(resource.data(), L"\\", &value, &size));
  EXPECT_EQ(static_cast<const VS_FIXEDFILEINFO*>(value)->dwFileVersionMS, 162u << 16);
  ASSERT_TRUE(VerQueryValueW(resource.data(), L"\\StringFileInfo\\040904B0\\OriginalFilename",
                             &value, &size));
  EXPECT_EQ(std::wstring(static_cast<const wchar_t*>(value)), std::wstring(GetParam()) + L".exe");
}

INSTANTIATE_TEST_SUITE_P(Programs, ProgramFile,
                         testing::Values(L"helperx64", L"demo_game", L"demo_launcher",
                                         L"demo_server", L"launcher-console", L"browser_host"),
                         [](const auto& program) {
                           std::string name = Narrow(program.param);
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

}  // namespace
}  // namespace test_support
