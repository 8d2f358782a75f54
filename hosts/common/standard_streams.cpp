#include "hosts/common/standard_streams.h"

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <stdexcept>

#include "hosts/common/text.h"

namespace host {
namespace {

HANDLE TakeOver(DWORD stream) {
  HANDLE duplicate = INVALID_HANDLE_VALUE;
  DuplicateHandle(GetCurrentProcess(), GetStdHandle(stream), GetCurrentProcess(), &duplicate, 0,
                  FALSE, DUPLICATE_SAME_ACCESS);
  return duplicate;
}

HANDLE OpenDiagnostics(const std::wstring& path) {
  const HANDLE file =
      path.empty() ? CreateFileW(L"NUL", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                 OPEN_EXISTING, 0, nullptr)
                   : CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                 nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    throw std::runtime_error("cannot write " + ToUtf8(path) + ": " + DescribeError(GetLastError()));
  }
  return file;
}

}  // namespace

StandardStreams::StandardStreams(const std::wstring& diagnosticsPath)
    : input(TakeOver(STD_INPUT_HANDLE)),
      output(TakeOver(STD_OUTPUT_HANDLE)),
      error(TakeOver(STD_ERROR_HANDLE)) {
  const HANDLE diagnostics = OpenDiagnostics(diagnosticsPath);
  // Both the streams of the C runtime, which the DLL may share with this program, and the handles
  // that the DLL's runtime starts from when it has one of its own.
  const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(diagnostics), _O_APPEND);
  _dup2(descriptor, _fileno(stdout));
  _dup2(descriptor, _fileno(stderr));
  if (diagnosticsPath.empty()) {
    // Nobody reads them, so they need not be written one by one.
    constexpr std::size_t kBufferSize = 65536;
    std::setvbuf(stdout, nullptr, _IOFBF, kBufferSize);
    std::setvbuf(stderr, nullptr, _IOFBF, kBufferSize);
  }
  SetStdHandle(STD_OUTPUT_HANDLE, diagnostics);
  SetStdHandle(STD_ERROR_HANDLE, diagnostics);
}

bool WriteAll(HANDLE stream, const char* bytes, std::size_t size) {
  constexpr std::size_t kPiece = 65536;
  while (size > 0) {
    DWORD written = 0;
    if (!WriteFile(stream, bytes, static_cast<DWORD>(std::min(size, kPiece)), &written, nullptr)) {
      return false;
    }
    bytes += written;
    size -= written;
  }
  return true;
}

}  // namespace host
