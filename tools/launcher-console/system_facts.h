// What Windows says of registry, files, processes and pipes. Changes nothing.
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
struct RegistryValue {
  bool isText = false;        // REG_SZ or REG_EXPAND_SZ
  bool isExpandable = false;  // REG_EXPAND_SZ
  std::string text;           // as it is stored, nothing expanded
};

/// Nothing when the key or the value is missing. An empty name means the default value.
std::optional<RegistryValue> ReadRegistry(const std::string& key, const std::string& valueName,
                                          RegistryView view);

bool FileExists(const std::string& path);
bool Is64BitSystem();

/// The architecture of a program or DLL.
enum class ImageKind { kMissing, kNoImage, k32Bit, k64Bit };
ImageKind LookAtImage(const std::wstring& path);

struct Process {
  std::uint32_t id = 0;
  std::string name;
};

/// Processes whose file name is one of these, ignoring case.
std::vector<Process> FindProcesses(const std::vector<std::string>& names);

enum class PipeState { kMissing, kFree, kBusy };

/// Does not connect.
PipeState LookAtPipe(const std::string& pipeName);

/// Connects to the pipe for a moment and asks who made it.
std::optional<Process> OwnerOfPipe(const std::string& pipeName);

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_SYSTEM_FACTS_H_
