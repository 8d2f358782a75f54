#include "tests/host/robustness/fault_scenario.h"

#include <io.h>
#include <objbase.h>
#include <shlobj.h>
#include <stdio.h>

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <exception>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "tests/host/query/query_server.h"
#include "tests/support/environment_variable.h"
#include "tests/support/fake_process_list.h"
#include "tests/support/game_installation.h"
#include "tests/support/helper_installation.h"
#include "tests/support/ping_helper.h"
#include "tests/support/pipe_server.h"
#include "tests/support/registry_fixture.h"
#include "tests/support/temp_directory.h"
#include "tests/support/text.h"
#include "tests/support/udp_peer.h"

namespace test_support {
namespace {

std::string Line(const char* what, bool value) {
  return std::string(what) + (value ? ": true" : ": false");
}
std::string Line(const char* what, const std::wstring& value) {
  return std::string(what) + ": " + Narrow(value);
}

// An event as one line; of a query's result the status alone, once the text is seen to be whole.
std::string Line(const Event& event) {
  std::string line = "event " + Narrow(event.name) + " from " + Narrow(event.source) + ":";
  for (const std::wstring& argument : event.arg) {
    std::wstring text = argument;
    const std::wstring statusKey = L"{\n  \"status\": \"";
    if (text.starts_with(statusKey)) {
      if (!text.ends_with(L"  }\n}\n")) return line + " a torn result";
      text = text.substr(statusKey.size(), text.find(L'"', statusKey.size()) - statusKey.size());
    }
    std::wistringstream words(text);
    for (std::wstring word; words >> word;) line += " " + Narrow(word);
  }
  return line;
}

void NoteEvents(DllHost& host, Report& report) {
  for (const Event& event : host.Drain()) report.push_back(Line(event));
}

// What a host without C++ exceptions of its own would see of PingBatch.
std::string StartBatch(DllHost& host, const wchar_t* batchId,
                       const std::vector<const wchar_t*>& addresses) {
  try {
    return Line("PingBatch", host->PingBatch(batchId, addresses.data(), addresses.size()));
  } catch (const std::bad_alloc&) {
    return "PingBatch: bad_alloc";
  }
}

// Creation, the debug console, events, the version, waiting, destruction.
class CreateSection final : public Section {
 public:
  CreateSection() : debug(L"KOVLAUNCH_DEBUG", L"1") {}

  void Prepare(HMODULE module) override {
    // A console would be a real window, and the streams are the test's.
    reopens.reset();
    consoles.reset();
    consoles = std::make_unique<IMPORT_HOOK(AllocConsole)>(module, [] { return TRUE; });
    reopens = std::make_unique<IMPORT_HOOK(freopen)>(
        module, [](const char*, const char*, FILE* stream) { return stream; });
  }

  void Run(DllHost& host, Report& report) override {
    try {
      host.Create();
    } catch (const std::runtime_error&) {
      report.emplace_back("no launcher");
      return;
    }
    host.Post(L"source", L"posted", L"argument");
    NoteEvents(host, report);
    report.push_back(Line("GetLauncherVersion", host.GetLauncherVersion()));
    host->FreeString(nullptr);
    host->FreeEvent(nullptr);
    host->WaitForThreads();
    host.Destroy();
    report.emplace_back("destroyed");
  }

  bool CreatesLauncher() const override { return true; }

 private:
  EnvironmentVariable debug;
  std::unique_ptr<IMPORT_HOOK(AllocConsole)> consoles;
  std::unique_ptr<IMPORT_HOOK(freopen)> reopens;
};

// Parameters and the look-up of installations.
class ProbeSection final : public Section {
 public:
  ProbeSection() : solano(kSolanoKey, kSolanoName) {
    brenna.Directory().WriteFile(L"version.json", "1.2.3");
    brenna.Directory().WriteFile(L"pb\\pbcl.dll", "");
    brenna.Directory().MakeDirectory(L"Update\\Xpack0");
    brenna.Registry().CreateKey(std::wstring(kBrennaKey) + L"\\Xpack0");
    solano.Directory().MakeDirectory(L"Update\\Xpack7");
    store.SetText(LR"(SOFTWARE\Ostrel)", L"ClientVersion", L"9.8");
  }

