#include "hosts/common/text.h"
#include "tools/launcher-console/diagnosis.h"
#include "tools/launcher-console/system_facts.h"

namespace console {
namespace {

constexpr char kSubject[] = "helper";
constexpr char kInstallationKey[] = R"(SOFTWARE\Vantor Web Plugins)";
constexpr wchar_t kInstallationVariable[] = L"KOVLAUNCH_INSTDIR";

void Add(Findings& findings, Level level, const std::string& text, const std::string& advice = "") {
  findings.push_back({kSubject, level, text, advice});
}

std::string Reinstall(const std::string& key) {
  return "Install the plug-in again, write its folder into the default value of " + key +
         ", or set KOVLAUNCH_INSTDIR to the folder.";
}

// Why the launcher finds no text in the registry.
void ExplainMissingFolder(const std::string& key, Findings& findings) {
  if (ReadRegistry(kInstallationKey, "", RegistryView::k64Bit)) {
    Add(findings, Level::kProblem,
        "the installation folder is in the registry's 64-bit view only, in HKEY_LOCAL_MACHINE\\" +
            std::string(kInstallationKey) + "; the launcher reads the 32-bit view",
        "Write the folder into the default value of " + key + " as well.");
    return;
  }
  Add(findings, Level::kProblem,
      "no installation folder: KOVLAUNCH_INSTDIR is not set and " + key + " has no default value",
      Reinstall(key));
}

std::string InstallationFolder(Findings& findings) {
  if (GetEnvironmentVariableW(kInstallationVariable, nullptr, 0) > 0) {
    std::string folder = host::ToUtf8(host::EnvironmentText(kInstallationVariable));
    Add(findings, Level::kOk, "the installation folder is " + folder + ", from KOVLAUNCH_INSTDIR");
    return folder;
  }
  const std::string key = ShownKey(kInstallationKey);
  const auto folder = ReadRegistry(kInstallationKey, "", RegistryView::k32Bit);
  if (!folder) {
    ExplainMissingFolder(key, findings);
    return "";
  }
  constexpr std::size_t kLongestFolder = 129;  // what the launcher's buffer holds
  if (host::ToWide(folder->text).size() > kLongestFolder) {
    Add(findings, Level::kProblem,
        "the installation folder in " + key +
            " is longer than 129 characters, so the launcher ignores it: " + folder->text,
        "Install into a folder with a shorter name, or set KOVLAUNCH_INSTDIR.");
    return "";
  }
  if (folder->isExpandable && folder->text.find('%') != std::string::npos) {
    Add(findings, Level::kProblem,
        "the installation folder in " + key +
            " is of type REG_EXPAND_SZ, which the launcher does not expand: " + folder->text,
        "Write the folder in full, as REG_SZ.");
    return "";
  }
  Add(findings, Level::kOk, "the installation folder is " + folder->text + ", from " + key);
  return folder->text;
}

void AskHelper(Session& session, host::LauncherClient& launcher, std::chrono::milliseconds patience,
               Findings& findings) {
  bool hasTimes = false;
  launcher.PingBatch("doctor", {"127.0.0.1"});
  const bool isBack =
      session.Wait(patience, Session::Polling::kNo, [&hasTimes](const host::Event& event) {
        if (!host::IsPingResult(event)) return false;
        hasTimes = host::ReadPingResult(event.arguments[1]).hasTimes;
        return true;
      });
  const std::string advice =
      "Look whether a security program keeps helperx64.exe from starting, and install the plug-in "
      "again.";
  if (hasTimes) {
    Add(findings, Level::kOk, "it starts and answers a ping batch");
  } else if (isBack) {
    Add(findings, Level::kProblem,
        "it was asked for a ping batch and gave no times: it does not start, or does not answer as "
        "it should",
        advice);
  } else {
    Add(findings, Level::kProblem,
        "it has not answered a ping batch for " + std::to_string(patience.count() / 1000) +
            " s: it hangs, or was kept from starting",
        advice);
  }
}

}  // namespace

std::string ShownKey(const std::string& key) {
  constexpr std::string_view kSoftware = R"(SOFTWARE\)";
  const bool hasViews = key.starts_with(kSoftware);
  return R"(HKEY_LOCAL_MACHINE\)" +
         (hasViews ? R"(SOFTWARE\WOW6432Node\)" + key.substr(kSoftware.size()) : key);
}

void DiagnoseHelper(Session& session, host::LauncherClient* launcher,
                    std::chrono::milliseconds patience, Findings& findings) {
  const std::string folder = InstallationFolder(findings);
  if (folder.empty()) return;
  const std::string program = folder + "\\helperx64.exe";
  if (!FileExists(program)) {
    Add(findings, Level::kProblem, program + " is missing: no game starts and no ping is measured",
        "Install the plug-in again, or correct the installation folder.");
    return;
  }
  Add(findings, Level::kOk, program + " is there");
  if (launcher != nullptr) AskHelper(session, *launcher, patience, findings);
}

}  // namespace console
