#include "tests/support/pe_file.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace test_support {

PeFile::PeFile(const std::wstring& path) {
  std::ifstream file(std::filesystem::path(path), std::ios::binary);
  bytes.assign(std::istreambuf_iterator<char>(file), {});
  if (bytes.size() < sizeof(IMAGE_DOS_HEADER) + sizeof(IMAGE_NT_HEADERS64) ||
      Headers().Signature != IMAGE_NT_SIGNATURE ||
      Headers().OptionalHeader.Magic != IMAGE_NT_OPTIONAL_HDR64_MAGIC) {
    throw std::runtime_error("not a 64-bit Windows file");
  }
}

const IMAGE_NT_HEADERS64& PeFile::Headers() const {
  const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(bytes.data());
  return *reinterpret_cast<const IMAGE_NT_HEADERS64*>(
      &bytes.at(static_cast<std::size_t>(dos->e_lfanew)));
}

std::vector<PeFile::Section> PeFile::Sections() const {
  // The table of sections follows the optional header.
  const auto* header = reinterpret_cast<const IMAGE_SECTION_HEADER*>(
      reinterpret_cast<const char*>(&Headers().OptionalHeader) +
      Headers().FileHeader.SizeOfOptionalHeader);
  std::vector<Section> sections;
  for (WORD i = 0; i < Headers().FileHeader.NumberOfSections; ++i, ++header) {
    const auto* const name = reinterpret_cast<const char*>(header->Name);
    sections.push_back({std::string(name, strnlen(name, IMAGE_SIZEOF_SHORT_NAME)),
                        header->VirtualAddress, header->Misc.VirtualSize, header->PointerToRawData,
                        header->Characteristics});
  }
  return sections;
}

std::size_t PeFile::OffsetOf(DWORD address) const {
  for (const Section& section : Sections()) {
    if (address >= section.virtualAddress &&
        address - section.virtualAddress < section.virtualSize) {
      return address - section.virtualAddress + section.fileOffset;
    }
  }
  throw std::runtime_error("an address outside all sections");
}

std::vector<PeFile::Export> PeFile::Exports() const {
  const DWORD address =
      Headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress;
  if (address == 0) return {};
  const auto& directory = At<IMAGE_EXPORT_DIRECTORY>(address);
  std::vector<Export> exports;
  for (DWORD i = 0; i < directory.NumberOfNames; ++i) {
    const WORD ordinal = At<WORD>(directory.AddressOfNameOrdinals, i);
    exports.push_back({TextAt(At<DWORD>(directory.AddressOfNames, i)),
                       At<DWORD>(directory.AddressOfFunctions, ordinal)});
  }
  return exports;
}

std::vector<Import> PeFile::Imports() const {
  const DWORD address =
      Headers().OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  if (address == 0) return {};
  std::vector<Import> imports;
  for (std::size_t i = 0;; ++i) {
    const auto& descriptor = At<IMAGE_IMPORT_DESCRIPTOR>(address, i);
    if (descriptor.Name == 0) return imports;
    for (std::size_t j = 0;; ++j) {
      const auto& thunk = At<IMAGE_THUNK_DATA64>(descriptor.OriginalFirstThunk, j);
      if (thunk.u1.AddressOfData == 0) break;
      if (IMAGE_SNAP_BY_ORDINAL64(thunk.u1.Ordinal)) continue;
      // The name follows a two-byte hint.
      const auto name = static_cast<DWORD>(thunk.u1.AddressOfData) + DWORD{sizeof(WORD)};
      imports.push_back({TextAt(descriptor.Name), TextAt(name)});
    }
  }
}

std::string PeFile::BytesAt(DWORD address, std::size_t count) const {
  const std::size_t offset = OffsetOf(address);
  if (count > bytes.size() - offset) count = bytes.size() - offset;
  return std::string(bytes.data() + offset, count);
}

}  // namespace test_support