  void Prepare(HMODULE) override {}

  void Run(DllHost& host, Report& report) override {
    report.push_back(
        Line("SetParameter", host->SetParameter(kBrennaId, L"EXTRA_ARGUMENTS", L"-x")));
    // Longer than the log's memory on the stack.
    host->SetParameter(kBrennaId, L"long", std::wstring(600, L'x').c_str());
    report.push_back(Line("GetVersion", host.GetVersion(kBrennaId)));
    report.push_back(Line("expansions", host.GetParameter(kBrennaId, L"EXPANSIONS_INSTALLED")));
    report.push_back(Line("PunkBuster", host.GetParameter(kBrennaId, L"PUNKBUSTER_INSTALLED")));
    report.push_back(Line("GetExtraArguments", host.GetExtraArguments(kBrennaId)));
    host->SetParameter(kSolanoId, L"probeMethod", L"path");
    host->SetParameter(kSolanoId, L"workingDirectory", solano.InstallDir().c_str());
    host->SetParameter(kSolanoId, L"binaryPath", solano.Directory().Join(kSolanoName).c_str());
    report.push_back(Line("IsInstalled", host->IsInstalled(kSolanoId)));
    report.push_back(
        Line("expansions by path", host.GetParameter(kSolanoId, L"EXPANSIONS_INSTALLED")));
    report.push_back(Line("store", host.GetVersion(L"OSTREL-APP")));
  }

 private:
  GameInstallation brenna;
  GameInstallation solano;
  RegistryFixture store;
};

// Starting a game and the store client, and a start that the system refuses.
class LaunchSection final : public Section {
 public:
  LaunchSection() : noVariable(L"KOVLAUNCH_INSTDIR", std::nullopt) {
    directory.WriteFile(L"helperx64.exe", "");
    directory.WriteFile(L"ag4.exe", "");
    registry.SetText(kInstallKey, nullptr, directory.Path());
    registry.SetText(LR"(SOFTWARE\Ostrel)", L"ClientVersion", L"9.8");
  }

  void Prepare(HMODULE module) override {
    shell.reset();
    boxes.reset();
    boxes = std::make_unique<IMPORT_HOOK(MessageBoxW)>(
        module, [this](HWND, const wchar_t* text, const wchar_t* caption, UINT) {
          report->push_back("box " + Narrow(caption) + ": " + Narrow(text));
          return IDOK;
        });
    shell = std::make_unique<IMPORT_HOOK(ShellExecuteExW)>(
        module, [this](SHELLEXECUTEINFOW* info) -> BOOL {
          const std::wstring parameters = info->lpParameters;
          info->hInstApp = reinterpret_cast<HINSTANCE>(UINT_PTR{SE_ERR_ACCESSDENIED});
          if (parameters.ends_with(L"refuse")) return FALSE;
          // The paths differ from run to run of the tests.
          report->push_back("started with " + Narrow(parameters.substr(0, parameters.find(L'|'))) +
                            " ... " + Narrow(parameters.substr(parameters.rfind(L'|') + 1)));
          return TRUE;
        });
  }

  void Run(DllHost& host, Report& runReport) override {
    report = &runReport;
    host->SetParameter(kBrennaId, L"probeMethod", L"path");
    host->SetParameter(kBrennaId, L"workingDirectory", directory.Path().c_str());
    host->SetParameter(kBrennaId, L"binaryPath", directory.Join(L"ag4.exe").c_str());
    host->SetParameter(kBrennaId, L"binaryName", L"ag4.exe");
    runReport.push_back(Line("Launch", Launch(host, kBrennaId, L"play")));
    NoteEvents(host, runReport);
    runReport.push_back(Line("refused Launch", Launch(host, kBrennaId, L"refuse")));
    NoteEvents(host, runReport);
    runReport.push_back(Line("store Launch", Launch(host, L"OSTREL-APP", L"page")));
    NoteEvents(host, runReport);
  }

