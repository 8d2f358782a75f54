#include "tests/support/import_redirector.h"

#include <stdexcept>

namespace test_support {
namespace {

// Calls `visit(library, function, slot)` for every named import.
template <typename Visit>
void ForEachImport(HMODULE module, const Visit& visit) {
  auto* const base = reinterpret_cast<unsigned char*>(module);
  const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY& directory =
      headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  if (directory.VirtualAddress == 0) return;
  const auto* descriptor =
      reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
  for (; descriptor->Name != 0; ++descriptor) {
    const auto* const library = reinterpret_cast<const char*>(base + descriptor->Name);
    const auto* name =
        reinterpret_cast<const IMAGE_THUNK_DATA64*>(base + descriptor->OriginalFirstThunk);
    auto* slot = reinterpret_cast<void**>(base + descriptor->FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++slot) {
      if (IMAGE_SNAP_BY_ORDINAL64(name->u1.Ordinal)) continue;
      const auto* const byName =
          reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData);
      visit(library, reinterpret_cast<const char*>(byName->Name), slot);
    }
  }
}

void WriteSlot(void** slot, void* value) {
  DWORD protection = 0;
  if (!VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection)) {
    ThrowLastError("VirtualProtect of an import address table");
  }
  *slot = value;
  VirtualProtect(slot, sizeof(*slot), protection, &protection);
}

}  // namespace

std::vector<Import> ListImports(HMODULE module) {
  std::vector<Import> imports;
  ForEachImport(module, [&](const char* library, const char* function, void**) {
    imports.push_back({library, function});
  });
  return imports;
}

ImportRedirector::~ImportRedirector() {
  for (auto change = changes.rbegin(); change != changes.rend(); ++change) {
    WriteSlot(change->slot, change->original);
  }
}

void* ImportRedirector::Redirect(const std::string& function, void* replacement) {
  void* original = nullptr;
  ForEachImport(module, [&](const char*, const char* imported, void** slot) {
    if (function != imported) return;
    original = *slot;
    changes.push_back({slot, *slot});
    WriteSlot(slot, replacement);
  });
  if (original == nullptr) throw std::runtime_error("not imported: " + function);
  return original;
}

}  // namespace test_support
