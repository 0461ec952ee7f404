#pragma once

// The thread that owns a message, as the mail model sees it: MAPI calls run there, and MAPI
// references are released there.

#include <list>
#include <memory>
#include <optional>
#include <utility>

#include "vek/core/function_ref.h"
#include "vek/core/result.h"
#include "vek/core/throw.h"

namespace plugins::mail_processing {

// References that have to be given back on the owner thread.
class OwnedState {
public:
    virtual ~OwnedState() = default;
    // Owner thread only. Idempotent.
    virtual void Release() noexcept = 0;
};

// Runs calls on the thread that owns a message, for objects that other threads use, and keeps the
// references that have to be given back there until the check ends. The message processor's
// dispatcher implements it.
class OwnerThread {
public:
    virtual ~OwnerThread() = default;

    // Runs `call` on the owner thread and gives kOk, or the code of the exception it raised. On
    // the owner thread itself the call is simply made; any other caller waits. Once the owner has
    // left the check nothing runs any more and the answer is a failure. Raises when the
    // hand-over itself fails.
    virtual vek::result_t Invoke(vek::FunctionRef<void()> call) = 0;

    // Keeps `state` for ReleaseAll, until the ticket is dropped. Both owner thread only.
    using Ticket = std::list<std::shared_ptr<OwnedState>>::iterator;
    Ticket Keep(std::shared_ptr<OwnedState> state) {
        return kept_.insert(kept_.end(), std::move(state));
    }
    void Drop(Ticket ticket) noexcept { kept_.erase(ticket); }

    // Owner thread only, after the last call: releases the states that are still kept, newest
    // first, so that no other thread ever touches the message.
    void ReleaseAll() noexcept {
        while (!kept_.empty()) {
            const std::shared_ptr<OwnedState> last = std::move(kept_.back());
            kept_.pop_back();
            last->Release();
        }
    }

private:
    std::list<std::shared_ptr<OwnedState>> kept_;
};

// As Invoke, for the border of an interface: a failing hand-over becomes a result code too.
vek::result_t RunOnOwner(OwnerThread& owner, vek::FunctionRef<void()> call) noexcept;

// Holds a State of MAPI references for an object that other threads may release. Made on the
// owner thread; the state is released there, with this or at the end of the check, whichever
// comes first.
template <class State>
class OwnerBound {
public:
    OwnerBound(std::shared_ptr<OwnerThread> owner, State state)
        : owner_(std::move(owner)), slot_(std::make_shared<Slot>(std::move(state))) {
        slot_->ticket = owner_->Keep(slot_);
    }

    ~OwnerBound() {
        RunOnOwner(*owner_, [this]() noexcept {
            if (!slot_->state) return;
            slot_->Release();
            owner_->Drop(slot_->ticket);
        });
    }

    OwnerBound(const OwnerBound&) = delete;
    OwnerBound& operator=(const OwnerBound&) = delete;

    // Owner thread only, within a call. Raises vek::CheckFailedException once released.
    State* operator->() {
        vek::Check(slot_->state.has_value());
        return &*slot_->state;
    }

    OwnerThread& owner() const noexcept { return *owner_; }
    const std::shared_ptr<OwnerThread>& shared_owner() const noexcept { return owner_; }

private:
    struct Slot final : OwnedState {
        explicit Slot(State&& initial) : state(std::move(initial)) {}
        void Release() noexcept override { state.reset(); }
        std::optional<State> state;
        OwnerThread::Ticket ticket;
    };

    std::shared_ptr<OwnerThread> owner_;
    std::shared_ptr<Slot> slot_;
};

}  // namespace plugins::mail_processing
