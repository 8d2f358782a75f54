#include "tests/support/temp_directory.h"

#include <atomic>
#include <filesystem>
#include <system_error>

#include "tests/support/scoped_handle.h"

namespace test_support {
namespace {

// A program that a test started may hold its file for a moment after its end.
constexpr int kRemoveAttempts = 200;
constexpr DWORD kRemoveIntervalMs = 10;

std::atomic<unsigned int> nextNumber{1};

}  // namespace

TempDirectory::TempDirectory() {
  path = (std::filesystem::temp_directory_path() /
          (L"launcher-test-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
           std::to_wstring(GetTickCount64()) + L"-" + std::to_wstring(nextNumber++)))
             .wstring();
  std::filesystem::create_directories(path);
}

TempDirectory::~TempDirectory() {
  for (int attempt = 0; attempt < kRemoveAttempts; ++attempt) {
    std::error_code error;
    std::filesystem::remove_all(path, error);
    if (!error) return;
    Sleep(kRemoveIntervalMs);
  }
}

std::wstring TempDirectory::WriteFile(const std::wstring& name, std::string_view bytes) const {
  const std::wstring file = Join(name);
  std::filesystem::create_directories(std::filesystem::path(file).parent_path());
  const ScopedHandle handle(CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!handle) ThrowLastError("CreateFileW of a test file");
  DWORD written = 0;
  if (!::WriteFile(handle.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                   nullptr)) {
    ThrowLastError("WriteFile to a test file");
  }
  return file;
}

std::wstring TempDirectory::MakeDirectory(const std::wstring& name) const {
  std::filesystem::create_directories(Join(name));
  return Join(name);
}

std::wstring TempDirectory::CopyFile(const std::wstring& source, const std::wstring& name) const {
  const std::wstring file = Join(name);
  std::filesystem::create_directories(std::filesystem::path(file).parent_path());
  if (!::CopyFileW(source.c_str(), file.c_str(), FALSE)) ThrowLastError("CopyFileW");
  return file;
}

}  // namespace test_support
