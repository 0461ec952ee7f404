#pragma once

#include <windows.h>

#include <cstdint>

#include "remote/transport.h"
#include "vek/platform/handle_win32.h"

namespace remote {

// The process of the call that this thread serves: as the runtime tells, or else as the caller
// says, `claimed`.
std::uint32_t CallingProcess(std::uint32_t claimed) noexcept;

// Whether `process_id` may be a peer.
bool IsProcessAllowed(std::uint32_t process_id, const PeerCheck& check);

// A peer's process, as far as this one may open it. Its end is watched.
class PeerProcess {
public:
    // `ended` is called with `argument` when the process ends, on a thread of the system's, and
    // possibly when this object is gone.
    PeerProcess(std::uint32_t id, WAITORTIMERCALLBACK ended, std::uint64_t argument) noexcept;
    ~PeerProcess();
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    std::uint32_t id() const noexcept { return id_; }
    // A handle that handles can be duplicated with, or null.
    HANDLE duplicator() const noexcept { return can_duplicate_ ? process_.get() : nullptr; }

private:
    const std::uint32_t id_;
    bool can_duplicate_ = true;
    vek::platform::UniqueHandle process_;
    HANDLE wait_ = nullptr;
};

}  // namespace remote
