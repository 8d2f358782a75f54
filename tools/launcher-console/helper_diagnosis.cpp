#include "hosts/common/text.h"
#include "tools/launcher-console/diagnosis.h"
#include "tools/launcher-console/system_facts.h"

namespace console {
namespace {

constexpr char kSubject[] = "helper";
constexpr char kInstallationKey[] = R"(SOFTWARE\Vantor Web Plugins)";
constexpr wchar_t kInstallationVariable[] = L"KOVLAUNCH_INSTDIR";

// This computer, and an address that cannot be: a helper that answers has a number other than 0 for
// one of them, while a batch without an answer is all 0.
const std::vector<std::string> kProbeAddresses{"127.0.0.1", "256.0.0.1"};

std::string InstallationFolder(Findings& findings) {
  const auto add = [&findings](Level level, const std::string& text) {
    findings.push_back({kSubject, level, text});
  };
  if (GetEnvironmentVariableW(kInstallationVariable, nullptr, 0) > 0) {
    const std::string folder = host::ToUtf8(host::EnvironmentText(kInstallationVariable));
    add(Level::kOk, "the installation folder is " + folder + ", from KOVLAUNCH_INSTDIR");
    return folder;
  }
  const auto folder = RegistryText(kInstallationKey, "", RegistryView::k32Bit);
  if (!folder) {
    add(Level::kProblem,
        "no installation folder: KOVLAUNCH_INSTDIR is not set and HKEY_LOCAL_MACHINE\\" +
            std::string(kInstallationKey) + " has no default value in the registry's 32-bit view");
    return "";
  }
  constexpr std::size_t kLongestFolder = 129;  // what the launcher's buffer holds
  if (host::ToWide(*folder).size() > kLongestFolder) {
    add(Level::kProblem,
        "the installation folder in the registry is longer than 129 characters, "
        "so the launcher ignores it: " +
            *folder);
    return "";
  }
  add(Level::kOk, "the installation folder is " + *folder + ", from the registry");
  return *folder;
}

void AskHelper(Session& session, std::chrono::milliseconds patience, Findings& findings) {
  bool hasTime = false;
  session.Launcher().PingBatch("doctor", kProbeAddresses);
  const bool isBack =
      session.Wait(patience, Session::Polling::kNo, [&hasTime](const host::Event& event) {
        if (!host::IsPingResult(event)) return false;
        for (const host::PingTime& time : host::ReadPingResult(event.arguments[1])) {
          hasTime = hasTime || time.milliseconds > 0;
        }
        return true;
      });
  if (hasTime) {
    findings.push_back({kSubject, Level::kOk, "it starts and answers a ping batch"});
  } else if (isBack) {
    findings.push_back({kSubject, Level::kProblem,
                        "it was asked for a ping batch and gave no times: it does not start, or "
                        "does not answer as it should"});
  } else {
    findings.push_back({kSubject, Level::kProblem,
                        "it has not answered a ping batch for " +
                            std::to_string(patience.count() / 1000) +
                            " s: it hangs, or was kept from starting"});
  }
}

}  // namespace

void DiagnoseHelper(Session& session, std::chrono::milliseconds patience, Findings& findings) {
  const std::string folder = InstallationFolder(findings);
  if (folder.empty()) return;
  const std::string program = folder + "\\helperx64.exe";
  if (!FileExists(program)) {
    findings.push_back({kSubject, Level::kProblem,
                        program + " is missing: no game starts and no ping is measured"});
    return;
  }
  findings.push_back({kSubject, Level::kOk, program + " is there"});
  AskHelper(session, patience, findings);
}

}  // namespace console
