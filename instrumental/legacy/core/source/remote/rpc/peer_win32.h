#pragma once

#include <windows.h>

#include <cstdint>

#include "vek/platform/handle_win32.h"

namespace remote {

// A peer's process, as far as this one may open it: nothing but handles in packets needs that. That
// a peer has ended is seen by the runtime, too: its clients are run down, and calls to it fail.
class PeerProcess {
public:
    PeerProcess(std::uint32_t id, bool duplicates) noexcept;
    // Waits for a call of `ended`, so never in one.
    ~PeerProcess();
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    // `ended` is called with `argument` when the process ends, on a thread of the system's. To be
    // called once.
    void Watch(WAITORTIMERCALLBACK ended, std::uint64_t argument) noexcept;

    // A handle that handles can be duplicated with, or null.
    HANDLE duplicator() const noexcept { return can_duplicate_ ? process_.get() : nullptr; }

private:
    vek::platform::UniqueHandle process_;
    const bool can_duplicate_;
    HANDLE wait_ = nullptr;
};

}  // namespace remote