 private:
  static bool Launch(DllHost& host, const wchar_t* appId, const wchar_t* commandLine) {
    return host->Launch(appId, commandLine, true, L"", L"", L"", L"");
  }

  TempDirectory directory;
  EnvironmentVariable noVariable;
  RegistryFixture registry;
  Report* report = nullptr;
  std::unique_ptr<IMPORT_HOOK(MessageBoxW)> boxes;
  std::unique_ptr<IMPORT_HOOK(ShellExecuteExW)> shell;
};

// Finding and ending a game's process.
class ProcessSection final : public Section {
 public:
  ProcessSection() { directory.WriteFile(L"ag4.exe", ""); }

  void Prepare(HMODULE module) override {
    ends.reset();
    opens.reset();
    processes.reset();
    processes = std::make_unique<FakeProcessList>(
        module, std::vector<FakeProcess>{{8, L"explorer.exe"}, {4242, L"AG4.exe"}});
    // A handle that can be closed, of nothing that can be ended.
    opens = std::make_unique<IMPORT_HOOK(OpenProcess)>(module, [](DWORD, BOOL, DWORD id) -> HANDLE {
      if (id != 4242) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
      }
      return CreateEventW(nullptr, TRUE, FALSE, nullptr);
    });
    ends = std::make_unique<IMPORT_HOOK(TerminateProcess)>(module, [this](HANDLE, UINT exitCode) {
      report->push_back("ended with " + HexText(exitCode));
      return TRUE;
    });
  }

  void Run(DllHost& host, Report& runReport) override {
    report = &runReport;
    host->SetParameter(kBrennaId, L"probeMethod", L"path");
    host->SetParameter(kBrennaId, L"binaryPath", directory.Join(L"ag4.exe").c_str());
    host->SetParameter(kBrennaId, L"binaryName", L"ag4.exe");
    runReport.push_back(Line("IsRunning", host->IsRunning(kBrennaId)));
    runReport.push_back(Line("Kill", host->Kill(kBrennaId, false)));
  }

 private:
  TempDirectory directory;
  Report* report = nullptr;
  std::unique_ptr<FakeProcessList> processes;
  std::unique_ptr<IMPORT_HOOK(OpenProcess)> opens;
  std::unique_ptr<IMPORT_HOOK(TerminateProcess)> ends;
};

// The store client's setting, read from a file that says "false" and from one that says "true".
class SettingsSection final : public Section {
 public:
  // As a host that uses COM itself: its threads have it already.
  SettingsSection() : initialised(CoInitialize(nullptr)) {
    if (FAILED(initialised)) throw std::runtime_error("CoInitialize");
    disabled.WriteFile(L"Ostrel\\local.xml",
                       "<Settings><!-- of the store --><Setting key=\"Language\" value=\"en\"/>"
                       "<Setting key=\"LocalHostEnabled\" value=\"false\"/></Settings>");
    enabled.WriteFile(L"Ostrel\\local.xml",
                      "<Settings><Setting key=\"LocalHostEnabled\" value=\"true\"/></Settings>");
  }
  ~SettingsSection() override { CoUninitialize(); }

  void Prepare(HMODULE module) override {
    folders.reset();
    folders = std::make_unique<IMPORT_HOOK(SHGetKnownFolderPath)>(
        module, [this](REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path) -> HRESULT {
          const std::wstring& folder = folderPath;
          const std::size_t bytes = (folder.size() + 1) * sizeof(wchar_t);
          *path = static_cast<PWSTR>(CoTaskMemAlloc(bytes));
          std::wmemcpy(*path, folder.c_str(), folder.size() + 1);
          return S_OK;
        });
  }

