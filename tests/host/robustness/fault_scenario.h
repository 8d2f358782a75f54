// What a host does with a launcher, in sections that together use every slot, for tests that let
// something fail on the way.
#ifndef LAUNCHER_TESTS_HOST_ROBUSTNESS_FAULT_SCENARIO_H_
#define LAUNCHER_TESTS_HOST_ROBUSTNESS_FAULT_SCENARIO_H_

#include <memory>
#include <string>
#include <vector>

#include "tests/support/dll_host.h"
#include "tests/support/import_faults.h"
#include "tests/support/import_redirector.h"
#include "tests/support/line_hook.h"
#include "tests/support/resource_ledger.h"

namespace test_support {

/// What a section showed, line by line: results of slots, events, what the game and the helper got.
using Report = std::vector<std::string>;

/// One part of what a host does, with real surroundings of its own: registry, directories, a game's
/// pipe, a server. They exist once; `Run` may be called again and again.
class Section {
 public:
  virtual ~Section() = default;

  /// Redirects what must not be touched for real. Called after each load of the DLL, before
  /// anything else is redirected.
  virtual void Prepare(HMODULE module) = 0;
  virtual void Run(DllHost& host, Report& report) = 0;
  /// Whether `Run` creates and destroys the launcher by itself; the DLL is then loaded anew for
  /// each run, so that what it does once per process is done.
  virtual bool CreatesLauncher() const { return false; }

  /// Whether events may never come: then none is waited for longer than a few polls.
  bool mayLoseEvents = false;
};

/// "create", "probe", "launch", "process", "settings", "pipe", "ping", "query".
extern const std::vector<std::string> kSectionNames;
std::unique_ptr<Section> MakeSection(const std::string& name);

/// Runs one section under redirected imports, with everything that the DLL takes and writes booked.
class SectionRunner {
 public:
  /// `functions`: the imports whose calls are counted and can fail.
  SectionRunner(const std::string& sectionName, const std::vector<std::string>& functions);
  SectionRunner(const SectionRunner&) = delete;
  SectionRunner& operator=(const SectionRunner&) = delete;
  ~SectionRunner();

  /// One run with a launcher of its own. `arm` is called right before the section begins, `disarm`
  /// right after it; then the launcher has to prove that it goes on working, and is destroyed.
  template <typename Arm, typename Disarm>
  Report Run(const Arm& arm, const Disarm& disarm) {
    Begin();
    arm();
    RunSection();
    disarm();
    return End();
  }
  Report Run() {
    return Run([] {}, [] {});
  }

  /// See `Section`.
  void LetLoseEvents(bool mayLose) { section->mayLoseEvents = mayLose; }

  ImportFaults& Faults() { return *faults; }
  const ResourceLedger& Ledger() const { return ledger; }

  /// What the DLL wrote to the standard streams in the last run of the section.
  const std::string& Log() const { return sectionLog; }
  /// What the health check of the last run found wrong; empty when nothing.
  const std::string& Complaint() const { return complaint; }
  /// What the last run left behind, memory left out.
  const std::vector<ResourceLedger::Item>& Leftovers() const { return leftovers; }
  std::size_t LeftoverBlocks() const { return leftoverBlocks; }
  /// Launchers that the last run has created.
  std::size_t LauncherCount() const { return launcherCount; }

 private:
  void Load();
  void Unload();
  void Begin();
  void RunSection();
  Report End();

  std::string name;
  std::vector<std::string> functions;
  std::unique_ptr<Section> section;
  ResourceLedger ledger;
  std::unique_ptr<DllHost> host;
  std::unique_ptr<LineHook> lines;
  std::mutex logMutex;
  std::string log;
  std::unique_ptr<ImportFaults> faults;

  Report report;
  std::string sectionLog;
  std::string complaint;
  std::vector<ResourceLedger::Item> leftovers;
  std::size_t leftoverBlocks = 0;
  std::size_t launcherCount = 0;
};

/// Whether it is left open on purpose: the key of every game and of the store that was found, the
/// key of an installation whose directory could not be read, the pipe of a batch whose helper was
/// not started.
bool IsKeptOnPurpose(const ResourceLedger::Item& item);

/// Closes something that was left open on purpose.
void CloseLeftover(const ResourceLedger::Item& item);

/// What every launcher leaves allocated on purpose: three blocks for each of the seven games, its
/// command handler, the default command and the source that this posts under.
inline constexpr std::size_t kBlocksPerGame = 3;
inline constexpr std::size_t kBlocksPerLauncher = 21;

/// The registry key that names the plug-in's installation.
inline constexpr wchar_t kInstallKey[] = LR"(SOFTWARE\Vantor Web Plugins)";

}  // namespace test_support

#endif  // LAUNCHER_TESTS_HOST_ROBUSTNESS_FAULT_SCENARIO_H_
