#include "tests/support/resource_ledger.h"

#include <algorithm>
#include <utility>

namespace test_support {
namespace {

constexpr std::uint64_t kMinusOne = static_cast<std::uint64_t>(-1);

// Kinds of things, each with calls of its own to give them back.
constexpr char kHandle[] = "handle";
constexpr char kFind[] = "find";
constexpr char kRegistryKey[] = "key";
constexpr char kSocket[] = "socket";
constexpr char kFile[] = "file";
constexpr char kTaskMemory[] = "task memory";
constexpr char kComString[] = "COM string";
constexpr char kCom[] = "COM";
constexpr char kSection[] = "critical section";

// The calls that take something: what the result is when nothing was taken.
struct Taking {
  const char* function;
  const char* kind;
  std::uint64_t none;
};
constexpr Taking kTakings[] = {
    {"CreateEventW", kHandle, 0},
    {"CreateThread", kHandle, 0},
    {"OpenProcess", kHandle, 0},
    {"CreateFileA", kHandle, kMinusOne},
    {"CreateNamedPipeW", kHandle, kMinusOne},
    {"CreateToolhelp32Snapshot", kHandle, kMinusOne},
    {"FindFirstFileW", kFind, kMinusOne},
    {"socket", kSocket, kMinusOne},
    {"_wfopen", kFile, 0},
    {"SysAllocStringLen", kComString, 0},
};

// The calls whose first argument goes back.
struct Giving {
  const char* function;
  const char* kind;
};
constexpr Giving kGivings[] = {
    {"CloseHandle", kHandle},
    {"FindClose", kFind},
    {"RegCloseKey", kRegistryKey},
    {"closesocket", kSocket},
    {"fclose", kFile},
    {"CoTaskMemFree", kTaskMemory},
    {"SysFreeString", kComString},
    {"DeleteCriticalSection", kSection},
};

bool Succeeded(std::uint64_t result) { return static_cast<std::int32_t>(result) >= 0; }
bool IsZero(std::uint64_t result) { return static_cast<std::uint32_t>(result) == 0; }

template <typename Entry, std::size_t count>
const Entry* Find(const Entry (&table)[count], const std::string& function) {
  for (const Entry& entry : table) {
    if (function == entry.function) return &entry;
  }
  return nullptr;
}

template <typename T>
T At(std::uint64_t address) {
  return *reinterpret_cast<const T*>(address);
}

}  // namespace

const std::vector<std::string>& ResourceLedger::Functions() {
  static const std::vector<std::string> functions = [] {
    std::vector<std::string> names = {"malloc",
                                      "realloc",
                                      "free",
                                      "RegOpenKeyExW",
                                      "RegQueryValueExW",
                                      "ConnectNamedPipe",
                                      "SHGetKnownFolderPath",
                                      "CoInitialize",
                                      "CoUninitialize",
                                      "InitializeCriticalSection"};
    for (const Taking& taking : kTakings) names.emplace_back(taking.function);
    for (const Giving& giving : kGivings) names.emplace_back(giving.function);
    return names;
  }();
  return functions;
}

void ResourceLedger::BeforeCall(const std::string& function,
                                const ImportFaults::Arguments& arguments) {
  const std::lock_guard guard(mutex);
  if (function == "free" || function == "realloc") {
    blocks.erase(arguments[0]);
  } else if (function == "CoUninitialize") {
    const auto last = std::find_if(items.rbegin(), items.rend(),
                                   [](const auto& entry) { return entry.first.kind == kCom; });
    GiveBack(kCom, function, last == items.rend() ? 0 : last->first.value);
  } else if (const Giving* const giving = Find(kGivings, function)) {
    // Null is nothing, for the calls that allow it and for the thread that was never started.
    if (arguments[0] != 0) GiveBack(giving->kind, function, arguments[0]);
  }
}

void ResourceLedger::AfterCall(const std::string& function,
                               const ImportFaults::Arguments& arguments, std::uint64_t result) {
  const std::lock_guard guard(mutex);
  if (function == "malloc") {
    if (result != 0) blocks.insert(result);
  } else if (function == "realloc") {
    blocks.insert(result != 0 ? result : arguments[0]);
  } else if (function == "RegOpenKeyExW") {
    if (IsZero(result)) {
      Take(kRegistryKey, function, At<std::uint64_t>(arguments[4]),
           reinterpret_cast<const wchar_t*>(arguments[1]));
    }
  } else if (function == "RegQueryValueExW") {
    const auto found = items.find({kRegistryKey, arguments[0]});
    if (found != items.end()) found->second.item.wasUsed = IsZero(result);
  } else if (function == "ConnectNamedPipe") {
    const auto found = items.find({kHandle, arguments[0]});
    if (found != items.end()) found->second.item.wasUsed = true;
  } else if (function == "SHGetKnownFolderPath") {
    if (Succeeded(result)) Take(kTaskMemory, function, At<std::uint64_t>(arguments[3]));
  } else if (function == "CoInitialize") {
    if (Succeeded(result)) Take(kCom, function, nextNumber);
  } else if (function == "InitializeCriticalSection") {
    Take(kSection, function, arguments[0]);
  } else if (const Taking* const taking = Find(kTakings, function)) {
    if (result != taking->none) Take(taking->kind, function, result);
  }
}

std::vector<ResourceLedger::Item> ResourceLedger::Outstanding() const {
  const std::lock_guard guard(mutex);
  std::vector<const Entry*> entries;
  for (const auto& [key, entry] : items) entries.push_back(&entry);
  std::sort(entries.begin(), entries.end(),
            [](const Entry* a, const Entry* b) { return a->number < b->number; });
  std::vector<Item> outstanding;
  for (const Entry* const entry : entries) outstanding.push_back(entry->item);
  return outstanding;
}

std::size_t ResourceLedger::OutstandingBlocks() const {
  const std::lock_guard guard(mutex);
  return blocks.size();
}

std::vector<std::string> ResourceLedger::Strays() const {
  const std::lock_guard guard(mutex);
  return strays;
}

void ResourceLedger::Clear() {
  const std::lock_guard guard(mutex);
  items.clear();
  blocks.clear();
  strays.clear();
}

void ResourceLedger::Take(const char* kind, const std::string& from, std::uint64_t value,
                          std::wstring path) {
  items[{kind, value}] = {nextNumber++, {from, value, std::move(path), false}};
}

void ResourceLedger::GiveBack(const char* kind, const std::string& function, std::uint64_t value) {
  if (items.erase({kind, value}) == 0) strays.push_back(function);
}

}  // namespace test_support