  void Run(DllHost& host, Report& report) override {
    folderPath = disabled.Path();
    report.push_back(Line("disabled", host.GetParameter(L"OSTREL-APP", L"OstrelLocalHostEnabled")));
    folderPath = enabled.Path();
    report.push_back(Line("enabled", host.GetParameter(L"OSTREL-APP", L"OstrelLocalHostEnabled")));
  }

 private:
  HRESULT initialised;
  TempDirectory disabled;
  TempDirectory enabled;
  std::wstring folderPath;
  std::unique_ptr<IMPORT_HOOK(SHGetKnownFolderPath)> folders;
};

// A game that offers its pipe, sends a command, gets one and goes away.
class PipeSection final : public Section {
 public:
  void Prepare(HMODULE) override {}

  void Run(DllHost& host, Report& report) override {
    PipeServer game(LR"(\\.\pipe\solano_pellmar)");
    // The first poll connects; the next one makes up for a first that failed.
    if (!PollUntil(host, report, kReady)) return;
    if (!game.Accept(kPatienceMs)) throw std::runtime_error("the game sees no client");
    Talk(host, report, game);
    game.Close();
    if (report.back() != kGone) PollUntil(host, report, kGone);
  }

 private:
  // How many polls to wait for an event that may be lost.
  static constexpr int kFewPolls = 12;
  static constexpr DWORD kPollIntervalMs = 2;

  static constexpr char kReady[] = "event StateChanged from SOLANO-GAME: READY";
  static constexpr char kGone[] = "event StateChanged from SOLANO-GAME: GAMEISGONE";

  void Talk(DllHost& host, Report& report, PipeServer& game) const {
    using std::string_literals::operator""s;
    if (!game.Write("KE\x0B\x00\x01X\x03\x00"
                    "a b"s,
                    kPatienceMs)) {
      report.emplace_back("the game could not write");
    }
    PollUntil(host, report, "event X from SOLANO-GAME: a b");
    if (report.back() == kGone) return;
    // 600 characters: longer than the log's memory on the stack.
    report.push_back(
        Line("SendCommand",
             host->SendCommand(kSolanoId, L"Go", std::wstring(600, L'y').c_str(), L"", L"", L"")));
    for (int poll = 0; poll < 2; ++poll) {
      Poll(host, report);
      if (report.back() == kGone) return;
    }
    const std::string sent = "KE\x61\x02\x02Go\x58\x02"s + std::string(600, 'y');
    const DWORD available = game.Available().value_or(0);
    if (available == 0) {
      report.emplace_back("the game got nothing");
    } else {
      report.emplace_back(game.Read(available, kPatienceMs) == sent
                              ? "the game got the command"
                              : "the game got something else");
    }
  }

  static void Poll(DllHost& host, Report& report) {
    host->PollApps();
    NoteEvents(host, report);
  }

  // Polls until the event has come; false when the game is gone instead or nothing came.
  bool PollUntil(DllHost& host, Report& report, const std::string& wanted) const {
    const ULONGLONG deadline = GetTickCount64() + kPatienceMs;
    for (int poll = 0; mayLoseEvents ? poll < kFewPolls : GetTickCount64() < deadline; ++poll) {
      const std::size_t before = report.size();
      Poll(host, report);
      if (report.size() > before) return report.back() == wanted;
      if (poll > 1) WaitForSingleObject(host.Notifications().CalledEvent(), kPollIntervalMs);
    }
    return false;
  }
};

// A ping batch, with the helper played by a thread.
class PingSection final : public Section {
 public:
  void Prepare(HMODULE module) override {
    shell.reset();
    shell = std::make_unique<IMPORT_HOOK(ShellExecuteExW)>(
        module, [this](SHELLEXECUTEINFOW* info) -> BOOL {
          helper = std::thread(Reply, std::wstring(info->lpParameters), PingReply({23, 40}));
          return TRUE;
        });
  }

