#include "remote/rpc/peer_win32.h"

namespace remote {
using vek::platform::UniqueHandle;

PeerProcess::PeerProcess(std::uint32_t id, bool duplicates) noexcept
    : process_(duplicates ? ::OpenProcess(SYNCHRONIZE | PROCESS_DUP_HANDLE, FALSE, id) : nullptr),
      can_duplicate_(static_cast<bool>(process_)) {
    if (!process_) process_ = UniqueHandle(::OpenProcess(SYNCHRONIZE, FALSE, id));
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
