#include "tests/support/guard_pages.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/support/import_redirector.h"

namespace test_support {
namespace {

constexpr std::size_t kPageSize = 4096;
constexpr std::size_t kAlignment = 16;
constexpr int kPattern = 0xCD;

// Address space for all blocks that a test program ever asks for: about eight million small ones.
constexpr std::size_t kRegionSize = std::size_t{64} << 30;

constexpr std::size_t RoundUp(std::size_t size, std::size_t unit) {
  return (size + unit - 1) / unit * unit;
}

[[noreturn]] void EndProgram(const char* reason, const void* block) {
  std::fprintf(stderr, "guard pages: %s, block %p\n", reason, block);
  std::fflush(stderr);
  std::abort();
}

std::atomic<std::size_t> blockCount = 0;
std::atomic<std::size_t> byteCount = 0;

// Pages whose memory the system gives when they are used.
char* ReserveRegion() {
  void* const region = VirtualAlloc(nullptr, kRegionSize, MEM_RESERVE, PAGE_NOACCESS);
  if (region == nullptr) EndProgram("no address space", nullptr);
  return static_cast<char*>(region);
}

// One size for every page, at the page with which a block begins.
std::size_t* ReserveSizes() {
  void* const sizes = VirtualAlloc(nullptr, kRegionSize / kPageSize * sizeof(std::size_t),
                                   MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  if (sizes == nullptr) EndProgram("no memory for the sizes", nullptr);
  return static_cast<std::size_t*>(sizes);
}

char* Region() {
  static char* const region = ReserveRegion();
  return region;
}

std::size_t& SizeSlot(const void* block) {
  static std::size_t* const sizes = ReserveSizes();
  return sizes[static_cast<std::size_t>(static_cast<const char*>(block) - Region()) / kPageSize];
}

// The pages of a block of this size, without the one behind them.
std::size_t PagesLength(std::size_t size) {
  return RoundUp(std::max(size, std::size_t{1}), kPageSize);
}

char* FirstPage(const void* block) {
  const auto offset = static_cast<std::size_t>(static_cast<const char*>(block) - Region());
  return Region() + offset / kPageSize * kPageSize;
}

bool HoldsPattern(const char* begin, const char* end) {
  return std::all_of(begin, end, [](char c) { return c == static_cast<char>(kPattern); });
}

}  // namespace

void* GuardPages::Allocate(std::size_t size) {
  if (size > kRegionSize / 2) return nullptr;
  static std::atomic<std::size_t> used = 0;
  const std::size_t length = PagesLength(size);
  const std::size_t offset = used.fetch_add(length + kPageSize);
  if (offset + length + kPageSize > kRegionSize) EndProgram("address space used up", nullptr);
  char* const pages = Region() + offset;
  if (VirtualAlloc(pages, length, MEM_COMMIT, PAGE_READWRITE) == nullptr) return nullptr;
  std::memset(pages, kPattern, length);
  char* const block = pages + length - RoundUp(std::max(size, std::size_t{1}), kAlignment);
  SizeSlot(block) = std::max(size, std::size_t{1});
  ++blockCount;
  byteCount += SizeSlot(block);
  return block;
}

void GuardPages::Free(void* block) {
  const std::size_t size = SizeOf(block);
  if (size == 0) EndProgram("freed twice, or never allocated", block);
  if (!IsIntact(block)) EndProgram("written outside of its bounds", block);
  SizeSlot(block) = 0;
  --blockCount;
  byteCount -= size;
  VirtualFree(FirstPage(block), PagesLength(size), MEM_DECOMMIT);
}

bool GuardPages::Owns(const void* address) {
  // As numbers: pointers into different objects have no order.
  return reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(Region()) <
         kRegionSize;
}

std::size_t GuardPages::BlockCount() { return blockCount; }

std::size_t GuardPages::ByteCount() { return byteCount; }

std::size_t GuardPages::SizeOf(const void* block) { return SizeSlot(block); }

bool GuardPages::IsIntact(const void* block) {
  const std::size_t size = SizeOf(block);
  const char* const begin = static_cast<const char*>(block);
  const char* const pages = FirstPage(block);
  return HoldsPattern(pages, begin) && HoldsPattern(begin + size, pages + PagesLength(size));
}

namespace {

template <typename Function>
Function Original(const char* name) {
  return reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), name)));
}

void* Malloc(std::size_t size) { return GuardPages::Allocate(size); }

void* Calloc(std::size_t count, std::size_t size) {
  if (size != 0 && count > kRegionSize / size) return nullptr;
  void* const block = GuardPages::Allocate(count * size);
  if (block != nullptr) std::memset(block, 0, count * size);
  return block;
}

// Blocks from before the redirection, and those that the C runtime made for itself, are its own.
void FreeBlock(void* block) {
  static const auto original = Original<void (*)(void*)>("free");
  if (block == nullptr) return;
  GuardPages::Owns(block) ? GuardPages::Free(block) : original(block);
}

void* Realloc(void* block, std::size_t size) {
  static const auto original = Original<void* (*)(void*, std::size_t)>("realloc");
  if (block != nullptr && !GuardPages::Owns(block)) return original(block, size);
  void* const larger = GuardPages::Allocate(size);
  if (larger != nullptr && block != nullptr) {
    std::memcpy(larger, block, std::min(size, GuardPages::SizeOf(block)));
    GuardPages::Free(block);
  }
  return larger;
}

std::size_t SizeOfBlock(void* block) {
  static const auto original = Original<std::size_t (*)(void*)>("_msize");
  return GuardPages::Owns(block) ? GuardPages::SizeOf(block) : original(block);
}

// The redirection lasts as long as the module: it has to free what it allocated.
void GuardModule(HMODULE module) {
  ImportRedirector redirector(module);
  const struct {
    const char* function;
    void* replacement;
  } replacements[] = {{"malloc", reinterpret_cast<void*>(Malloc)},
                      {"calloc", reinterpret_cast<void*>(Calloc)},
                      {"realloc", reinterpret_cast<void*>(Realloc)},
                      {"free", reinterpret_cast<void*>(FreeBlock)},
                      {"_msize", reinterpret_cast<void*>(SizeOfBlock)}};
  const std::vector<Import> imports = ListImports(module);
  for (const auto& [function, replacement] : replacements) {
    for (const Import& import : imports) {
      if (import.function == function) redirector.Redirect(function, replacement);
    }
  }
  redirector.Keep();
}

HMODULE WINAPI LoadGuarded(LPCWSTR path) {
  static const auto original = reinterpret_cast<HMODULE(WINAPI*)(LPCWSTR)>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "LoadLibraryW")));
  const bool isNew = GetModuleHandleW(path) == nullptr;
  const HMODULE module = original(path);
  if (module != nullptr && isNew && std::wstring(path).find(L'\\') != std::wstring::npos) {
    GuardModule(module);
  }
  return module;
}

// Test programs have GoogleTest's main(), so this happens before it begins.
[[maybe_unused]] const bool isInstalled = [] {
  if (GetEnvironmentVariableW(L"LAUNCHER_GUARD_PAGES", nullptr, 0) == 0) return false;
  const HMODULE program = GetModuleHandleW(nullptr);
  GuardModule(program);
  ImportRedirector redirector(program);
  redirector.Redirect("LoadLibraryW", reinterpret_cast<void*>(LoadGuarded));
  redirector.Keep();
  std::printf("guard pages: on\n");
  return true;
}();

}  // namespace
}  // namespace test_support
