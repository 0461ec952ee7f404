#pragma once

#include <rpc.h>
#include <windows.h>

#include <atomic>
#include <chrono>
#include <vector>

#include "vek/core/result.h"
#include "vek/platform/lock.h"

// Calls `call(argument)`. Gives the code of the RPC exception that ended it, or 0. Other structured
// exceptions pass. What is between must have nothing to be destroyed. Failures of RPC are
// structured exceptions, which only the C compiler can catch: guard_win32.c.
extern "C" unsigned long RemoteGuardedCall(void (*call)(void*), void* argument);

namespace remote {

// Runs `call`, which must have nothing to be destroyed. Gives the status that it ended with.
template <class Call>
RPC_STATUS Guarded(Call call) noexcept {
    return static_cast<RPC_STATUS>(
        RemoteGuardedCall([](void* body) { (*static_cast<Call*>(body))(); }, &call));
}

// The result of a transport's operation for the status of an RPC function or call.
vek::result_t ResultOf(RPC_STATUS status) noexcept;

// Whether the peer is of no more use after a call that ended so.
bool IsLoss(RPC_STATUS status) noexcept;

// The calls that wait for a peer, by thread, so that they can be cancelled.
class WaitingCalls {
public:
    // The calling thread is among them while this exists: for the call alone, or what follows it
    // is cancelled.
    class Wait {
    public:
        explicit Wait(WaitingCalls& calls);
        ~Wait();
        Wait(const Wait&) = delete;
        Wait& operator=(const Wait&) = delete;

    private:
        WaitingCalls& calls_;
        const HANDLE thread_;
    };

    // Cancels what waits. False when nothing does. A call that is about to wait may not notice, so
    // to be repeated.
    bool Cancel() noexcept;

private:
    vek::platform::Lock lock_;
    std::vector<HANDLE> threads_;
    bool cancelled_ = false;
};

// Cancels the calling thread's RPC call when it lasts too long, while this exists.
class CallTimeout {
public:
    explicit CallTimeout(std::chrono::milliseconds timeout) noexcept;
    ~CallTimeout();
    CallTimeout(const CallTimeout&) = delete;
    CallTimeout& operator=(const CallTimeout&) = delete;

private:
    static void CALLBACK Cancel(void* timeout, BOOLEAN);

    const HANDLE thread_;
    std::atomic<bool> cancelled_{false};
    HANDLE timer_ = nullptr;
};

}  // namespace remote
