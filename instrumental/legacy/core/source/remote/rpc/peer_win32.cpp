#include "remote/rpc/peer_win32.h"

namespace remote {
using vek::platform::UniqueHandle;

PeerProcess::PeerProcess(std::uint32_t id) noexcept
    : process_(::OpenProcess(SYNCHRONIZE | PROCESS_DUP_HANDLE, FALSE, id)) {
    if (!process_) {
        can_duplicate_ = false;
        process_ = UniqueHandle(::OpenProcess(SYNCHRONIZE, FALSE, id));
    }
}

void PeerProcess::Watch(WAITORTIMERCALLBACK ended, std::uint64_t argument) noexcept {
    if (!process_ || ::RegisterWaitForSingleObject(&wait_, process_.get(), ended,
                                                   reinterpret_cast<void*>(argument), INFINITE,
                                                   WT_EXECUTEONLYONCE) == FALSE) {
        wait_ = nullptr;
    }
}

PeerProcess::~PeerProcess() {
    if (wait_ != nullptr) ::UnregisterWaitEx(wait_, nullptr);
}

}  // namespace remote
