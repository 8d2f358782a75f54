// The store client's own settings file, "\Ostrel\local.xml" under the user's roaming application data:
// a document element whose children carry the attributes "key" and "value".
#ifndef LAUNCHER_APPS_OSTREL_SETTINGS_H_
#define LAUNCHER_APPS_OSTREL_SETTINGS_H_

#include "core/windows_api.h"

namespace launcher {

/// Thrown when COM cannot make a string.
struct ComError {
  HRESULT result;
};

/// Whether the store client's local-host mode is enabled. It is, unless the file says exactly "false"
/// under "LocalHostEnabled"; but a file that is missing or malformed means that it is not.
/// Initialises COM on the calling thread for the duration of the call. Throws ComError and
/// std::bad_alloc when memory runs out.
bool IsOstrelLocalHostEnabled();

}  // namespace launcher

#endif  // LAUNCHER_APPS_OSTREL_SETTINGS_H_
