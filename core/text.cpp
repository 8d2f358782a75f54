#include "core/text.h"

#include <cstddef>
#include <cwchar>
#include <memory>

#include "core/windows_api.h"

namespace launcher {
namespace {

// Generous on purpose: a UTF-16 code unit needs at most three bytes.
constexpr std::size_t kNarrowBytesPerUnit = 8;

}  // namespace

std::string WideToUtf8(const std::wstring& wide) {
  const std::size_t capacity = wide.size() * kNarrowBytesPerUnit + 1;
  const auto buffer = std::make_unique<char[]>(capacity);
  WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), static_cast<int>(wide.size() + 1), buffer.get(),
                      static_cast<int>(capacity), nullptr, nullptr);
  return buffer.get();
}

std::size_t Utf8ToWide(std::string_view narrow, wchar_t* wide) {
  const int written =
      MultiByteToWideChar(CP_UTF8, 0, narrow.data(), static_cast<int>(narrow.size() + 1), wide,
                          static_cast<int>(WideCapacity(narrow.size())));
  // The count includes the terminator, unless invalid bytes swallowed it; a failed conversion wrote
  // nothing that may be read. The spare character takes the terminator in either case.
  wide[written < 0 ? 0 : written] = L'\0';
  return wcslen(wide);
}

std::wstring Utf8ToWide(const std::string& narrow) {
  std::wstring wide(WideCapacity(narrow.size()), L'\0');
  wide.resize(Utf8ToWide(narrow, wide.data()));
  return wide;
}

}  // namespace launcher
