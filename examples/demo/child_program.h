/// A program that the demonstration starts itself, and whose lines it prints.
#ifndef LAUNCHER_EXAMPLES_DEMO_CHILD_PROGRAM_H_
#define LAUNCHER_EXAMPLES_DEMO_CHILD_PROGRAM_H_

#include <windows.h>

#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace demo {

class ChildProgram {
 public:
  /// Throws std::runtime_error when the program cannot be started.
  ChildProgram(const std::filesystem::path& program, const std::wstring& options);

  /// Ends the program when it still runs.
  ~ChildProgram();

  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;

  /// The first line of the program's output that begins so, waited for if need be. Throws
  /// std::runtime_error when the program ends without it or takes too long.
  std::string WaitForLine(const std::string& beginning);

 private:
  void ReadOutput();
  void AddLine(std::string line);

  HANDLE process = nullptr;
  HANDLE output = nullptr;
  std::thread reader;
  std::mutex mutex;  // guards what follows
  std::condition_variable changed;
  std::vector<std::string> lines;
  bool outputEnded = false;
};

}  // namespace demo

#endif  // LAUNCHER_EXAMPLES_DEMO_CHILD_PROGRAM_H_
