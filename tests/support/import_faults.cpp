#include "tests/support/import_faults.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <stdexcept>
#include <utility>

namespace test_support {
namespace {

constexpr std::size_t kMaxFunctions = 160;

using Word = std::uint64_t;
using Function = Word (*)(Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word);

// Plain variables: the module's threads read them inside every call, where neither a lock nor
// memory may be asked for.
struct Slot {
  Function original = nullptr;
  std::atomic<std::size_t> count = 0;
  std::atomic<bool> fails = false;
};
std::array<Slot, kMaxFunctions> slots;
std::atomic<std::size_t> firstFailing = 0;
std::atomic<std::size_t> lastFailing = 0;
std::atomic<std::size_t> meantCount = 0;
std::atomic<std::size_t> failedCount = 0;
std::atomic<ImportFaults::Condition> condition = nullptr;
CallFailure failing;
const std::vector<std::string>* functionNames = nullptr;
ImportFaults::Observer* observer = nullptr;

bool Fails(std::size_t index, const ImportFaults::Arguments& arguments) {
  if (!slots[index].fails) return false;
  const ImportFaults::Condition isMeant = condition;
  if (isMeant != nullptr && !isMeant(arguments)) return false;
  const std::size_t number = meantCount++;
  return number >= firstFailing && number <= lastFailing;
}

Word Call(std::size_t index, const ImportFaults::Arguments& a) {
  Slot& slot = slots[index];
  ++slot.count;
  const bool fails = Fails(index, a);
  Word result = failing.result;
  if (!fails || failing.stillWorks) {
    // The caller sees the last errors as if nobody had looked on.
    const auto observe = [&](const auto& tell) {
      if (observer == nullptr) return;
      const DWORD lastError = GetLastError();
      const int runtimeError = errno;
      tell((*functionNames)[index]);
      errno = runtimeError;
      SetLastError(lastError);
    };
    observe([&](const std::string& name) { observer->BeforeCall(name, a); });
    const Word answer =
        slot.original(a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], a[8], a[9], a[10], a[11]);
    observe([&](const std::string& name) { observer->AfterCall(name, a, answer); });
    if (!fails) return answer;
    result = failing.result;
  }
  ++failedCount;
  if (failing.code == CallFailure::Code::kErrno) errno = failing.value;
  if (failing.code == CallFailure::Code::kLastError) {
    SetLastError(static_cast<DWORD>(failing.value));
  }
  return result;
}

// What the import table holds: one function for every index.
template <std::size_t index>
Word Entry(Word a0, Word a1, Word a2, Word a3, Word a4, Word a5, Word a6, Word a7, Word a8, Word a9,
           Word a10, Word a11) {
  return Call(index, {a0, a1, a2, a3, a4, a5, a6, a7, a8, a9, a10, a11});
}

template <std::size_t... indexes>
constexpr std::array<Function, sizeof...(indexes)> MakeEntries(std::index_sequence<indexes...>) {
  return {&Entry<indexes>...};
}
constexpr auto kEntries = MakeEntries(std::make_index_sequence<kMaxFunctions>());

}  // namespace

ImportFaults::ImportFaults(HMODULE module, std::vector<std::string> functions,
                           Observer* callObserver)
    : names(std::move(functions)) {
  if (functionNames != nullptr || names.size() > kMaxFunctions) {
    throw std::runtime_error("imports cannot be redirected");
  }
  functionNames = &names;
  observer = callObserver;
  Reset();
  redirector.emplace(module);
  for (std::size_t i = 0; i < names.size(); ++i) {
    slots[i].original = reinterpret_cast<Function>(
        redirector->Redirect(names[i], reinterpret_cast<void*>(kEntries[i])));
  }
}

ImportFaults::~ImportFaults() {
  redirector.reset();
  Reset();
  observer = nullptr;
  functionNames = nullptr;
}

void ImportFaults::Reset() {
  failedCount = 0;
  for (Slot& slot : slots) {
    slot.count = 0;
    slot.fails = false;
  }
}

void ImportFaults::Fail(const std::string& function, std::size_t first, std::size_t last,
                        const CallFailure& failure, Condition isMeant) {
  failing = failure;
  condition = isMeant;
  meantCount = 0;
  firstFailing = first;
  lastFailing = last;
  slots[IndexOf(function)].fails = true;
}

std::size_t ImportFaults::FailedCount() const { return failedCount; }

std::size_t ImportFaults::Count(const std::string& function) const {
  return slots[IndexOf(function)].count;
}

std::size_t ImportFaults::IndexOf(const std::string& function) const {
  const auto found = std::find(names.begin(), names.end(), function);
  if (found == names.end()) throw std::runtime_error("not redirected: " + function);
  return static_cast<std::size_t>(found - names.begin());
}

}  // namespace test_support
