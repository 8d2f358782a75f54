// The processes that run on this computer.
#ifndef LAUNCHER_APPS_PROCESS_SCAN_H_
#define LAUNCHER_APPS_PROCESS_SCAN_H_

#include <cstdint>

namespace launcher {

/// The identifier of the first process, in the system's order, whose file name equals one of `names`
/// without regard to the case of ASCII letters; 0 when there is none or the processes cannot be
/// listed. `names` ends with a null pointer.
std::uint32_t IsProcessesRunning(const wchar_t* const* names);

}  // namespace launcher

#endif  // LAUNCHER_APPS_PROCESS_SCAN_H_
