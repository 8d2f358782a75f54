// Prints the library's version, by way of the wrapper.
#include <launcher/launcher.hpp>

#include <cstdio>

int main() {
  launcher_host::LoadError error;
  launcher_host::Launcher launcher = launcher_host::Launcher::Linked(error);
  if (!launcher) return 1;
  std::printf("C++17 host: version %s\n", launcher.GetLauncherVersion().Utf8().c_str());
}
