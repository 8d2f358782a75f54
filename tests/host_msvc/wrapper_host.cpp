// The wrapper under Microsoft's C++ ABI, without a standard library, exceptions and <windows.h>.
#include "launcher/launcher.hpp"
#include "tests/host_msvc/checks.h"

static_assert(!LAUNCHER_HPP_HOSTED);

namespace host_msvc {
namespace {

namespace lh = launcher_host;

bool LoadingFails() {
  lh::LoadError error;
  const lh::Launcher none = lh::Launcher::Load(L"no such launcher.dll", error);
  if (none || error.kind != lh::LoadError::Kind::kCannotLoad || error.systemError == 0)
    return false;
  // A DLL that is no launcher.
  const lh::Launcher other = lh::Launcher::Load(L"kernel32.dll", error);
  return !other && error.kind == lh::LoadError::Kind::kNoLauncher &&
         error.missingExport[0] == 'g' && Same(other.Version(), L"");
}

bool TextsAndEventsWork(lh::Launcher& launcher) {
  if (!Same(launcher.Version(), L"162")) return false;
  if (!Same(launcher.GetLauncherVersion().Wide(), L"162")) return false;
  if (!launcher.SetParameter(lh::app::kSolano, lh::parameter::kProbeMethod, lh::kProbePath)) {
    return false;
  }
  lh::String value = launcher.GetVersion(L"NONE");
  value = launcher.GetParameter(lh::app::kSolano, lh::parameter::kProbeMethod);
  if (!value || !Same(value.Wide(), L"path")) return false;

  launcher.PostEvent(L"source", L"name", L"0", L"1", L"2", L"3", L"4", L"5", L"6", L"7");
  lh::Event event = launcher.NextEvent();
  if (!event || !Same(event.Source(), L"source") || !Same(event.Name(), L"name")) return false;
  for (int i = 0; i < lh::Event::kArgumentCount; ++i) {
    const wchar_t expected[] = {static_cast<wchar_t>(L'0' + i), L'\0'};
    if (!Same(event.Argument(i), expected)) return false;
  }
  event = launcher.NextEvent();
  return !event && Same(event.Name(), L"") && Same(event.Argument(0), L"");
}

bool TheLoopWorks(lh::Launcher& launcher) {
  launcher.PingBatch(L"batch", nullptr, 0);
  launcher.PostEvent(lh::app::kSolano, lh::event_name::kPingBatchResult);  // a game's command
  lh::LoopOptions options;
  int seen = 0;
  const auto end = launcher.Run(options, [&seen](const lh::Event& event) {
    ++seen;
    return event.IsPingResult() && Same(event.Argument(0), L"batch");
  });
  if (end != lh::LoopEnd::kHandled || seen == 0) return false;
  options.limitMsec = 0;
  return launcher.Run(options, [](const lh::Event&) { return false; }) == lh::LoopEnd::kTimedOut;
}

}  // namespace

unsigned int CheckWrapper() {
  if (!LoadingFails()) return 31;
  lh::LoadError error;
  lh::Launcher launcher = lh::Launcher::Load(L"launcher.dll", error);
  if (!launcher || error.kind != lh::LoadError::Kind::kNone) return 32;
  if (!TextsAndEventsWork(launcher)) return 33;
  launcher = lh::Launcher::Linked(error);
  if (!launcher || !TextsAndEventsWork(launcher)) return 34;
  lh::Launcher moved(static_cast<lh::Launcher&&>(launcher));
  if (launcher || !TheLoopWorks(moved)) return 35;
  return 0;
}

}  // namespace host_msvc
