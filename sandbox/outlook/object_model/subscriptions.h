#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "object_model/object_model.h"
#include "sandbox/outlook/object_model/call_plan.h"

namespace sandbox::outlook {

// What the objects of one Outlook share, and what of them is still held.
struct ObjectModel {
    CallPlan plan;
    std::atomic<std::uint32_t> live_items{0};
    std::atomic<std::uint32_t> live_connections{0};
};

// The border of every method: the call fails as planned or runs `body`, whose exceptions are want
// of memory.
template <class Body>
HRESULT Enter(ObjectModel& model, ObjectCall kind, Body&& body) noexcept {
    try {
        const HRESULT code = model.plan.Enter(kind);
        return code == S_OK ? body() : code;
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

// Counts its owner among what is held.
class LiveCount {
public:
    explicit LiveCount(std::atomic<std::uint32_t>& count) : count_(count) { ++count_; }
    ~LiveCount() { --count_; }
    LiveCount(const LiveCount&) = delete;
    LiveCount& operator=(const LiveCount&) = delete;

private:
    std::atomic<std::uint32_t>& count_;
};

// The subscribers of one connection point. Outlook's thread.
template <class Events>
class Subscriptions {
public:
    explicit Subscriptions(std::shared_ptr<ObjectModel> model) : model_(std::move(model)) {}

    HRESULT Advise(ObjectCall kind, Events& events,
                   plugins::mail_processing::EventConnectionPtr& connection) {
        const HRESULT code = model_->plan.Enter(kind);
        if (FAILED(code)) return code;
        auto entry = std::make_shared<Entry>(&events);
        sinks_->push_back(entry);
        connection = std::make_unique<Connection>(model_, sinks_, std::move(entry));
        return S_OK;
    }

    // Tells those that are subscribed now. One that is unsubscribed meanwhile is told no more.
    template <class Event>
    void Fire(Event&& event) {
        const auto told = *sinks_;
        for (const auto& sink : told)
            if (Events* const events = *sink) event(*events);
    }

    bool empty() const { return sinks_->empty(); }

private:
    using Entry = Events*;  // null when it is unsubscribed
    using Sinks = std::vector<std::shared_ptr<Entry>>;

    // Holds the sinks, so that it may outlive what it was given by.
    class Connection final : public plugins::mail_processing::EventConnection {
    public:
        Connection(std::shared_ptr<ObjectModel> model, std::shared_ptr<Sinks> sinks,
                   std::shared_ptr<Entry> entry)
            : model_(std::move(model)),
              sinks_(std::move(sinks)),
              entry_(std::move(entry)),
              live_(model_->live_connections) {}
        ~Connection() override { Drop(); }

        HRESULT Unadvise() noexcept override {
            const HRESULT code = model_->plan.Enter(ObjectCall::kUnadvise);
            Drop();
            return code;
        }

    private:
        void Drop() noexcept {
            if (!entry_) return;
            *entry_ = nullptr;
            std::erase(*sinks_, entry_);
            entry_.reset();
        }

        const std::shared_ptr<ObjectModel> model_;
        const std::shared_ptr<Sinks> sinks_;
        std::shared_ptr<Entry> entry_;
        const LiveCount live_;
    };

    const std::shared_ptr<ObjectModel> model_;
    const std::shared_ptr<Sinks> sinks_ = std::make_shared<Sinks>();
};

}  // namespace sandbox::outlook
