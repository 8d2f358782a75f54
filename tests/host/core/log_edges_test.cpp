// The log's own encoding and memory: letters at the edges of their ranges, and lines for which
// there is no memory.
#include <gtest/gtest.h>
#include <io.h>
#include <stdio.h>

#include <cstddef>
#include <string>

#include "tests/support/dll_host.h"
#include "tests/support/import_redirector.h"
#include "tests/support/stream_capture.h"

namespace test_support {
namespace {

constexpr char kPrefix[] = "BaseApp::SetParameter: Setting parameter key to ";
constexpr std::size_t kPrefixLength = 48;

// The headers' own declarations carry attributes, which a template does not take; nor does va_list.
using MallocHook = ImportHook<"malloc", void*(std::size_t)>;
using MeasureHook = ImportHook<"_vscwprintf", int(const wchar_t*, char*)>;

class CoreLogEdges : public testing::Test {
 protected:
  // What the log shows of a value.
  std::string Logged(const std::wstring& value) {
    const StreamCapture errors;
    host->SetParameter(L"TAVR-GAME", L"key", value.c_str());
    const std::string line = errors.Text();
    EXPECT_EQ(line.substr(0, kPrefixLength), kPrefix);
    return line.size() < kPrefixLength ? std::string() : line.substr(kPrefixLength);
  }

  DllHost host;
};

TEST_F(CoreLogEdges, EncodesTheFirstAndTheLastLetterOfEachLength) {
  EXPECT_EQ(Logged(L"\x01\x7F"), "\x01\x7F\n");
  EXPECT_EQ(Logged(L"\u0080\u07FF"), "\xC2\x80\xDF\xBF\n");
  EXPECT_EQ(Logged(L"\u0800\uD7FF"), "\xE0\xA0\x80\xED\x9F\xBF\n");
  EXPECT_EQ(Logged(L"\uE000\uFFFF"), "\xEE\x80\x80\xEF\xBF\xBF\n");
  EXPECT_EQ(Logged(L"\U00010000\U0010FFFF"), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\n");
}

TEST_F(CoreLogEdges, EncodesEveryBitOfALetter) {
  EXPECT_EQ(Logged(L"\u0123"), "\xC4\xA3\n");
  EXPECT_EQ(Logged(L"\u06DC"), "\xDB\x9C\n");
  EXPECT_EQ(Logged(L"\u1234"), "\xE1\x88\xB4\n");
  EXPECT_EQ(Logged(L"\uFEDC"), "\xEF\xBB\x9C\n");
  EXPECT_EQ(Logged(L"\U00012345"), "\xF0\x92\x8D\x85\n");
  EXPECT_EQ(Logged(L"\U0010FEDC"), "\xF4\x8F\xBB\x9C\n");
}

TEST_F(CoreLogEdges, PairsTheFirstAndTheLastSurrogates) {
  EXPECT_EQ(Logged(L"\xD800\xDFFF"), "\xF0\x90\x8F\xBF\n");
  EXPECT_EQ(Logged(L"\xDBFF\xDC00"), "\xF4\x8F\xB0\x80\n");
}

TEST_F(CoreLogEdges, ReplacesSurrogatesWithoutAPartner) {
  const std::string replaced = "\xEF\xBF\xBD";
  EXPECT_EQ(Logged(L"\xD800x"), replaced + "x\n");
  EXPECT_EQ(Logged(L"\xD800"), replaced + "\n");
  EXPECT_EQ(Logged(L"\xDFFFx"), replaced + "x\n");
  EXPECT_EQ(Logged(L"\xDC00\xDC00"), replaced + replaced + "\n");
  EXPECT_EQ(Logged(L"\xD800\xDBFF"), replaced + replaced + "\n");
  EXPECT_EQ(Logged(L"\xDBFF\xE000"), replaced + "\xEE\x80\x80\n");
  EXPECT_EQ(Logged(L"\xDBFF\xDBFF\xDC00"), replaced + "\xF4\x8F\xB0\x80\n");
}

// A line is cut where it would not fit the memory that is there without asking: 512 characters.
TEST_F(CoreLogEdges, WritesTheBeginningOfALineForWhichThereIsNoMemory) {
  constexpr std::size_t kLineBytes = (kPrefixLength + 600 + 2) * sizeof(wchar_t);
  MallocHook allocations(host.Module());
  allocations.SetReplacement([&](std::size_t size) {
    return size == kLineBytes ? nullptr : allocations.CallOriginal(size);
  });
  EXPECT_EQ(Logged(std::wstring(600, L'x')), std::string(512 - kPrefixLength, 'x'));
}

// There is room for 1537 bytes without asking. A letter is taken when four more bytes fit.
TEST_F(CoreLogEdges, WritesAsManyLettersAsFitWithoutMemoryForTheirBytes) {
  constexpr std::size_t kEncodedBytes = (kPrefixLength + 600 + 1) * 3 + 1;
  MallocHook allocations(host.Module());
  allocations.SetReplacement([&](std::size_t size) {
    return size == kEncodedBytes ? nullptr : allocations.CallOriginal(size);
  });
  std::string letters;
  for (int i = 0; i < 496; ++i) letters += "\xE2\x82\xAC";
  EXPECT_EQ(Logged(std::wstring(600, L'\u20AC')), letters);
}

TEST_F(CoreLogEdges, WritesNothingOfALineThatCannotBeMeasured) {
  MeasureHook measures(host.Module());
  measures.FailAlways(-1);
  const StreamCapture errors;
  host->SetParameter(L"TAVR-GAME", L"key", std::wstring(600, L'x').c_str());
  EXPECT_EQ(errors.Text(), "");
  EXPECT_EQ(Logged(L"short"), "short\n");
}

TEST_F(CoreLogEdges, GoesToTheStandardHandleOfAProcessWithoutThatStream) {
  IMPORT_HOOK(_fileno) descriptors(host.Module());
  descriptors.FailAlways(-2);
  IMPORT_HOOK(GetStdHandle) standard(host.Module());
  host->SetParameter(L"TAVR-GAME", L"key", L"value");
  EXPECT_EQ(standard.CallCount(), 1u);
}

}  // namespace
}  // namespace test_support
