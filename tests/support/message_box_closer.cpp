#include "tests/support/message_box_closer.h"

#include <utility>

namespace test_support {
namespace {

// The class of dialogs, which message boxes are.
constexpr wchar_t kDialogClass[] = L"#32770";
// No notification exists for a window of another thread that has been shown.
constexpr DWORD kPollIntervalMs = 20;
constexpr UINT kAnswerMs = 2000;

std::wstring TextOf(HWND window) {
  wchar_t text[512] = {};
  DWORD_PTR length = 0;
  SendMessageTimeoutW(window, WM_GETTEXT, std::size(text), reinterpret_cast<LPARAM>(text),
                      SMTO_NORMAL, kAnswerMs, &length);
  return text;
}

// The box's text is its one static control that is not empty (the icon is an empty one).
BOOL CALLBACK FindText(HWND window, LPARAM parameter) {
  wchar_t className[32] = {};
  GetClassNameW(window, className, std::size(className));
  if (lstrcmpiW(className, L"Static") != 0) return TRUE;
  std::wstring text = TextOf(window);
  if (text.empty()) return TRUE;
  *reinterpret_cast<std::wstring*>(parameter) = std::move(text);
  return FALSE;
}

}  // namespace

MessageBoxCloser::MessageBoxCloser(std::wstring boxCaption)
    : caption(std::move(boxCaption)), stop(MakeManualResetEvent()), thread([this] { Run(); }) {}

MessageBoxCloser::~MessageBoxCloser() {
  SetEvent(stop.Get());
  thread.join();
}

std::vector<std::wstring> MessageBoxCloser::ClosedTexts() const {
  const std::lock_guard guard(mutex);
  return closedTexts;
}

void MessageBoxCloser::Run() {
  while (!WaitFor(stop.Get(), kPollIntervalMs)) {
    const HWND box = FindWindowW(kDialogClass, caption.c_str());
    DWORD process = 0;
    if (box != nullptr) GetWindowThreadProcessId(box, &process);
    if (process != GetCurrentProcessId() || !IsWindowVisible(box)) continue;
    std::wstring text;
    EnumChildWindows(box, FindText, reinterpret_cast<LPARAM>(&text));
    {
      const std::lock_guard guard(mutex);
      closedTexts.push_back(text);
    }
    PostMessageW(box, WM_COMMAND, IDOK, 0);
    // The same box must not be counted twice.
    while (IsWindow(box) && !WaitFor(stop.Get(), kPollIntervalMs)) {
    }
  }
}

}  // namespace test_support
