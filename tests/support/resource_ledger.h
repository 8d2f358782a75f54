// Books what a module takes from the system and gives back.
#ifndef LAUNCHER_TESTS_SUPPORT_RESOURCE_LEDGER_H_
#define LAUNCHER_TESTS_SUPPORT_RESOURCE_LEDGER_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "tests/support/import_faults.h"

namespace test_support {

/// Handed to ImportFaults as its observer. Knows the pairs of calls that take and give back
/// something: memory, handles, keys, sockets, files, COM strings and COM itself, critical sections.
class ResourceLedger final : public ImportFaults::Observer {
 public:
  /// Something that was taken and not given back.
  struct Item {
    /// The import that it came from.
    std::string from;
    std::uint64_t value = 0;
    /// The path of a registry key.
    std::wstring path;
    /// A key of which a value was read; a pipe that was waited on for its other end.
    bool wasUsed = false;
  };

  /// The imports that it has to see.
  static const std::vector<std::string>& Functions();

  // What is given back is booked before the call: another thread may get the same handle or block
  // as soon as it is free.
  void BeforeCall(const std::string& function, const ImportFaults::Arguments& arguments) override;
  void AfterCall(const std::string& function, const ImportFaults::Arguments& arguments,
                 std::uint64_t result) override;

  /// What is outstanding, memory left out, in the order in which it was taken.
  std::vector<Item> Outstanding() const;
  std::size_t OutstandingBlocks() const;
  /// What was given back without having been taken: a handle closed twice, for example.
  std::vector<std::string> Strays() const;
  /// Begins anew.
  void Clear();

 private:
  void Take(const char* kind, const std::string& from, std::uint64_t value, std::wstring path = {});
  void GiveBack(const char* kind, const std::string& function, std::uint64_t value);

  struct Key {
    std::string kind;
    std::uint64_t value;
    auto operator<=>(const Key&) const = default;
  };
  struct Entry {
    std::size_t number;
    Item item;
  };

  mutable std::mutex mutex;
  std::map<Key, Entry> items;
  std::set<std::uint64_t> blocks;
  std::vector<std::string> strays;
  std::size_t nextNumber = 0;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_RESOURCE_LEDGER_H_
