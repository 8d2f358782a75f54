// The program that a browser starts when a listed page wants to use launcher.dll.

// The order matters.
// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "hosts/browser/program/message_stream.h"
#include "hosts/browser/program/service.h"
#include "hosts/common/standard_streams.h"
#include "hosts/common/text.h"

namespace browser_host {
namespace {

enum ExitCode : int { kSuccess = 0, kRefused = 1, kWrongUsage = 2 };

constexpr char kHelp[] =
    R"(browser_host - lets listed web pages use launcher.dll

A browser starts this program for the extension of the same project and exchanges messages with it
over standard input and output. By hand it is of no use.

  browser_host [options] chrome-extension://<id>/ [what the browser adds]

  --dll PATH       launcher.dll (default: beside this program)
  --origins PATH   the list of origins that may use it (default: origins.txt beside this program)
  --log PATH       appends the launcher's diagnostic lines to a file (default: drops them)
  --help           this text
)";

struct Options {
  std::wstring dll = host::ProgramDirectory() + L"\\launcher.dll";
  std::wstring origins = host::ProgramDirectory() + L"\\origins.txt";
  std::wstring log;
  std::string extension;
  bool help = false;
};

Options ParseOptions(const std::vector<std::wstring>& arguments) {
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::wstring& argument = arguments[i];
    std::wstring* const value = argument == L"--dll"       ? &options.dll
                                : argument == L"--origins" ? &options.origins
                                : argument == L"--log"     ? &options.log
                                                           : nullptr;
    if (value != nullptr) {
      if (++i == arguments.size()) {
        throw std::invalid_argument("option " + host::ToUtf8(argument) + " needs a value");
      }
      *value = arguments[i];
    } else if (argument == L"--help") {
      options.help = true;
    } else if (options.extension.empty() && !argument.starts_with(L"-")) {
      options.extension = host::ToUtf8(argument);
    }
    // The rest is the browser's own: on Windows it adds the number of a window.
  }
  return options;
}

std::vector<std::wstring> Arguments() {
  int count = 0;
  wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::wstring> arguments(words + 1, words + count);
  LocalFree(words);
  return arguments;
}

bool IsAllowedExtension(const OriginList& origins, std::string extension) {
  if (extension.ends_with('/')) extension.pop_back();
  return extension.starts_with("chrome-extension://") && origins.Find(extension) != nullptr;
}

int Run() {
  const Options options = ParseOptions(Arguments());
  if (options.help) {
    std::cout << kHelp;
    return kSuccess;
  }
  // Read before the standard error stream is the launcher's.
  OriginList origins = OriginList::Load(options.origins);
  if (!IsAllowedExtension(origins, options.extension)) {
    std::cerr << "browser_host: the extension '" << options.extension << "' is not listed\n";
    return kRefused;
  }
  // Both live until the end of the process: the reading thread and workers of the launcher may go
  // on.
  static const host::StandardStreams streams(options.log);
  static InputQueue input(streams.input);
  Service service(input, streams.output, std::move(origins), options.dll);
  return service.Serve() ? kSuccess : kRefused;
}

}  // namespace
}  // namespace browser_host

int main() {
  int exitCode = browser_host::kWrongUsage;
  try {
    exitCode = browser_host::Run();
  } catch (const std::exception& error) {
    std::cerr << "browser_host: " << error.what() << "\n";
  }
  // At once: a thread may still be reading.
  std::cout.flush();
  std::cerr.flush();
  ExitProcess(static_cast<UINT>(exitCode));
}
