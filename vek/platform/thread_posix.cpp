#include "vek/platform/thread.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <new>
#include <utility>

#include "vek/platform/errno_posix.h"
#include "vek/platform/native.h"

namespace vek::platform {
namespace {

// The state that a thread and its owner share.
struct State {
    std::function<void()> body;
    std::unique_ptr<Event> ended;
    std::atomic<std::uint32_t> id{0};
    std::atomic<bool> terminated{false};
    // The thread's own reference: given up by the thread when it ends, by the owner when it was
    // terminated.
    std::shared_ptr<State> self;
};

// The real-time signal that ends the thread it is sent to. High, because libraries count up from
// SIGRTMIN.
int TerminateSignal() noexcept { return SIGRTMAX - 3; }

// What a thread shares with the signal that meets it.
thread_local constinit std::atomic<int> shields{0};
thread_local constinit std::atomic<State*> doomed{nullptr};  // to be ended behind the last shield

void EndThisThread(State& state) noexcept {
    state.terminated.store(true, std::memory_order_release);
    state.ended->Set();
    // Ends this thread in the kernel: nothing is unwound, no thread-local is destroyed.
    ::syscall(SYS_exit, 0);
}

void OnTerminateSignal(int, siginfo_t* info, void*) noexcept {
    if (info->si_code != SI_QUEUE || info->si_pid != ::getpid()) return;
    auto* state = static_cast<State*>(info->si_value.sival_ptr);
    if (shields == 0) EndThisThread(*state);
    doomed = state;
}

bool InstallTerminateHandler() noexcept {
    struct sigaction action {};
    action.sa_sigaction = OnTerminateSignal;
    action.sa_flags = SA_SIGINFO;
    return ::sigaction(TerminateSignal(), &action, nullptr) == 0;
}

void ChangeTerminateMask(int how) noexcept {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, TerminateSignal());
    ::pthread_sigmask(how, &set, nullptr);
}

void* Run(void* argument) noexcept {
    auto* state = static_cast<State*>(argument);
    // Here and not in the state: what a terminated thread owned leaks.
    std::function<void()> body = std::move(state->body);
    state->id.store(CurrentThreadId(), std::memory_order_release);
    state->id.notify_all();
    ChangeTerminateMask(SIG_UNBLOCK);

    body();
    body = nullptr;

    // From here on it ends by itself.
    ChangeTerminateMask(SIG_BLOCK);
    const std::shared_ptr<State> self = std::move(state->self);
    self->ended->Set();
    return nullptr;
}

// The attributes of a thread that starts with the terminate signal blocked.
class Attributes {
public:
    Attributes() noexcept {
        ::pthread_attr_init(&value_);
        sigset_t mask;
        ::pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        sigaddset(&mask, TerminateSignal());
        ::pthread_attr_setsigmask_np(&value_, &mask);
    }
    ~Attributes() { ::pthread_attr_destroy(&value_); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    const pthread_attr_t* get() const noexcept { return &value_; }

private:
    pthread_attr_t value_;
};

class PosixThread final : public Thread {
public:
    explicit PosixThread(std::shared_ptr<State> state) noexcept : state_(std::move(state)) {}

    ~PosixThread() override {
        if (!reaped_) ::pthread_detach(thread_);
    }

    // Gives errno's value.
    int Start() noexcept {
        static const bool installed = InstallTerminateHandler();
        static_cast<void>(installed);
        state_->self = state_;
        const int error = ::pthread_create(&thread_, Attributes().get(), Run, state_.get());
        if (error != 0) {
            reaped_ = true;
            state_->self.reset();
        }
        return error;
    }

    WaitStatus Wait(std::chrono::milliseconds timeout) noexcept override {
        if (IsReaped()) return WaitStatus::kSignalled;
        Event* const ended = state_->ended.get();
        const WaitStatus status = native::WaitAny({&ended, 1}, timeout).status;
        if (status == WaitStatus::kSignalled) {
            Reap();
            ended->Set();  // another wait may be under way
        }
        return status;
    }

    system_error_t Terminate() noexcept override {
        const std::lock_guard lock(mutex_);
        if (reaped_) return system_error::kNone;
        sigval value{};
        value.sival_ptr = state_.get();
        const int error = ::pthread_sigqueue(thread_, TerminateSignal(), value);
        return error == 0 || error == ESRCH ? system_error::kNone : FailWith(error);
    }

    std::uint32_t id() const noexcept override {
        state_->id.wait(0);
        return state_->id.load(std::memory_order_acquire);
    }

private:
    bool IsReaped() noexcept {
        const std::lock_guard lock(mutex_);
        return reaped_;
    }

    // Gives back a thread that has ended, once however many wait for it.
    void Reap() noexcept {
        const std::lock_guard lock(mutex_);
        if (reaped_) return;
        reaped_ = true;
        if (state_->terminated.load(std::memory_order_acquire)) {
            // It never ran the thread library's end, which joining is about.
            ::pthread_detach(thread_);
            state_->self.reset();
        } else {
            ::pthread_join(thread_, nullptr);
        }
    }

    std::shared_ptr<State> state_;
    std::mutex mutex_;
    bool reaped_ = false;
    pthread_t thread_{};
};

}  // namespace

// The signal interrupts this thread and no other looks: nothing has to be atomic but for it.
void ForcedEndShield::Raise() noexcept {
    shields.store(shields.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

void ForcedEndShield::Lower() noexcept {
    std::atomic_signal_fence(std::memory_order_seq_cst);
    const int left = shields.load(std::memory_order_relaxed) - 1;
    shields.store(left, std::memory_order_relaxed);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (left != 0) return;
    if (State* const state = doomed.load(std::memory_order_relaxed)) EndThisThread(*state);
}

std::uint32_t CurrentThreadId() noexcept { return static_cast<std::uint32_t>(::gettid()); }

namespace native {

std::unique_ptr<Thread> StartThread(std::function<void()> body) noexcept {
    try {
        auto state = std::make_shared<State>();
        state->body = std::move(body);
        // Taking the signal orders what the thread did before what its owner does, the closing of
        // the event included; seeing one that stays would not.
        state->ended = NewEvent(EventKind::kAutoReset);
        if (!state->ended) return nullptr;
        auto thread = std::make_unique<PosixThread>(std::move(state));
        if (const int error = thread->Start(); error != 0) {
            FailWith(error);
            return nullptr;
        }
        return thread;
    } catch (const std::bad_alloc&) {
        FailWith(ENOMEM);
        return nullptr;
    }
}

}  // namespace native
}  // namespace vek::platform
