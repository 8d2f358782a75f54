// What a person at a console window sees: colours, lines that are overwritten. Wine's consoles know no
// colours, so this one is played by hooks.

#include "tools/launcher-console/output.h"

#include <gtest/gtest.h>

#include "tests/support/environment_variable.h"
#include "tests/support/import_redirector.h"
#include "tests/support/text.h"

namespace console {
namespace {

using test_support::EnvironmentVariable;
using test_support::Narrow;

class ConsoleOutput : public testing::Test {
 protected:
  ConsoleOutput() {
    getMode.SetReplacement([this](HANDLE, LPDWORD mode) -> BOOL {
      *mode = ENABLE_PROCESSED_OUTPUT;
      return isConsole;
    });
    setMode.SetReplacement([this](HANDLE, DWORD mode) -> BOOL {
      EXPECT_EQ(mode, DWORD{ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING});
      return hasSequences;
    });
    write.SetReplacement(
        [this](HANDLE, const void* text, DWORD size, LPDWORD written, LPVOID) -> BOOL {
          shown += Narrow(std::wstring(static_cast<const wchar_t*>(text), size));
          *written = size;
          return TRUE;
        });
    getInfo.SetReplacement([](HANDLE, PCONSOLE_SCREEN_BUFFER_INFO info) -> BOOL {
      info->srWindow = {0, 0, 20, 24};
      return TRUE;
    });
  }

  // What was shown since the last call.
  std::string Shown() { return std::exchange(shown, ""); }

  const HMODULE program = GetModuleHandleW(nullptr);
  IMPORT_HOOK(GetConsoleMode) getMode{program};
  IMPORT_HOOK(SetConsoleMode) setMode{program};
  IMPORT_HOOK(WriteConsoleW) write{program};
  IMPORT_HOOK(GetConsoleScreenBufferInfo) getInfo{program};
  const EnvironmentVariable noColor{L"NO_COLOR", std::nullopt};
  BOOL isConsole = TRUE;
  BOOL hasSequences = TRUE;
  std::string shown;
};

TEST_F(ConsoleOutput, ColoursAreForConsolesThatKnowThemUnlessUnwanted) {
  Output(nullptr).Marked(Colour::kGreen, "ok", 9, "fine");
  EXPECT_EQ(Shown(), "  \x1B[32mok\x1B[0m       fine\n");
  Output(nullptr).Marked(Colour::kYellow, "note", 9, "so so");
  EXPECT_EQ(Shown(), "  \x1B[33mnote\x1B[0m     so so\n");
  Output(nullptr).Marked(Colour::kRed, "problem", 9, "bad");
  EXPECT_EQ(Shown(), "  \x1B[31mproblem\x1B[0m  bad\n");
  Output(nullptr).Marked(Colour::kNone, "-", 9, "plain");
  EXPECT_EQ(Shown(), "  -        plain\n");
  noColor.Set(L"1");
  Output(nullptr).Marked(Colour::kRed, "problem", 9, "bad");
  EXPECT_EQ(Shown(), "  problem  bad\n");
  noColor.Set(std::nullopt);
  hasSequences = FALSE;
  Output(nullptr).Marked(Colour::kRed, "problem", 9, "bad");
  EXPECT_EQ(Shown(), "  problem  bad\n");
}

TEST_F(ConsoleOutput, ARoundIsDrawnOverTheLastOne) {
  Output out(nullptr);
  out.Redraw();
  EXPECT_EQ(Shown(), "");
  out.Line("one");
  out.Line("two");
  EXPECT_EQ(Shown(), "one\ntwo\n");
  out.Redraw();
  EXPECT_EQ(Shown(), "\x1B[2A\x1B[J");
  out.Line("three");
  out.Redraw();
  EXPECT_EQ(Shown(), "three\n\x1B[1A\x1B[J");
}

TEST_F(ConsoleOutput, WithoutSequencesAnEmptyLineSeparatesRounds) {
  hasSequences = FALSE;
  noColor.Set(L"1");
  Output out(nullptr);
  out.Redraw();
  out.Line("one");
  out.Redraw();
  out.Line("two");
  EXPECT_EQ(Shown(), "one\n\ntwo\n");
}

TEST_F(ConsoleOutput, NoColourStillDrawsOver) {
  noColor.Set(L"1");
  Output out(nullptr);
  out.Redraw();
  out.Line("one");
  out.Redraw();
  EXPECT_EQ(Shown(), "one\n\x1B[1A\x1B[J");
}

TEST_F(ConsoleOutput, ProgressIsOverwrittenAndFitsTheWindow) {
  Output out(nullptr);
  out.Progress("pinging: 1 of 2");
  EXPECT_EQ(Shown(), "pinging: 1 of 2\r");
  out.Progress("done");
  EXPECT_EQ(Shown(), std::string(15, ' ') + "\rdone\r");
  out.Line("end");
  EXPECT_EQ(Shown(), "    \rend\n");
  out.Progress("longer than the window is");
  EXPECT_EQ(Shown(), "longer than the win\xE2\x80\xA6\r");
}

TEST_F(ConsoleOutput, APipeGetsNoProgress) {
  isConsole = FALSE;
  Output out(nullptr);
  out.Progress("pinging");
  EXPECT_EQ(out.Width(), 80U);
  EXPECT_EQ(Shown(), "");
  EXPECT_EQ(setMode.CallCount(), 0U);
}

}  // namespace
}  // namespace console
