#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "apps/directory_scan.h"
#include "apps/file_text.h"
#include "tests/support/import_redirector.h"
#include "tests/support/log_of.h"
#include "tests/support/temp_directory.h"
#include "tests/support/text.h"

namespace launcher {
namespace {

using test_support::ImportHook;
using test_support::LogOf;
using test_support::Narrow;
using test_support::StreamCapture;
using test_support::TempDirectory;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

HMODULE ThisProgram() { return GetModuleHandleW(nullptr); }

const HANDLE kSearch = reinterpret_cast<HANDLE>(static_cast<UINT_PTR>(0x7FFFFFF9));

void MakeEntry(WIN32_FIND_DATAW* entry, DWORD attributes, const std::wstring& name) {
  *entry = {};
  entry->dwFileAttributes = attributes;
  name.copy(entry->cFileName, MAX_PATH - 1);
}

TEST(ReadDirectoryNames, TakesDirectoriesWithoutALeadingDot) {
  const TempDirectory directory;
  for (const wchar_t* const name : {L"one", L"two.three", L".dot", L"..odd", L"one\\nested"}) {
    directory.MakeDirectory(name);
  }
  directory.WriteFile(L"file", "");
  std::vector<std::wstring> names;
  EXPECT_EQ(LogOf([&] { names = ReadDirectoryNames(directory.Path()); }), "");
  EXPECT_THAT(names, UnorderedElementsAre(L"one", L"two.three"));
  IMPORT_HOOK(FindClose) closes(ThisProgram());
  EXPECT_EQ(LogOf([&] { EXPECT_THAT(ReadDirectoryNames(directory.Join(L"gone")), IsEmpty()); }),
            "");
  EXPECT_EQ(closes.CallCount(), 0U);
}

TEST(ReadDirectoryNames, FirstEntryCountsAndTheOrderStays) {
  const std::vector<std::wstring> later = {L"c", L"a"};
  std::size_t position = 0;
  IMPORT_HOOK(FindFirstFileW)
  first(ThisProgram(), [](LPCWSTR, WIN32_FIND_DATAW* entry) {
    MakeEntry(entry, FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN, L"b");
    return kSearch;
  });
  IMPORT_HOOK(FindNextFileW)
  next(ThisProgram(), [&](HANDLE search, WIN32_FIND_DATAW* entry) {
    EXPECT_EQ(search, kSearch);
    SetLastError(ERROR_NO_MORE_FILES);
    if (position == later.size()) return FALSE;
    MakeEntry(entry, FILE_ATTRIBUTE_DIRECTORY, later[position++]);
    return TRUE;
  });
  std::vector<HANDLE> closed;
  IMPORT_HOOK(FindClose)
  close(ThisProgram(), [&](HANDLE search) {
    closed.push_back(search);
    return TRUE;
  });
  std::vector<std::wstring> names;
  EXPECT_EQ(LogOf([&] { names = ReadDirectoryNames(L"x"); }), "");
  EXPECT_THAT(names, ElementsAre(L"b", L"c", L"a"));
  EXPECT_THAT(closed, ElementsAre(kSearch));
}

TEST(ReadDirectoryNames, FailureLaterIsLoggedBeforeTheEndAndKeepsTheNames) {
  const StreamCapture log;
  std::wstring pattern;
  IMPORT_HOOK(FindFirstFileW)
  first(ThisProgram(), [&](LPCWSTR path, WIN32_FIND_DATAW* entry) {
    pattern = path;
    MakeEntry(entry, FILE_ATTRIBUTE_DIRECTORY, L"one");
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

TEST(ReadDirectoryNames, PatternIsCutTo260Characters) {
  std::vector<std::wstring> patterns;
  IMPORT_HOOK(FindFirstFileW)
  first(ThisProgram(), [&](LPCWSTR pattern, WIN32_FIND_DATAW*) {
    patterns.emplace_back(pattern);
    return INVALID_HANDLE_VALUE;
  });
  ReadDirectoryNames(L"C:\\d");
  ReadDirectoryNames(std::wstring(258, L'd'));
  ReadDirectoryNames(std::wstring(259, L'd'));
  ReadDirectoryNames(std::wstring(300, L'd'));
  EXPECT_THAT(patterns, ElementsAre(L"C:\\d\\*", std::wstring(258, L'd') + L"\\*",
                                    std::wstring(259, L'd') + L"\\", std::wstring(260, L'd')));
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

TEST(ReadFileText, IsEmptyForAnEmptyOrMissingFile) {
  EXPECT_EQ(TextOfFile(""), L"");
  const TempDirectory directory;
  EXPECT_EQ(ReadFileText(directory.Join(L"gone")), L"");
  EXPECT_EQ(ReadFileText(directory.Path()), L"");
}

/// A readable file, and how often it is opened and closed.
class ReadFileTextFailure : public testing::Test {
 protected:
  void ExpectEmptyAndClosed() {
    EXPECT_EQ(LogOf([&] { EXPECT_EQ(ReadFileText(path), L""); }), "");
    EXPECT_EQ(opens.CallCount(), 1U);
    EXPECT_EQ(std::count(closedFiles.begin(), closedFiles.end(), openedFile), 1);
  }

  const TempDirectory directory;
  const std::wstring path = directory.WriteFile(L"file", "content");
  FILE* openedFile = nullptr;
  std::vector<FILE*> closedFiles;
  ImportHook<"_wfopen", FILE*(const wchar_t*, const wchar_t*)> opens{
      ThisProgram(), [this](const wchar_t* name, const wchar_t* mode) {
        EXPECT_EQ(name, path);
        EXPECT_STREQ(mode, L"rb");
        openedFile = opens.CallOriginal(name, mode);
        return openedFile;
      }};
  ImportHook<"fclose", int(FILE*)> closes{ThisProgram(), [this](FILE* file) {
                                            closedFiles.push_back(file);
                                            return closes.CallOriginal(file);
                                          }};
};

TEST_F(ReadFileTextFailure, None) {
  EXPECT_EQ(ReadFileText(path), L"content");
  EXPECT_EQ(std::count(closedFiles.begin(), closedFiles.end(), openedFile), 1);
}

TEST_F(ReadFileTextFailure, LengthUnknown) {
  ImportHook<"ftell", long(FILE*)> tell(ThisProgram(), [](FILE*) { return -1L; });
  ExpectEmptyAndClosed();
}

TEST_F(ReadFileTextFailure, EndNotReached) {
  ImportHook<"fseek", int(FILE*, long, int)> seek(ThisProgram());
  seek.FailCall(0, -1);
  ExpectEmptyAndClosed();
}

TEST_F(ReadFileTextFailure, StartNotReached) {
  ImportHook<"fseek", int(FILE*, long, int)> seek(ThisProgram());
  seek.FailCall(1, -1);
  ExpectEmptyAndClosed();
}

// The file grew shorter since its length was asked for.
TEST_F(ReadFileTextFailure, FileShorterThanItsLength) {
  ImportHook<"ftell", long(FILE*)> tell(ThisProgram());
  tell.SetReplacement([&](FILE* file) { return tell.CallOriginal(file) + 1; });
  ExpectEmptyAndClosed();
}

}  // namespace
}  // namespace launcher
