#include "tests/support/stream_capture.h"

#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <sys/stat.h>

#include <cstdint>
#include <stdexcept>

namespace test_support {
namespace {

constexpr int kNoDescriptor = -1;
constexpr DWORD kPollIntervalMs = 5;

FILE* Runtime(StreamCapture::Stream stream) {
  return stream == StreamCapture::Stream::kOutput ? stdout : stderr;
}

}  // namespace

StreamCapture::StreamCapture(Stream captured)
    : stream(captured), descriptor(_fileno(Runtime(captured))), savedDescriptor(kNoDescriptor) {
  fflush(Runtime(captured));
  const std::wstring file = directory.WriteFile(L"stream.txt", "");
  reader.Reset(CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!reader) ThrowLastError("CreateFileW of the captured stream");
  const int target = _wopen(file.c_str(), _O_WRONLY | _O_APPEND | _O_BINARY, _S_IWRITE);
  savedDescriptor = _dup(descriptor);
  if (target == kNoDescriptor || savedDescriptor == kNoDescriptor ||
      _dup2(target, descriptor) != 0) {
    throw std::runtime_error("a standard stream cannot be redirected");
  }
  _close(target);
}

std::string StreamCapture::Text(std::size_t mark) const {
  if (savedDescriptor != kNoDescriptor) fflush(Runtime(stream));
  LARGE_INTEGER size;
  if (!GetFileSizeEx(reader.Get(), &size)) ThrowLastError("GetFileSizeEx");
  const auto length = static_cast<std::size_t>(size.QuadPart);
  if (length <= mark) return {};
  std::string text(length - mark, '\0');
  OVERLAPPED position = {};
  position.Offset = static_cast<DWORD>(mark);
  DWORD read = 0;
  if (!ReadFile(reader.Get(), text.data(), static_cast<DWORD>(text.size()), &read, &position)) {
    ThrowLastError("ReadFile of the captured stream");
  }
  text.resize(read);
  return text;
}

bool StreamCapture::WaitForText(const std::string& part, DWORD timeoutMs, std::size_t mark) const {
  const ULONGLONG deadline = GetTickCount64() + timeoutMs;
  while (Text(mark).find(part) == std::string::npos) {
    if (GetTickCount64() >= deadline) return false;
    Sleep(kPollIntervalMs);
  }
  return true;
}

void StreamCapture::Stop() {
  if (savedDescriptor == kNoDescriptor) return;
  fflush(Runtime(stream));
  _dup2(savedDescriptor, descriptor);
  _close(savedDescriptor);
  savedDescriptor = kNoDescriptor;
}

}  // namespace test_support
