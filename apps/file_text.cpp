#include "apps/file_text.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "core/text.h"

namespace launcher {
namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};

}  // namespace

std::wstring ReadFileText(const std::wstring& path) {
  const std::unique_ptr<std::FILE, FileCloser> file(_wfopen(path.c_str(), L"rb"));
  if (file == nullptr || std::fseek(file.get(), 0, SEEK_END) != 0) return {};
  const long position = std::ftell(file.get());
  if (position < 0 || std::fseek(file.get(), 0, SEEK_SET) != 0) return {};
  const auto length = static_cast<std::size_t>(position);
  try {
    std::string bytes(length, '\0');
    if (std::fread(bytes.data(), 1, length, file.get()) != length) return {};
    // Bytes after a zero would change how invalid ones before it are read.
    bytes.resize(std::strlen(bytes.c_str()));
    return Utf8ToWide(bytes);
  } catch (const std::bad_alloc&) {
    return {};
  }
}

}  // namespace launcher
