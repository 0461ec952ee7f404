#include "vek/platform/thread.h"

#include <process.h>
#include <windows.h>

#include <new>
#include <utility>

#include "vek/platform/handle_win32.h"
#include "vek/platform/native.h"

namespace vek::platform {
namespace {

using body_t = std::function<void()>;

unsigned __stdcall Run(void* argument) noexcept {
    const std::unique_ptr<body_t> body(static_cast<body_t*>(argument));
    (*body)();
    return 0;
}

class KernelThread final : public Thread {
public:
    // False, with the last error set, when no thread could be started.
    bool Start(std::unique_ptr<body_t> body) noexcept {
        SetLastError(system_error::kNone);
        const std::uintptr_t handle = ::_beginthreadex(nullptr, 0, Run, body.get(), 0, &id_);
        if (handle == 0) {
            // The runtime library has failures that the system knows nothing of.
            if (LastError() == system_error::kNone) SetLastError(system_error::kNoSystemResources);
            return false;
        }
        static_cast<void>(body.release());
        handle_ = UniqueHandle(reinterpret_cast<HANDLE>(handle));
        return true;
    }

    WaitStatus Wait(std::chrono::milliseconds timeout) noexcept override {
        switch (::WaitForSingleObjectEx(handle_.get(), ToTimeOut(timeout), FALSE)) {
            case WAIT_OBJECT_0:
                return WaitStatus::kSignalled;
            case WAIT_TIMEOUT:
                return WaitStatus::kTimeout;
            default:
                return WaitStatus::kFailed;
        }
    }

    system_error_t Terminate() noexcept override {
        if (::TerminateThread(handle_.get(), 1) != FALSE) return system_error::kNone;
        const system_error_t error = LastError();
        // A thread that has ended by itself cannot be terminated and need not be.
        return Wait(std::chrono::milliseconds{0}) == WaitStatus::kSignalled ? system_error::kNone
                                                                            : error;
    }

    std::uint32_t id() const noexcept override { return id_; }

private:
    UniqueHandle handle_;
    unsigned id_ = 0;
};

}  // namespace

std::uint32_t CurrentThreadId() noexcept { return ::GetCurrentThreadId(); }

namespace native {

std::unique_ptr<Thread> StartThread(std::function<void()> body) noexcept {
    std::unique_ptr<body_t> owned(new (std::nothrow) body_t(std::move(body)));
    std::unique_ptr<KernelThread> thread(new (std::nothrow) KernelThread);
    if (!owned || !thread) {
        SetLastError(system_error::kNotEnoughMemory);
        return nullptr;
    }
    if (!thread->Start(std::move(owned))) return nullptr;
    return thread;
}

}  // namespace native
}  // namespace vek::platform
