#include "remote/rpc/this_thread_win32.h"

namespace remote {
namespace {

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
class ThreadHandles {
public:
    ThreadHandles() noexcept : slot_(::FlsAlloc(Close)) {}
    ~ThreadHandles() {
        if (slot_ != FLS_OUT_OF_INDEXES) ::FlsFree(slot_);  // closes all of them
    }
    ThreadHandles(const ThreadHandles&) = delete;
    ThreadHandles& operator=(const ThreadHandles&) = delete;

    HANDLE Get() noexcept {
        if (slot_ == FLS_OUT_OF_INDEXES) return nullptr;
        if (void* const kept = ::FlsGetValue(slot_)) return kept;
        const HANDLE thread = OpenThisThread();
        if (thread == nullptr || ::FlsSetValue(slot_, thread) != FALSE) return thread;
        ::CloseHandle(thread);
        return nullptr;
    }

private:
    const DWORD slot_;
};

}  // namespace

HANDLE ThisThread() noexcept {
    static ThreadHandles handles;
    return handles.Get();
}

}  // namespace remote