  void Run(DllHost& host, Report& report) override {
    report.push_back(StartBatch(host, L"batch", {L"127.0.0.1", L"127.0.0.2"}));
    host->WaitForThreads();
    if (helper.joinable()) helper.join();
    NoteEvents(host, report);
  }

 private:
  HelperInstallation installation;
  std::thread helper;
  std::unique_ptr<IMPORT_HOOK(ShellExecuteExW)> shell;
};

// A server on a thread of its own. Its challenge is four bytes long; for the game identifier 2 it
// is three, which is too short.
class GameServer {
 public:
  GameServer() : thread([this] { Serve(); }) {}
  GameServer(const GameServer&) = delete;
  GameServer& operator=(const GameServer&) = delete;
  ~GameServer() {
    stops = true;
    peer.SendToItself("stop");
    thread.join();
  }

  unsigned short Port() const { return peer.Port(); }

 private:
  void Serve() const {
    while (!stops) {
      const auto request = peer.Receive(kPatienceMs);
      if (!request || stops) continue;
      if (request->bytes.size() == 15) {
        peer.SendTo(
            request->bytes[14] == 2 ? std::string("\1\2\3") : std::string("\x0A\x0B\x0C\x0D"),
            request->sender);
      } else {
        peer.SendTo(Response(), request->sender);
      }
    }
  }

  // Version 3: game 1, "Breach0", variant 5, no section, map "Dunes", 32 of at most 64 players
  // wait, one team with one player.
  static std::string Response() {
    using std::string_literals::operator""s;
    return "\x03"
           "\0\0\0\0\0\0\0\1"
           "\x07"
           "Breach0"
           "\x05"
           "\x00"
           "\x05"
           "Dunes"
           "\x40\x20"
           "\x00"
           "\x01"
           "\0\0\0\0\0\0\0\x09"
           "\x04"
           "Aldo"
           "\x02"
           "TT"
           "\x0C"
           "\0\0\0\x63"
           "\0\x07\0\x03"
           "\x02"s;
  }

  UdpPeer peer;
  std::atomic<bool> stops = false;
  std::thread thread;
};

// Two queries: one with a good end and one that is answered with too few bytes.
class QuerySection final : public Section {
 public:
  void Prepare(HMODULE module) override {
    patience.reset();
    patience = std::make_unique<PatientSelect>(module);
  }

  void Run(DllHost& host, Report& report) override {
    for (const wchar_t* const gameId : {L"1", L"2"}) {
      host->QueryServer(L"request", gameId, gameId, L"127.0.0.1", server.Port());
      host->WaitForThreads();
      NoteEvents(host, report);
    }
  }

 private:
  GameServer server;
  std::unique_ptr<PatientSelect> patience;
};

// What every launcher can do at any time, whatever happened to it. Returns what it could not.
std::string CheckHealth(DllHost& host) {
  // What came before settles: a game that went away is noticed.
  for (int poll = 0; poll < 3; ++poll) host->PollApps();
  host.Drain();
  const int callsBefore = host.Notifications().CallCount();
  // From another thread: nothing may hold the lock.
  std::thread([&] { host.Post(L"health", L"check", L"1"); }).join();
  const std::vector<Event> events = host.Drain();
  if (events != std::vector<Event>{{L"health", L"check", {L"1"}}}) return "event";
  if (host.Notifications().CallCount() != callsBefore + 1) return "notifier";
  if (host.GetLauncherVersion() != L"162") return "GetLauncherVersion";
  if (host.GetVersion(L"nobody") != L"INVALID_APP_ID") return "GetVersion";
  for (const wchar_t* const appId : kAllAppIds) {
    if (!host->SetParameter(appId, L"health", appId)) return "SetParameter";
    if (host.GetParameter(appId, L"health") != appId) return "GetParameter";
  }
  host->PollApps();
  if (!host.Drain().empty()) return "PollApps";
  // A worker; the identifier keeps it from sending anything.
  host->QueryServer(L"health", L"text", L"no number", L"127.0.0.1", 9);
  host->WaitForThreads();
  const std::vector<Event> answers = host.Drain();
  if (answers.size() != 1 ||
      Line(answers[0]) !=
          "event QueryServerResult from health: text ERROR_CONNECT_INVALID_ARGUMENT") {
    return "QueryServer";
  }
  return "";
}

}  // namespace

