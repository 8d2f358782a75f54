// demo_game.exe of the kit.

#include <gtest/gtest.h>

#include <string>

#include "tests/host/kit/kit_program.h"
#include "tests/support/environment_variable.h"
#include "tests/support/temp_directory.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

constexpr wchar_t kGame[] = L"demo_game.exe";

const Bytes kEchoHi{'K', 'E', 13, 0, 4, 'e', 'c', 'h', 'o', 2, 0, 'h', 'i'};
const Bytes kQuit{'K', 'E', 11, 0, 4, 'q', 'u', 'i', 't', 0, 0};

std::wstring PipeName() { return UniqueName(LR"(\\.\pipe\kit_game_test)"); }

TEST(KitGame, ExplainsItself) {
  KitProgram game(kGame, L"--help");
  EXPECT_EQ(game.ExitCode(), 0U);
  EXPECT_TRUE(game.Output().starts_with("demo_game - stand-in for a game\n"));
}

TEST(KitGame, NamesWrongOptions) {
  KitProgram unknown(kGame, L"--pipe p --pip x");
  EXPECT_EQ(unknown.ExitCode(), 2U);
  EXPECT_EQ(
      unknown.Output(),
      "demo_game: The following arguments were not expected: x --pip\nTry: demo_game --help\n");
  KitProgram noValue(kGame, L"--pipe");
  EXPECT_EQ(noValue.ExitCode(), 2U);
  EXPECT_EQ(noValue.Output(),
            "demo_game: --pipe: 1 required NAME missing\nTry: demo_game --help\n");
  KitProgram noPipe(kGame, std::wstring());
  EXPECT_EQ(noPipe.ExitCode(), 2U);
  EXPECT_EQ(noPipe.Output(), "demo_game: --pipe is required\nTry: demo_game --help\n");
  KitProgram noNumber(kGame, L"--pipe p --instances 255");
  EXPECT_EQ(noNumber.ExitCode(), 2U);
  EXPECT_EQ(noNumber.Output(),
            "demo_game: --instances: Value 255 not in range 1 to 254\n"
            "Try: demo_game --help\n");
}

TEST(KitGame, ExchangesCommands) {
  const std::wstring name = PipeName();
  KitProgram game(kGame, L"--pipe " + name + L" --wait 60 --send \"Joined Aldo 3\" --send X");
  const ScopedHandle pipe = ConnectWhenOffered(name);
  EXPECT_EQ(ReadPipe(pipe.Get(), 27),
            (Bytes{'K', 'E', 19,  0,   6,   'J', 'o', 'i', 'n', 'e', 'd', 6, 0, 'A',
                   'l', 'd', 'o', ' ', '3', 'K', 'E', 8,   0,   1,   'X', 0, 0}));
  WritePipe(pipe.Get(), kEchoHi);
  EXPECT_EQ(ReadPipe(pipe.Get(), 13), kEchoHi);
  WritePipe(pipe.Get(), {'K', 'E', 14, 0, 4, 's', 'e', 'n', 'd', 3, 0, 'A', ' ', 'b'});
  EXPECT_EQ(ReadPipe(pipe.Get(), 9), (Bytes{'K', 'E', 9, 0, 1, 'A', 1, 0, 'b'}));
  WritePipe(pipe.Get(), kQuit);
  EXPECT_EQ(game.ExitCode(), 0U);
  EXPECT_EQ(CountOf(game.Output(), "game: received echo [hi]\n"), 1U);
  EXPECT_EQ(CountOf(game.Output(), "game: sent A [b]\n"), 1U);
}

