#pragma once

#include <windows.h>

#include <cstdint>

#include "remote/transport.h"
#include "vek/platform/handle_win32.h"

namespace remote {

// The process of the call that this thread serves: as the runtime tells, or as the caller says,
// `claimed`, where no runtime tells. 0 when it should and does not.
std::uint32_t CallingProcess(std::uint32_t claimed) noexcept;

// Whether `process_id` may be a peer.
bool IsProcessAllowed(std::uint32_t process_id, const PeerCheck& check);

// A peer's process, as far as this one may open it.
class PeerProcess {
public:
    explicit PeerProcess(std::uint32_t id) noexcept;
    ~PeerProcess();
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    // `ended` is called with `argument` when the process ends, on a thread of the system's, and
    // possibly when this object is gone. To be called once.
    void Watch(WAITORTIMERCALLBACK ended, std::uint64_t argument) noexcept;

    // A handle that handles can be duplicated with, or null.
    HANDLE duplicator() const noexcept { return can_duplicate_ ? process_.get() : nullptr; }

private:
    bool can_duplicate_ = true;
    vek::platform::UniqueHandle process_;
    HANDLE wait_ = nullptr;
};

}  // namespace remote
