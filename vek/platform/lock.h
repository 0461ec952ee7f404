#pragma once

#include <mutex>

namespace vek::platform {

// A lock that its owner may take again. std::recursive_mutex is a critical section's equal on
// every system; the name says what it is here.
using RecursiveLock = std::recursive_mutex;

}  // namespace vek::platform
