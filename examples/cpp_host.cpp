// A host in C++17 on the wrapper, linked to the import library: lists the applications and times the
// loopback address.
#include <launcher/launcher.hpp>

#include <cstdio>
#include <string>

namespace {

// Bytes as they are: printf("%ls") would stop at the first character that the console's code page
// lacks.
void Print(const std::string& utf8) { std::fwrite(utf8.data(), 1, utf8.size(), stdout); }

void ListApplications(launcher_host::Launcher& launcher) {
  for (const wchar_t* const app : launcher_host::app::kAll) {
    std::string name = launcher_host::ToUtf8(app);
    name.resize(22, ' ');
    Print(name + " " + launcher.GetVersion(app).Utf8() + "\n");
  }
}

}  // namespace

int main() {
  SetConsoleOutputCP(CP_UTF8);
  launcher_host::LoadError error;
  launcher_host::Launcher launcher = launcher_host::Launcher::Linked(error);
  if (!launcher) {
    Print(launcher_host::Describe(error) + "\n");
    return 1;
  }
  ListApplications(launcher);

  bool isDone = false;
  launcher_host::EventHandlers handlers;
  handlers.On(launcher_host::event_name::kStateChanged, [](const launcher_host::Event& event) {
    Print(event.SourceUtf8() + " is " + event.ArgumentUtf8(0) + "\n");
  });
  handlers.OnPingResult([&isDone](const launcher_host::Event& event) {
    Print("PingBatchResult for " + event.ArgumentUtf8(0) + ":\n" + event.ArgumentUtf8(1));
    isDone = true;
  });

  // Without an installed helper the batch still ends, with a time of 0.
  const char* const addresses[] = {"127.0.0.1"};
  launcher.PingBatch("first-batch", addresses);
  launcher_host::LoopOptions options;
  options.limitMsec = 10000;
  launcher.Run(options, [&](const launcher_host::Event& event) {
    handlers.Dispatch(event);
    return isDone;
  });
  return isDone ? 0 : 1;
}
