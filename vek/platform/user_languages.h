#pragma once

#include <string>

namespace vek::platform {

// The languages in which this process's user wants to read, the most wanted first, as BCP 47 tags
// with ';' between: "de-AT;en-US". Empty when the system does not say. On Windows those of the
// user interface that the user has chosen in the system's settings (GetUserPreferredUILanguages,
// learn.microsoft.com/windows/win32/api/winnls/nf-winnls-getuserpreferreduilanguages), elsewhere
// that of the environment's LC_ALL, LC_MESSAGES or LANG. No thread may change the environment
// meanwhile. Raises for want of memory alone.
std::string UserLanguages();

}  // namespace vek::platform
