// The demonstration runs from its first step to its last, and tells which step did not happen.

#include <gtest/gtest.h>

#include <string>

#include "tests/host/kit/kit_program.h"
#include "tests/support/temp_directory.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

constexpr wchar_t kHollinGamesKey[] = LR"(SOFTWARE\Hollin Games)";
constexpr wchar_t kStoreClientKey[] = LR"(SOFTWARE\Ostrel)";

std::wstring Quoted(const std::wstring& path) { return L"\"" + path + L"\""; }

std::wstring Options(const std::wstring& dll, const std::wstring& kit, const std::wstring& work) {
  return L"--dll " + Quoted(dll) + L" --kit " + Quoted(kit) + L" --work " + Quoted(work);
}

bool KeyExists(const wchar_t* path) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ | KEY_WOW64_32KEY, &key) !=
      ERROR_SUCCESS) {
    return false;
  }
  RegCloseKey(key);
  return true;
}

class DemoHost : public testing::Test {
 protected:
  // Reports a demonstration that has ended in a certain step and left nothing behind.
  void ExpectFailure(KitProgram& program, DWORD step, const std::string& message) {
    EXPECT_EQ(program.ExitCode(), step);
    EXPECT_EQ(CountOf(program.Output(), message), 1U) << program.Output();
    EXPECT_FALSE(KeyExists(kHollinGamesKey));
    EXPECT_EQ(GetFileAttributesW(work.Join(L"demo game").c_str()), INVALID_FILE_ATTRIBUTES);
  }

  TempDirectory work;
};

TEST_F(DemoHost, ShowsEveryStep) {
  KitProgram program(L"demo_host.exe", Options(LauncherDllPath(), ProgramDirectory(), work.Path()));
  EXPECT_EQ(program.ExitCode(), 0U) << program.Output();
  for (const char* const line :
       {"    TAVR-GAME             no         NOT_INSTALLED\n",
        "    BRENNA-GAME           yes        {\"version\": \"1.8.2\"}  Xpack1;Xpack2\n",
        "    OSTREL-APP            yes        9.4.17\n",
        "    event \"StateChanged\" from BRENNA-GAME, \"PENDING\"\n",
        "    event \"StateChanged\" from BRENNA-GAME, \"READY\"\n",
        "    event \"PlayerJoined\" from BRENNA-GAME, \"Aldo\", \"squad\", \"3\"\n",
        "    [game: received echo [how are you]]\n",
        "    event \"echo\" from BRENNA-GAME, \"how\", \"are\", \"you\"\n",
        "    event \"StateChanged\" from BRENNA-GAME, \"GAMEISGONE\"\n",
        "    NO|SW_SHOWNA|ostrel://library/ashgrove4|||\n", "    not.an.address  no answer\n",
        "  status SUCCESS\n",
        "  mode Frontier, map Old Harbour, round time 754 s, 6 of 64 players, 1 waiting, 2 teams\n",
        "  score of team 1: tickets 340, ticketsMax 400\n",
        "    1     RED  Aldo \"the Rock\"  5     4200   21     4\n",
        "    2     BLU  Finn             40    2450   11     9\n", "All 10 steps happened."}) {
    EXPECT_EQ(CountOf(program.Output(), line), 1U) << line << "in\n" << program.Output();
  }
  EXPECT_FALSE(KeyExists(kHollinGamesKey));
  EXPECT_FALSE(KeyExists(kStoreClientKey));
  EXPECT_EQ(GetFileAttributesW(work.Join(L"demo game").c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(DemoHost, NamesItsOptions) {
  KitProgram program(L"demo_host.exe", L"--dll x");
  EXPECT_EQ(program.ExitCode(), 100U);
  EXPECT_TRUE(program.Output().starts_with("demo_host: it takes exactly these three options\n"));
}

TEST_F(DemoHost, NeedsTheDll) {
  KitProgram program(L"demo_host.exe",
                     Options(work.Join(L"none.dll"), ProgramDirectory(), work.Path()));
  ExpectFailure(program, 2, "FAILED: step 2 (load launcher.dll) did not happen: cannot load ");
}

TEST_F(DemoHost, NeedsTheHelper) {
  const TempDirectory kit;
  kit.CopyFile(ProgramDirectory() + L"\\demo_game.exe", L"demo_game.exe");
  KitProgram program(L"demo_host.exe", Options(LauncherDllPath(), kit.Path(), work.Path()));
  ExpectFailure(program, 4,
                "FAILED: step 4 (launch the game) did not happen: Launch returned false\n");
}

TEST_F(DemoHost, NeedsTheGameServerAndEndsTheGame) {
  const TempDirectory kit;
  kit.CopyFile(ProgramDirectory() + L"\\demo_game.exe", L"demo_game.exe");
  kit.CopyFile(ProgramDirectory() + L"\\helperx64.exe", L"helperx64.exe");
  KitProgram program(L"demo_host.exe", Options(LauncherDllPath(), kit.Path(), work.Path()));
  ExpectFailure(program, 10, "FAILED: step 10 (ask a game server for its state) did not happen: ");
}

TEST_F(DemoHost, LeavesARealInstallationAlone) {
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, kStoreClientKey, 0, nullptr, 0,
                            KEY_WRITE | KEY_WOW64_32KEY, nullptr, &key, nullptr),
            ERROR_SUCCESS);
  RegCloseKey(key);
  KitProgram program(L"demo_host.exe", Options(LauncherDllPath(), ProgramDirectory(), work.Path()));
  ExpectFailure(program, 1, "the demonstration leaves a real installation alone\n");
  EXPECT_TRUE(KeyExists(kStoreClientKey));
  RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kStoreClientKey, KEY_WOW64_32KEY, 0);
}

}  // namespace
}  // namespace test_support
