#include "outlook/followed_items.h"

#include <utility>

#include "com/border.h"
#include "internal/helpers/hresult_exception.h"

namespace plugins::mail_processing {

// Keeps a handler among the followed items until it is unadvised.
class FollowedItems::Subscription final : public EventConnection {
public:
    Subscription(Handlers& handlers, const std::shared_ptr<ItemEventHandler>& handler)
        : handlers_(handlers), position_(handlers.insert(handlers.end(), handler)) {}
    ~Subscription() override { Unadvise(); }

    HRESULT Unadvise() noexcept override {
        if (!std::exchange(taken_, false)) return S_OK;
        // Out of the list first: the end of a handler makes calls.
        Handlers leaving;
        leaving.splice(leaving.end(), handlers_, position_);
        return S_OK;
    }

private:
    Handlers& handlers_;
    const Handlers::iterator position_;
    bool taken_ = true;
};

FollowedItems::FollowedItems(std::function<void(const ItemPtr&)> read, vek::trace::TracerPtr tracer)
    : read_(std::move(read)), tracer_(std::move(tracer)) {}

FollowedItems::~FollowedItems() { Clear(); }

void FollowedItems::Attach(const ItemPtr& item) {
    const auto handler = std::make_shared<ItemEventHandler>(tracer_);
    helpers::CheckHResult(handler->Advise(*this, item));
}

void FollowedItems::Clear() noexcept {
    while (!handlers_.empty()) {
        const auto handler = handlers_.front();
        handler->Unadvise();
    }
}

HRESULT FollowedItems::Follow(const std::shared_ptr<ItemEventHandler>& handler,
                              EventConnectionPtr& connection) noexcept {
    return com::AtBorder([&] { connection = std::make_unique<Subscription>(handlers_, handler); });
}

}  // namespace plugins::mail_processing
