// A directory of a test's own.
#ifndef LAUNCHER_TESTS_SUPPORT_TEMP_DIRECTORY_H_
#define LAUNCHER_TESTS_SUPPORT_TEMP_DIRECTORY_H_

#include <string>
#include <string_view>

// windows.h renames CopyFile: everybody has to see the renamed one.
#include "tests/support/scoped_handle.h"

namespace test_support {

/// A new, empty directory below the temporary folder, removed with all that is in it.
class TempDirectory {
 public:
  TempDirectory();
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;
  ~TempDirectory();

  /// Without a backslash at the end.
  const std::wstring& Path() const { return path; }
  /// The path of a file or directory in it. `name` may hold backslashes.
  std::wstring Join(const std::wstring& name) const { return path + L"\\" + name; }

  /// Writes a file; directories on the way to it are made. Returns its path.
  std::wstring WriteFile(const std::wstring& name, std::string_view bytes) const;
  /// Makes a directory and those on the way to it. Returns its path.
  std::wstring MakeDirectory(const std::wstring& name) const;
  /// Copies a file into the directory under another name. Returns its path.
  std::wstring CopyFile(const std::wstring& source, const std::wstring& name) const;

 private:
  std::wstring path;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_TEMP_DIRECTORY_H_
