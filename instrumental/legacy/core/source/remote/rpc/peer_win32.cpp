#include "remote/rpc/peer_win32.h"

#include "vek/platform/process_win32.h"

namespace remote {
using vek::platform::OpenProcessById;

PeerProcess::PeerProcess(std::uint32_t id, bool duplicates) noexcept
    : process_(OpenProcessById(id, duplicates ? SYNCHRONIZE | PROCESS_DUP_HANDLE : SYNCHRONIZE)),
      can_duplicate_(duplicates && process_) {
    if (duplicates && !process_) process_ = OpenProcessById(id, SYNCHRONIZE);
}

void PeerProcess::Watch(WAITORTIMERCALLBACK ended, std::uint64_t argument) noexcept {
    if (!process_ || ::RegisterWaitForSingleObject(&wait_, process_.get(), ended,
                                                   reinterpret_cast<void*>(argument), INFINITE,
                                                   WT_EXECUTEONLYONCE) == FALSE) {
        wait_ = nullptr;
    }
}

PeerProcess::~PeerProcess() {
    if (wait_ != nullptr) ::UnregisterWaitEx(wait_, INVALID_HANDLE_VALUE);
}

}  // namespace remote
