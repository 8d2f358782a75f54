#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "apps/directory_scan.h"
#include "apps/file_text.h"
#include "tests/support/import_redirector.h"
#include "tests/support/log_of.h"
#include "tests/support/temp_directory.h"

namespace launcher {
namespace {

using test_support::LogOf;
using test_support::StreamCapture;
using test_support::TempDirectory;
using testing::ElementsAre;

HMODULE ThisProgram() { return GetModuleHandleW(nullptr); }

const HANDLE kSearch = reinterpret_cast<HANDLE>(static_cast<UINT_PTR>(0x7FFFFFF9));

TEST(ReadDirectoryNames, FailureLaterIsLoggedBeforeTheEndAndKeepsTheNames) {
  const StreamCapture log;
  std::wstring pattern;
  IMPORT_HOOK(FindFirstFileW)
  first(ThisProgram(), [&](LPCWSTR path, WIN32_FIND_DATAW* entry) {
    pattern = path;
    *entry = {};
    entry->dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
    std::wstring(L"one").copy(entry->cFileName, MAX_PATH - 1);
    return kSearch;
  });
  IMPORT_HOOK(FindNextFileW) next(ThisProgram());
  next.FailAlways(FALSE, ERROR_NETNAME_DELETED);
  std::string logAtClose;
  IMPORT_HOOK(FindClose)
  close(ThisProgram(), [&](HANDLE) {
    logAtClose = log.Text();
    return TRUE;
  });
  EXPECT_THAT(ReadDirectoryNames(LR"(C:\g\\Update)"), ElementsAre(L"one"));
  EXPECT_EQ(pattern, LR"(C:\g\\Update\*)");
  EXPECT_EQ(close.CallCount(), 1U);
  EXPECT_EQ(logAtClose,
            "BaseApp::ReadDirectoryNames: Error: 64 reading directories from path: "
            "C:\\g\\\\Update\n");
  EXPECT_EQ(log.Text(), logAtClose);
}

TEST(ReadDirectoryNames, DirectoryThatCannotBeReadIsEmptyWithoutALine) {
  for (const DWORD error : {DWORD{ERROR_PATH_NOT_FOUND}, DWORD{ERROR_ACCESS_DENIED}}) {
    IMPORT_HOOK(FindFirstFileW) first(ThisProgram());
    first.FailAlways(INVALID_HANDLE_VALUE, error);
    IMPORT_HOOK(FindClose) close(ThisProgram());
    EXPECT_EQ(LogOf([] { EXPECT_TRUE(ReadDirectoryNames(L"C:\\g").empty()); }), "") << error;
    EXPECT_EQ(close.CallCount(), 0U);
  }
}

std::wstring TextOfFile(std::string_view bytes) {
  const TempDirectory directory;
  return ReadFileText(directory.WriteFile(L"file", bytes));
}

TEST(ReadFileText, IsTheWholeFileFromUtf8) {
  EXPECT_EQ(TextOfFile("plain"), L"plain");
  EXPECT_EQ(TextOfFile("a\r\nb\n\x1A tail"), L"a\r\nb\n\x1A tail");
  EXPECT_EQ(TextOfFile("\xC3\xBC \xF0\x9F\x98\x80"), L"\u00fc \U0001f600");
  EXPECT_EQ(TextOfFile("\xEF\xBB\xBF{}"), L"\uFEFF{}");
  EXPECT_EQ(TextOfFile(std::string(100000, 'x')), std::wstring(100000, L'x'));
}

TEST(ReadFileText, EndsAtAZero) {
  EXPECT_EQ(TextOfFile(std::string_view("ab\0cd", 5)), L"ab");
  // Invalid bytes in front of it are read as at the end of a file.
  EXPECT_EQ(TextOfFile(std::string_view("\xF0\xC3\0cd", 5)), TextOfFile("\xF0\xC3"));
}

TEST(ReadFileText, IsEmptyForAFileThatIsEmptyMissingOrCutShort) {
  EXPECT_EQ(TextOfFile(""), L"");
  const TempDirectory directory;
  EXPECT_EQ(ReadFileText(directory.Join(L"gone")), L"");
  EXPECT_EQ(ReadFileText(directory.Path()), L"");
  // A file that has grown shorter since its length was asked for.
  test_support::ImportHook<"ftell", long(FILE*)> tell(ThisProgram());
  tell.SetReplacement([&](FILE* file) { return tell.CallOriginal(file) + 1; });
  EXPECT_EQ(TextOfFile("content"), L"");
}

}  // namespace
}  // namespace launcher
