/// What the demonstration installs: a game and a store client, as far as a launcher can see.
#ifndef LAUNCHER_EXAMPLES_DEMO_STAGE_H_
#define LAUNCHER_EXAMPLES_DEMO_STAGE_H_

#include <filesystem>
#include <string>
#include <vector>

namespace demo {

/// Builds registry keys and files, and removes what it has built when it is destroyed. Nothing that
/// was there before is changed. Every operation throws std::runtime_error.
class Stage {
 public:
  /// `workDirectory` is made when it is missing.
  explicit Stage(std::filesystem::path workDirectory);
  ~Stage();

  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  /// BRENNA-GAME with two of three expansions registered. `program` plays the game.
  void InstallGame(const std::filesystem::path& program);

  void InstallStoreClient(const std::wstring& version);

  /// A file in the work directory that is removed in the end.
  std::filesystem::path TemporaryFile(const std::wstring& name);

  std::filesystem::path gameDirectory() const { return workDirectory / L"demo game"; }

 private:
  void CreateKey(const std::wstring& path);
  void RemoveFiles();

  const std::filesystem::path workDirectory;
  std::vector<std::wstring> createdKeys;  // parents first
  std::vector<std::filesystem::path> temporaryFiles;
};

/// The lines of a text file; none when it does not exist.
std::vector<std::string> ReadLines(const std::filesystem::path& path);

}  // namespace demo

#endif  // LAUNCHER_EXAMPLES_DEMO_STAGE_H_
