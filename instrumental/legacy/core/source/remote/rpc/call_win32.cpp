#include "remote/rpc/call_win32.h"

#include <algorithm>

#include "remote/rpc/identity_win32.h"
#include "vek/platform/module_win32.h"
#include "vek/platform/thread_value.h"

namespace remote {
namespace {

namespace result = vek::result;

// A cancel that came too late for its call would end the thread's next one. Wine cancels a call
// that is being made and no other, and has no function for this.
void ForgetCancel() noexcept {
    if (!IsWine()) Guarded([] { ::RpcTestCancel(); });
}

HANDLE OpenThisThread() noexcept {
    HANDLE thread = nullptr;
    ::DuplicateHandle(::GetCurrentProcess(), ::GetCurrentThread(), ::GetCurrentProcess(), &thread,
                      0, FALSE, DUPLICATE_SAME_ACCESS);
    return thread;
}

void WINAPI Close(void* thread) { ::CloseHandle(thread); }

// A handle for each thread that has asked for it. Not in a thread_local object: to run destructors
// of those, the runtime library wants the loader's lock within one of its own, and an ending thread
// takes the two the other way round.
const DWORD thread_handles = ::FlsAlloc(Close);
const vek::platform::UnloadStep free_thread_handles([]() noexcept {
    if (thread_handles != FLS_OUT_OF_INDEXES) ::FlsFree(thread_handles);  // closes all of them
});

// A handle of the calling thread that others can use while the thread lives; null when the system
// gives none. It stays the system's to close. Kept, because to make one is a good part of what a
// small call costs.
HANDLE ThisThread() noexcept {
    if (thread_handles == FLS_OUT_OF_INDEXES) return nullptr;
    if (void* const kept = ::FlsGetValue(thread_handles)) return kept;
    const HANDLE thread = OpenThisThread();
    if (thread == nullptr || ::FlsSetValue(thread_handles, thread) != FALSE) return thread;
    ::CloseHandle(thread);
    return nullptr;
}

vek::platform::ThreadValue<unsigned long> exception_code;

}  // namespace

extern "C" void RemoteKeepExceptionCode(unsigned long code);
extern "C" void RemoteKeepExceptionCode(unsigned long code) { exception_code.Set(code); }

extern "C" unsigned long RemoteKeptExceptionCode();
extern "C" unsigned long RemoteKeptExceptionCode() { return exception_code.Get(); }

vek::result_t ResultOf(RPC_STATUS status) noexcept {
    switch (status) {
        case RPC_S_OK:
            return result::kOk;
        // The call has not been executed.
        case RPC_S_SERVER_UNAVAILABLE:
        case RPC_S_NO_ENDPOINT_FOUND:
        case EPT_S_NOT_REGISTERED:
        case RPC_S_UNKNOWN_IF:
        case RPC_S_SERVER_TOO_BUSY:
        case RPC_S_CALL_FAILED_DNE:
            return result::kNotReady;
        case RPC_S_ACCESS_DENIED:
            return result::kAccessDenied;
        case RPC_S_OUT_OF_MEMORY:
            return result::kOutOfMemory;
        default:
            return result::kRemoteCallFailed;
    }
}

bool IsLoss(RPC_STATUS status) noexcept {
    return status != RPC_S_OK && status != RPC_S_OUT_OF_MEMORY && status != RPC_S_SERVER_TOO_BUSY;
}

WaitingCalls::Wait::Wait(WaitingCalls& calls) : calls_(calls), thread_(ThisThread()) {
    const std::lock_guard guard(calls_.lock_);
    calls_.threads_.push_back(thread_);
}

WaitingCalls::Wait::~Wait() {
    bool cancelled = false;
    {
        const std::lock_guard guard(calls_.lock_);
        // A thread is here once for each call within a call.
        calls_.threads_.erase(std::find(calls_.threads_.begin(), calls_.threads_.end(), thread_));
        cancelled = calls_.cancelled_;
    }
    if (cancelled) ForgetCancel();
}

bool WaitingCalls::Cancel() noexcept {
    const std::lock_guard guard(lock_);
    cancelled_ = true;
    for (const HANDLE thread : threads_) {
        if (thread != nullptr) ::RpcCancelThreadEx(thread, 0);
    }
    return !threads_.empty();
}

CallTimeout::CallTimeout(std::chrono::milliseconds timeout) noexcept : thread_(ThisThread()) {
    if (thread_ == nullptr ||
        ::CreateTimerQueueTimer(&timer_, nullptr, Cancel, this, static_cast<DWORD>(timeout.count()),
                                100, 0) == FALSE) {
        timer_ = nullptr;
    }
}

CallTimeout::~CallTimeout() {
    if (timer_ != nullptr) ::DeleteTimerQueueTimer(nullptr, timer_, INVALID_HANDLE_VALUE);
    if (cancelled_) ForgetCancel();
}

void CALLBACK CallTimeout::Cancel(void* timeout, BOOLEAN) {
    auto& self = *static_cast<CallTimeout*>(timeout);
    self.cancelled_ = true;
    ::RpcCancelThreadEx(self.thread_, 0);
}

}  // namespace remote
