// A program of the kit, run by a test.
#ifndef LAUNCHER_TESTS_HOST_KIT_KIT_PROGRAM_H_
#define LAUNCHER_TESTS_HOST_KIT_KIT_PROGRAM_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/dll_host.h"
#include "tests/support/scoped_handle.h"

namespace test_support {

using Bytes = std::vector<std::uint8_t>;

/// Started with raw parameters and a pipe for everything that it prints. Ended with the object when
/// it still runs.
class KitProgram {
 public:
  /// `program` is a full path, or a file name beside the test program.
  KitProgram(const std::wstring& program, const std::wstring& parameters);
  KitProgram(const KitProgram&) = delete;
  KitProgram& operator=(const KitProgram&) = delete;
  ~KitProgram();

  /// The rest of the first line, read now or before, that begins so; throws when the program ends
  /// without one.
  std::string WaitForLine(const std::string& beginning);

  /// Reads the output to its end and waits for the program.
  DWORD ExitCode();

  /// Everything that was read so far.
  const std::string& Output() const { return output; }

  HANDLE Process() const { return process.Get(); }

 private:
  bool ReadMore();

  ScopedHandle process;
  ScopedHandle outputEnd;
  std::string output;
};

/// A name for a pipe or an event that no other test uses.
std::wstring UniqueName(const std::wstring& beginning);

/// Connects to a pipe that a program is about to offer.
ScopedHandle ConnectWhenOffered(const std::wstring& pipeName);

/// Writes all bytes; throws when that fails.
void WritePipe(HANDLE pipe, const Bytes& bytes);

/// Reads exactly so many bytes; fewer when the pipe ends before.
Bytes ReadPipe(HANDLE pipe, std::size_t size);

}  // namespace test_support

#endif  // LAUNCHER_TESTS_HOST_KIT_KIT_PROGRAM_H_
