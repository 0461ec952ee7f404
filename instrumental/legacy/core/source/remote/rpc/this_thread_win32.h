#pragma once

#include <windows.h>

namespace remote {

// A handle of the calling thread that others can use while the thread lives; null when the system
// gives none. It stays the system's to close. Kept, because to make one is a good part of what a
// small call costs. Any thread.
HANDLE ThisThread() noexcept;

}  // namespace remote
