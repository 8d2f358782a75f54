// Reads what a Windows program or library declares about itself, from the file.
#ifndef LAUNCHER_TESTS_SUPPORT_PE_FILE_H_
#define LAUNCHER_TESTS_SUPPORT_PE_FILE_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/import_redirector.h"

namespace test_support {

class PeFile {
 public:
  struct Section {
    std::string name;
    DWORD virtualAddress;
    DWORD virtualSize;
    DWORD fileOffset;
    DWORD characteristics;
  };
  struct Export {
    std::string name;
    DWORD address;  // relative to the image's base
  };

  /// Reads a whole file; throws when it is not a 64-bit one.
  explicit PeFile(const std::wstring& path);

  WORD Machine() const { return Headers().FileHeader.Machine; }
  /// Whether the system may move it to a random address: without relocations the flag is a wish.
  bool HasRelocations() const {
    return (Headers().FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED) == 0;
  }
  WORD DllCharacteristics() const { return Headers().OptionalHeader.DllCharacteristics; }
  std::size_t FileSize() const { return bytes.size(); }
  std::vector<Section> Sections() const;
  /// In the order of the file, which is that of the names.
  std::vector<Export> Exports() const;
  std::vector<Import> Imports() const;
  bool Holds(std::string_view text) const {
    return std::string_view(bytes.data(), bytes.size()).find(text) != std::string_view::npos;
  }
  /// The bytes at a relative address, as far as the file holds them.
  std::string BytesAt(DWORD address, std::size_t count) const;

 private:
  const IMAGE_NT_HEADERS64& Headers() const;
  std::size_t OffsetOf(DWORD address) const;
  template <typename T>
  const T& At(DWORD address, std::size_t index = 0) const {
    return *reinterpret_cast<const T*>(&bytes.at(OffsetOf(address) + index * sizeof(T)));
  }
  std::string TextAt(DWORD address) const { return &At<char>(address); }

  std::vector<char> bytes;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_PE_FILE_H_
