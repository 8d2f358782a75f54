// Measures a diagnostic line. Standard error has to be a file: under Wine the null device is dearer
// than any file.
#include <cstdio>
#include <string>

#include "bench/measure.h"
#include "core/log.h"
#include "core/windows_api.h"

int main() {
  std::setvbuf(stderr, nullptr, _IONBF, 0);
  const std::string finished = "BaseApp::SetParameter: Setting parameter APP_VERSION to 1.2.3.4\n";
  const HANDLE file = GetStdHandle(STD_ERROR_HANDLE);
  const auto writeFinished = [&] {
    DWORD written = 0;
    WriteFile(file, finished.data(), static_cast<DWORD>(finished.size()), &written, nullptr);
  };
  const auto writeLine = [] {
    launcher::LogLine(L"%s: Setting parameter %s to %s\n", L"BaseApp::SetParameter", L"APP_VERSION",
                      L"1.2.3.4");
  };
  const auto writeToStream = [&] { std::fwrite(finished.data(), 1, finished.size(), stderr); };
  bench::PrintFigure("the finished text to the same stream, of one WriteFile",
                     bench::Compare(writeFinished, 2000, writeToStream, 2000).ratio, "times");
  bench::PrintRatio("a log line", "one WriteFile of the finished text",
                    bench::Compare(writeFinished, 2000, writeLine, 2000), 1.5);
  return 0;
}
