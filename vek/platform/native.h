#pragma once

// What System offers, as each operating system does it. For system.cpp; others take a System.

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
