#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "model/owner_thread.h"
#include "vek/platform/lock.h"
#include "vek/platform/system.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// Carries calls to the thread that owns a message, which serves them while a check is under way.
// One dispatcher serves one check. Before the owner's thread is ended by force the dispatcher is
// closed, so that the owner waits in Serve, where it holds nothing; afterwards OwnerIsGone is told,
// which answers the caller of a call that was under way even then.
class InvokeDispatcher final : public OwnerThread {
public:
    // Owned by the constructing thread. Raises HResultCodeException when an event cannot be
    // created. `system` outlives the dispatcher.
    InvokeDispatcher(vek::trace::TracerPtr tracer, vek::platform::System& system);

    // Callers are served one at a time; more than one wait their turn. A call that was not begun
    // when the owner left is never run, and its caller gets kUnspecifiedError. Raises
    // HResultCodeException when the hand-over fails.
    vek::result_t Invoke(vek::FunctionRef<void()> call) override;

    // Owner thread only, once. Runs calls until `done` is signalled, which wins over a call that
    // waits. Raises when waiting or answering fails; however it ends, no call is begun afterwards.
    void Serve(vek::platform::Event& done);

    // Owner thread only, after Serve: releases all that is MAPI's and ends the owner's part. From
    // then on no call runs at all, on whichever thread, and each gives kUnspecifiedError.
    void End() noexcept;

    // From now on no call is begun: each that waits or comes gives kUnspecifiedError. The one that
    // is under way is answered when it ends. Serve goes on waiting for `done`. Any thread.
    void Close() noexcept;

    // For when the owner's thread was ended by force, in Serve or within a call, and will never run
    // again: every call that waits or comes gives kUnspecifiedError. What the owner held of MAPI's
    // stays where it is, for no other thread may release it. Any thread.
    void OwnerIsGone() noexcept;

    // Ends Serve as a signalled `done` does: for when that event cannot be signalled. Any thread.
    void Stop() noexcept;

private:
    enum class Slot { kEmpty, kPending, kRunning, kAnswered };

    vek::result_t Run(vek::FunctionRef<void()> call) noexcept;
    vek::result_t Report() noexcept;
    // Takes the waiting call back, so that nothing refers to its caller's frame any more.
    void Withdraw() noexcept;

    const vek::trace::TracerPtr tracer_;
    vek::platform::System& system_;
    const std::unique_ptr<vek::platform::Event> request_;
    const std::unique_ptr<vek::platform::Event> reply_;
    // The system's: for the language's own, the runtime library would keep something for each
    // thread of the RPC runtime's that asks, and leave it when the module is unloaded.
    const std::uint32_t owner_;

    // The single slot, handed from the caller (pending) to the owner (running) and back
    // (answered). Whoever has it owns the two members behind it.
    std::atomic<Slot> slot_{Slot::kEmpty};
    const vek::FunctionRef<void()>* pending_ = nullptr;
    vek::result_t result_ = vek::result::kUnspecifiedError;

    std::atomic<bool> stopped_{false};  // Serve is to leave
    std::atomic<bool> closed_{false};   // no call is begun any more
    std::atomic<bool> ended_{false};    // and the owner will run nothing more
    // Held by the caller that is being served, to keep the slot single: a worker's thread or the
    // transport's, which are not ended by force.
    vek::platform::Mutex callers_;
};

}  // namespace plugins::mail_processing
