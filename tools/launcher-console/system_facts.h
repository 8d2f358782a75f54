// What Windows tells about registry, files, processes and pipes. Only looks, changes nothing.
#ifndef LAUNCHER_TOOLS_LAUNCHER_CONSOLE_SYSTEM_FACTS_H_
#define LAUNCHER_TOOLS_LAUNCHER_CONSOLE_SYSTEM_FACTS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace console {

/// The two views that a 64-bit Windows has of HKEY_LOCAL_MACHINE\SOFTWARE.
enum class RegistryView { k32Bit, k64Bit };

bool RegistryKeyExists(const std::string& key, RegistryView view);
/// Nothing when the key or the value is missing or no text. An empty name means the default value.
std::optional<std::string> RegistryText(const std::string& key, const std::string& valueName,
                                        RegistryView view);

bool FileExists(const std::string& path);
bool Is64BitSystem();

struct Process {
  std::uint32_t id = 0;
  std::string name;
};

/// Processes whose file name is one of these, letter case aside.
std::vector<Process> FindProcesses(const std::vector<std::string>& names);

enum class PipeState { kMissing, kFree, kBusy };

/// Does not connect.
PipeState LookAtPipe(const std::string& pipeName);

/// Connects to the pipe for a moment and asks who made it.
std::optional<Process> OwnerOfPipe(const std::string& pipeName);

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_SYSTEM_FACTS_H_
