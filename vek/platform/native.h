#pragma once

// The operating system's side of System, one implementation for each. Only system.cpp and these
// implementations include it; everything else takes a System.

#include <chrono>
#include <functional>
#include <memory>
#include <span>

#include "vek/platform/event.h"
#include "vek/platform/thread.h"

namespace vek::platform::native {

std::unique_ptr<Event> NewEvent(EventKind kind) noexcept;
WaitResult WaitAny(std::span<Event* const> events, std::chrono::milliseconds timeout) noexcept;
std::unique_ptr<Thread> StartThread(std::function<void()> body) noexcept;

}  // namespace vek::platform::native
