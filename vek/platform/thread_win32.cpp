#include "vek/platform/thread.h"

#include <process.h>
#include <windows.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

#include "vek/platform/handle_win32.h"
#include "vek/platform/module_win32.h"
#include "vek/platform/native.h"
#include "vek/platform/thread_value.h"

namespace vek::platform {
namespace {

// The state that a thread and its owner share.
struct State {
    enum class Phase {
        kStarting,  // in the system's or the runtime's hands, with locks of theirs
        kRunning,
        kEnding,  // ends by itself, or was terminated
    };
    std::function<void()> body;
    std::atomic<Phase> phase{Phase::kStarting};
    std::atomic<int> shields{0};
    std::atomic<bool> doomed{false};  // to stand still behind the last shield
    // The thread's own reference: given up by the thread when it ends, by the owner when it was
    // terminated.
    std::shared_ptr<State> self;
    // The module whose code the thread runs; given up by the thread alone.
    ModuleHold hold;
};

// Each thread's State. Not thread_local, which takes a lock and memory on a thread's first use.
ThreadValue<State*> current_state;

[[noreturn]] unsigned __stdcall Run(void* argument) noexcept {
    auto* const state = static_cast<State*>(argument);
    ModuleHold hold = std::move(state->hold);
    current_state.Set(state);
    // Here and not in the state: what a terminated thread owned leaks.
    std::function<void()> body = std::move(state->body);
    state->phase = State::Phase::kRunning;

    body();
    body = nullptr;

    state->phase = State::Phase::kEnding;
    current_state.Set(nullptr);
    std::exchange(state->self, nullptr).reset();
    hold.LetGoAndExitThread();
}

class KernelThread final : public Thread {
public:
    explicit KernelThread(std::shared_ptr<State> state) noexcept : state_(std::move(state)) {}

    // False, with the last error set, when no thread could be started.
    bool Start() noexcept {
        SetLastError(system_error::kNone);
        state_->self = state_;
        state_->hold = ModuleHold::Take();
        const std::uintptr_t handle = ::_beginthreadex(nullptr, 0, Run, state_.get(), 0, &id_);
        if (handle == 0) {
            // The runtime library has failures that the system knows nothing of.
            if (LastError() == system_error::kNone) SetLastError(system_error::kNoSystemResources);
            state_->self.reset();
            return false;
        }
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
        const ULONGLONG begun = ::GetTickCount64();
        state_->doomed = true;
        for (;;) {
            const auto waited = static_cast<std::int64_t>(::GetTickCount64() - begun);
            const auto outcome = TerminateUnlessShielded(waited >= kForcedEndPatience.count());
            if (outcome) {
                state_->doomed = *outcome == system_error::kNone;
                return *outcome;
            }
            ::Sleep(1);
        }
    }

    std::uint32_t id() const noexcept override { return id_; }

private:
    // Looks at the thread while it stands, so that it is ended exactly where it was seen. Nothing
    // when it is shielded and that counts.
    std::optional<system_error_t> TerminateUnlessShielded(bool despite_shields) noexcept {
        const std::lock_guard one_at_a_time(terminators_);
        if (state_->phase == State::Phase::kEnding) return system_error::kNone;
        if (::SuspendThread(handle_.get()) == static_cast<DWORD>(-1)) return ErrorUnlessEnded();
        // Waits until it does stand, of which SuspendThread is only the request.
        CONTEXT context{};
        context.ContextFlags = CONTEXT_CONTROL;
        ::GetThreadContext(handle_.get(), &context);

        std::optional<system_error_t> outcome;
        if (state_->phase == State::Phase::kEnding) {
            outcome = system_error::kNone;
        } else if (despite_shields ||
                   (state_->phase == State::Phase::kRunning && state_->shields == 0)) {
            if (::TerminateThread(handle_.get(), 1) != FALSE) {
                state_->phase = State::Phase::kEnding;
                state_->self.reset();
                return system_error::kNone;
            }
            outcome = ErrorUnlessEnded();
        }
        ::ResumeThread(handle_.get());
        return outcome;
    }

    // A thread that has ended by itself cannot be terminated and need not be.
    system_error_t ErrorUnlessEnded() noexcept {
        const system_error_t error = LastError();
        return Wait(std::chrono::milliseconds{0}) == WaitStatus::kSignalled ? system_error::kNone
                                                                            : error;
    }

    const std::shared_ptr<State> state_;
    std::mutex terminators_;
    UniqueHandle handle_;
    unsigned id_ = 0;
};

}  // namespace

void ForcedEndShield::Raise() noexcept {
    if (State* const state = current_state.Get()) ++state->shields;
}

void ForcedEndShield::Lower() noexcept {
    State* const state = current_state.Get();
    if (state == nullptr || --state->shields != 0) return;
    while (state->doomed) ::Sleep(1);
}

std::uint32_t CurrentThreadId() noexcept { return ::GetCurrentThreadId(); }

namespace native {

std::unique_ptr<Thread> StartThread(std::function<void()> body) noexcept {
    try {
        auto state = std::make_shared<State>();
        state->body = std::move(body);
        auto thread = std::make_unique<KernelThread>(std::move(state));
        if (!thread->Start()) return nullptr;
        return thread;
    } catch (const std::bad_alloc&) {
        SetLastError(system_error::kNotEnoughMemory);
        return nullptr;
    }
}

}  // namespace native
}  // namespace vek::platform
