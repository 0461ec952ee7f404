#include "outlook/followed_items.h"

#include <utility>

#include "com/border.h"
#include "internal/helpers/hresult_exception.h"

namespace plugins::mail_processing {

// Keeps a handler among the followed items until it is unadvised.
class FollowedItems::Subscription final : public EventConnection {
public:
    Subscription(std::shared_ptr<Handlers> handlers, std::shared_ptr<ItemEventHandler> handler)
        : handlers_(std::move(handlers)), handler_(std::move(handler)) {
        handlers_->insert(handler_);
    }
    ~Subscription() override { Unadvise(); }

    HRESULT Unadvise() noexcept override {
        // Goes behind its place among the others: the end of a handler makes calls.
        if (const auto handler = std::move(handler_)) handlers_->erase(handler);
        return S_OK;
    }

private:
    const std::shared_ptr<Handlers> handlers_;
    std::shared_ptr<ItemEventHandler> handler_;
};

FollowedItems::FollowedItems(std::function<void(const ItemPtr&)> read, vek::trace::TracerPtr tracer,
                             ItemAdviser advise)
    : read_(std::move(read)), tracer_(std::move(tracer)), advise_(std::move(advise)) {}

FollowedItems::~FollowedItems() { Clear(); }

void FollowedItems::Attach(const ItemPtr& item) {
    helpers::CheckHResult(advise_(*this, item, tracer_));
}

void FollowedItems::Clear() noexcept {
    while (!handlers_->empty()) {
        const auto handler = *handlers_->begin();
        handlers_->erase(handlers_->begin());
        handler->Unadvise();
    }
}

HRESULT FollowedItems::Follow(const std::shared_ptr<ItemEventHandler>& handler,
                              EventConnectionPtr& connection) noexcept {
    return com::AtBorder([&] { connection = std::make_unique<Subscription>(handlers_, handler); });
}

}  // namespace plugins::mail_processing
