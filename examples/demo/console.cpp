#include "examples/demo/console.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <stdexcept>

namespace demo {
namespace {

// The standard output that the process was started with.
HANDLE Console() {
  static const HANDLE console = [] {
    SetConsoleOutputCP(CP_UTF8);
    HANDLE duplicate = INVALID_HANDLE_VALUE;
    DuplicateHandle(GetCurrentProcess(), GetStdHandle(STD_OUTPUT_HANDLE), GetCurrentProcess(),
                    &duplicate, 0, FALSE, DUPLICATE_SAME_ACCESS);
    return duplicate;
  }();
  return console;
}

// The number of characters in UTF-8 text: its bytes without the continuation bytes.
std::size_t CharacterCount(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

}  // namespace

void Print(const std::string& line) {
  const std::string bytes = line + "\r\n";
  DWORD written = 0;
  WriteFile(Console(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

void PrintTable(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], CharacterCount(row[column]));
    }
  }
  bool isHeadline = true;
  for (const auto& row : rows) {
    std::string line;
    std::string rule;
    for (std::size_t column = 0; column < row.size(); ++column) {
      line += "  " + row[column] + std::string(widths[column] - CharacterCount(row[column]), ' ');
      rule += "  " + std::string(widths[column], '-');
    }
    Print("  " + line.substr(0, line.find_last_not_of(' ') + 1));
    if (isHeadline) Print("  " + rule);
    isHeadline = false;
  }
}

void SendStandardStreamsTo(const std::wstring& path) {
  Console();  // remembers the present one
  const HANDLE file = CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr,
                                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    throw std::runtime_error("cannot write " + ToUtf8(path) + ": " + DescribeError(GetLastError()));
  }
  // Both the streams of the C runtime, which the DLL may share with this program, and the handles
  // that the DLL's runtime starts from when it has one of its own.
  const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(file), _O_APPEND);
  _dup2(descriptor, _fileno(stdout));
  _dup2(descriptor, _fileno(stderr));
  SetStdHandle(STD_OUTPUT_HANDLE, file);
  SetStdHandle(STD_ERROR_HANDLE, file);
}

}  // namespace demo
