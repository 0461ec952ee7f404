#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>
#include <utility>

#include "com/border.h"
#include "com/listeners.h"
#include "sandbox/outlook/fault_plan.h"
#include "sandbox/outlook/object_model/object_call.h"

namespace sandbox::outlook {

// Shared by the objects of one Outlook: their thread, the plan of their calls, and how many of them
// are held.
struct ObjectModel {
    std::thread::id thread;  // Outlook's: calls from others are refused
    CallPlan<ObjectCall> plan;
    // The build that a client extension is told: EECBGV_BUILDVERSION_MAJOR of exchext.h and a
    // build.
    std::uint32_t client_build = 0x000D0000 | 0x1234;
    std::atomic<std::uint32_t> live_items{0};
    std::atomic<std::uint32_t> live_connections{0};
};

// The border of every method: the call fails as planned, or with RPC_E_WRONG_THREAD on another
// thread than Outlook's, or runs `body`, whose exceptions become codes.
template <class Body>
HRESULT Enter(ObjectModel& model, ObjectCall kind, Body&& body) noexcept {
    return plugins::com::AtBorder([&]() -> HRESULT {
        if (std::this_thread::get_id() != model.thread) return RPC_E_WRONG_THREAD;
        const HRESULT code = model.plan.Enter(kind);
        return code == S_OK ? body() : code;
    });
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
                   plugins::mail_processing::EventConnectionPtr& connection) noexcept {
        return plugins::com::AtBorder([&]() -> HRESULT {
            // Events from within the call are told to the new one, too.
            auto listening = plugins::com::Listen(listeners_, &events);
            return Enter(*model_, kind, [&]() -> HRESULT {
                connection = std::make_unique<Connection>(model_, std::move(listening));
                return S_OK;
            });
        });
    }

    // Outlook's own: neither counted nor planned to fail.
    plugins::mail_processing::EventConnectionPtr Listen(Events& events) {
        return plugins::com::Listen(listeners_, &events);
    }

    // Tells those that are subscribed, as plugins::com::Listeners does.
    template <class Event>
    void Fire(const Event& event) {
        const auto held = listeners_;
        held->Fire(event);
    }

    bool empty() const { return listeners_->empty(); }

private:
    // A counted connection whose end fails as planned.
    class Connection final : public plugins::mail_processing::EventConnection {
    public:
        Connection(std::shared_ptr<ObjectModel> model,
                   plugins::mail_processing::EventConnectionPtr connection)
            : model_(std::move(model)),
              connection_(std::move(connection)),
              live_(model_->live_connections) {}

        HRESULT Unadvise() noexcept override {
            const HRESULT code = Enter(*model_, ObjectCall::kUnadvise, [] { return S_OK; });
            connection_->Unadvise();
            return code;
        }

    private:
        const std::shared_ptr<ObjectModel> model_;
        const plugins::mail_processing::EventConnectionPtr connection_;
        const LiveCount live_;
    };

    const std::shared_ptr<ObjectModel> model_;
    const std::shared_ptr<plugins::com::Listeners<Events*>> listeners_ =
        std::make_shared<plugins::com::Listeners<Events*>>();
};

}  // namespace sandbox::outlook