TEST(KitGame, ServesSeveralLaunchers) {
  const std::wstring name = PipeName();
  KitProgram game(kGame, L"--pipe " + name + L" --wait 60 --send X --instances 2");
  const Bytes greeting{'K', 'E', 8, 0, 1, 'X', 0, 0};
  ScopedHandle first = ConnectWhenOffered(name);
  EXPECT_EQ(ReadPipe(first.Get(), 8), greeting);
  ScopedHandle second = ConnectWhenOffered(name);
  EXPECT_EQ(ReadPipe(second.Get(), 8), greeting);
  first.Reset();
  game.WaitForLine("game: a launcher has left");
  WritePipe(second.Get(), kEchoHi);
  EXPECT_EQ(ReadPipe(second.Get(), 13), kEchoHi);
  second.Reset();
  EXPECT_EQ(game.ExitCode(), 0U);  // the last one has left
}

TEST(KitGame, StaysForTheNextLauncher) {
  const std::wstring name = PipeName();
  KitProgram game(kGame, L"--pipe " + name + L" --wait 60 --stay");
  ConnectWhenOffered(name);
  game.WaitForLine("game: a launcher has left");
  const ScopedHandle pipe = ConnectWhenOffered(name);
  WritePipe(pipe.Get(), kQuit);
  EXPECT_EQ(game.ExitCode(), 0U);
}

TEST(KitGame, EndsAfterSoManyCommands) {
  const std::wstring name = PipeName();
  KitProgram game(kGame, L"--pipe " + name + L" --wait 60 --quit-after 2");
  const ScopedHandle pipe = ConnectWhenOffered(name);
  WritePipe(pipe.Get(), kEchoHi);
  EXPECT_EQ(ReadPipe(pipe.Get(), 13), kEchoHi);
  EXPECT_FALSE(WaitFor(game.Process(), 0));
  WritePipe(pipe.Get(), kEchoHi);
  EXPECT_EQ(game.ExitCode(), 0U);
}

TEST(KitGame, LeavesALauncherThatSendsNoFrames) {
  const std::wstring name = PipeName();
  KitProgram game(kGame, L"--pipe " + name + L" --wait 60");
  const ScopedHandle pipe = ConnectWhenOffered(name);
  WritePipe(pipe.Get(), Bytes(8, 'x'));
  EXPECT_EQ(ReadPipe(pipe.Get(), 1), Bytes());
  EXPECT_EQ(game.ExitCode(), 0U);
  EXPECT_EQ(CountOf(game.Output(), "game: a frame must begin with \"KE\"\n"), 1U);
}

TEST(KitGame, SendsRawBytes) {
  const std::wstring name = PipeName();
  KitProgram game(kGame, L"--pipe " + name + L" --wait 60 --send-raw \"00 fF 10\"");
  const ScopedHandle pipe = ConnectWhenOffered(name);
  EXPECT_EQ(ReadPipe(pipe.Get(), 3), (Bytes{0x00, 0xFF, 0x10}));
}

TEST(KitGame, OffersThePipeOfTheGameThatItIsNamedAfter) {
  const TempDirectory directory;
  const std::wstring program =
      directory.CopyFile(ProgramDirectory() + L"\\demo_game.exe", L"AG3.exe");
  KitProgram game(program, L"--wait 60");
  ConnectWhenOffered(LR"(\\.\pipe\solano_pellmar)");
  EXPECT_EQ(game.ExitCode(), 0U);
}

TEST(KitGame, TakesOptionsFromTheEnvironmentInstead) {
  const std::wstring name = PipeName();
  const EnvironmentVariable options(L"KIT_GAME_OPTIONS", L"--wait 60 --pipe " + name);
  KitProgram game(kGame, L"-windowed +connect server");
  ConnectWhenOffered(name);
  EXPECT_EQ(game.ExitCode(), 0U);
  EXPECT_TRUE(Lines(game.Output()).at(0).ends_with("demo_game.exe\" -windowed +connect server"));
}

TEST(KitGame, EndsWhenNobodyComes) {
  KitProgram game(kGame, L"--pipe " + PipeName() + L" --wait 1");
  EXPECT_EQ(game.ExitCode(), 0U);
  EXPECT_EQ(CountOf(game.Output(), "game: no launcher has connected, ending\n"), 1U);
}

}  // namespace
}  // namespace test_support