const std::vector<std::string> kSectionNames = {"create",   "probe", "launch", "process",
                                                "settings", "pipe",  "ping",   "query"};

std::unique_ptr<Section> MakeSection(const std::string& name) {
  if (name == "create") return std::make_unique<CreateSection>();
  if (name == "probe") return std::make_unique<ProbeSection>();
  if (name == "launch") return std::make_unique<LaunchSection>();
  if (name == "process") return std::make_unique<ProcessSection>();
  if (name == "settings") return std::make_unique<SettingsSection>();
  if (name == "pipe") return std::make_unique<PipeSection>();
  if (name == "ping") return std::make_unique<PingSection>();
  if (name == "query") return std::make_unique<QuerySection>();
  throw std::runtime_error("no section " + name);
}

bool IsKeptOnPurpose(const ResourceLedger::Item& item) {
  if (item.from == "RegOpenKeyExW") return item.wasUsed != (item.path == kInstallKey);
  return item.from == "CreateNamedPipeW" && !item.wasUsed;
}

void CloseLeftover(const ResourceLedger::Item& item) {
  if (item.from == "RegOpenKeyExW") {
    RegCloseKey(reinterpret_cast<HKEY>(item.value));
  } else {
    CloseHandle(reinterpret_cast<HANDLE>(item.value));
  }
}

SectionRunner::SectionRunner(const std::string& sectionName,
                             const std::vector<std::string>& redirected)
    : name(sectionName), functions(redirected), section(MakeSection(name)) {
  // The ledger has to hear of its calls, too.
  for (const std::string& function : ResourceLedger::Functions()) {
    if (std::find(functions.begin(), functions.end(), function) == functions.end()) {
      functions.push_back(function);
    }
  }
  WSADATA data;
  if (WSAStartup(MAKEWORD(2, 2), &data) != 0) throw std::runtime_error("WSAStartup");
  if (!section->CreatesLauncher()) Load();
}

SectionRunner::~SectionRunner() {
  Unload();
  WSACleanup();
}

void SectionRunner::Load() {
  host = std::make_unique<DllHost>(DllHost::Creation::kLater);
  section->Prepare(host->Module());
  lines = std::make_unique<LineHook>(host->Module(), [this](const std::string& line, FILE*) {
    const std::lock_guard guard(logMutex);
    log += line;
  });
  faults = std::make_unique<ImportFaults>(host->Module(), functions, &ledger);
}

// The redirections end in the reverse order, and before the DLL goes.
void SectionRunner::Unload() {
  faults.reset();
  lines.reset();
  section.reset();
  host.reset();
}

void SectionRunner::Begin() {
  if (section->CreatesLauncher()) {
    Unload();
    section = MakeSection(name);
    Load();
  } else {
    host->Create();
  }
  launcherCount = 1;
  report.clear();
  log.clear();
  faults->Reset();
}

void SectionRunner::RunSection() { section->Run(*host, report); }

Report SectionRunner::End() {
  sectionLog = log;
  if (section->CreatesLauncher()) {
    host->Destroy();
    host->Create();
    ++launcherCount;
  }
  complaint = CheckHealth(*host);
  host->Destroy();
  leftovers = ledger.Outstanding();
  leftoverBlocks = ledger.OutstandingBlocks();
  for (const std::string& stray : ledger.Strays()) complaint += " stray " + stray;
  ledger.Clear();
  return report;
}

}  // namespace test_support
