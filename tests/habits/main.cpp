// A host of unusual habits: it does something with the run-time's streams, has the DLL write lines, and
// ends as every program does. What lies in the files then is for a test to look at.
//
//     habits_host HABIT FOLDER
#include <fcntl.h>
#include <io.h>
#include <stdio.h>

#include <functional>
#include <map>
#include <stdexcept>
#include <string>

#include "tests/support/dll_host.h"
#include "tests/support/text.h"

namespace {

using test_support::DllHost;

std::string folder;

void Reopen(const char* name, const char* mode, FILE* stream) {
  if (freopen((folder + "\\" + name).c_str(), mode, stream) == nullptr) {
    throw std::runtime_error("freopen");
  }
}

FILE* Open(const char* name, int descriptor) {
  FILE* const file = fopen((folder + "\\" + name).c_str(), "wb");
  if (file == nullptr || _fileno(file) != descriptor) throw std::runtime_error("fopen");
  return file;
}

void WriteLine(const wchar_t* value = L"value") {
  DllHost()->SetParameter(L"TAVR-GAME", L"key", value);
}

// Longer than the buffer of a stream.
void WriteLongLine() { WriteLine(std::wstring(10000, L'x').c_str()); }

void Append() {
  Reopen("err.txt", "a", stderr);
  WriteLine();
}

void CloseStreams() {
  fclose(stdout);
  fclose(stderr);
  FILE* const first = Open("out.txt", 1);
  FILE* const second = Open("err.txt", 2);
  fputs("first ", first);
  fputs("second ", second);
  WriteLongLine();
  WriteLine();
  WriteLongLine();
  fputs("end", first);
  fputs("end", second);
  fclose(first);
  fclose(second);
}

void Buffer() {
  Reopen("err.txt", "w", stderr);
  setvbuf(stderr, nullptr, _IOFBF, 1 << 16);
  fputs("before\n", stderr);
  WriteLine();
  fputs("after\n", stderr);
}

void PrintBefore() {
  Reopen("out.txt", "w", stdout);
  printf("before ");
  WriteLine();
  printf(" after");
}

void ChangeMode() {
  Reopen("err.txt", "w", stderr);
  WriteLine();
  fflush(stderr);
  _setmode(_fileno(stderr), _O_BINARY);
  WriteLine(L"\u20AC");
}

const std::map<std::string, std::function<void()>> kHabits = {
    {"append", Append},   {"close", CloseStreams},
    {"buffer", Buffer},   {"print before", PrintBefore},
    {"mode", ChangeMode}, {"no streams", WriteLongLine},
};

}  // namespace

int main(int, char** arguments) {
  try {
    folder = arguments[2];
    kHabits.at(arguments[1])();
    return 0;
  } catch (const std::exception&) {
    return 1;
  }
}
