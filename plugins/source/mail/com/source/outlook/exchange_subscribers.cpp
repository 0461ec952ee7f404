#include "outlook/exchange_subscribers.h"

#include <utility>

namespace plugins::mail_processing {

class ExchangeSubscribers::Subscription final : public EventConnection {
public:
    Subscription(std::shared_ptr<ExchangeSubscribers> owner, ExchangeEvents& events)
        : owner_(std::move(owner)),
          place_(owner_->subscribers_.insert(owner_->subscribers_.end(), &events)) {}
    ~Subscription() override { Unadvise(); }

    HRESULT Unadvise() noexcept override {
        if (const auto owner = std::exchange(owner_, nullptr)) owner->Remove(place_);
        return S_OK;
    }

private:
    std::shared_ptr<ExchangeSubscribers> owner_;
    const Subscribers::iterator place_;
};

HRESULT ExchangeSubscribers::Advise(ExchangeEvents& events,
                                    EventConnectionPtr& connection) noexcept {
    try {
        connection = std::make_unique<Subscription>(shared_from_this(), events);
        return S_OK;
    } catch (...) {  // memory is all that it takes
        return E_OUTOFMEMORY;
    }
}

void ExchangeSubscribers::Remove(Subscribers::iterator place) noexcept {
    // While an event goes round, places stay where they are.
    if (firing_ == 0) {
        subscribers_.erase(place);
    } else {
        *place = nullptr;
    }
}

void ExchangeSubscribers::Fire(Event event, mapi::IExchExtCallback* callback) noexcept {
    const auto self = shared_from_this();
    ++firing_;
    auto place = subscribers_.begin();
    for (auto left = subscribers_.size(); left != 0; --left, ++place) {
        if (*place != nullptr) ((*place)->*event)(callback);
    }
    if (--firing_ == 0) subscribers_.remove(nullptr);
}

}  // namespace plugins::mail_processing
